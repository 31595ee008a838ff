// Growable arrays of fixed-size elements.
#pragma once

#include <cstddef>
#include <cstring>
#include <span>

#include "core/base/AObject.h"

/// What all collections share: a count of items.
class KY_API ACollection : public AObject {
  KY_CLASS(ACollection, AObject)

 public:
  // Virtual operations added, in slot order.
  virtual Boolean IsEmpty();

  Long GetNumItems() const { return numItems; }

 protected:
  Long numItems = 0;
};

namespace ky {
struct ArrayAccess;
}

/// Elements of one size behind each other in one handle, moved as raw bytes. An index counts from `indexBase`, which is
/// 1 unless changed. The range check, a failed assertion that leaves the array alone, is
/// "(index >= indexBase)&&(index < (numItems+indexBase))".
///
/// Invariant: the handle has `elementSize * (slots + 1)` bytes; the cell behind the last element, which is there even
///           when the array is full, serves as the temporary cell.
/// Raises:   MEM_OUT_OF_MEMORY by whatever grows the array, with the array as it was.
class KY_API AArray : public ACollection {
  KY_CLASS(AArray, ACollection)

 public:
  static AArray* New(Long elementSize);
  static AArray* NewWithSlotAndBlock(Long elementSize, Long slots, short block);

  /// Up to 10240 bytes an element: room for 3. Larger: none, so that an empty array stays small.
  void IArray(Long elementSize);
  void IArrayWithSlotAndBlock(Long elementSize, Long slots, short block);

  void Dispose() override;
  AObject* Copy() override;
  void DebugCheck() override;

  // Virtual operations added, in slot order.

  /// Slots added or dropped at a time from now on.
  virtual void SetBlockSize(short block);

  /// Puts a copy of `item` at `index`, or at the end when `index` lies beyond it: 2147483647 appends.
  ///
  /// Requires: "index >= indexBase", "lockChanges == FALSE".
  /// Borrows:  `item` for the call; it may lie in the array itself.
  virtual void InsertAtIndex(const void* item, Long index);

  /// Closes the gap, and gives back one block once there is more than a block of slack.
  ///
  /// Requires: the range check, "lockChanges == FALSE".
  virtual void DeleteItem(Long index);

  /// Keeps the order of the others.
  ///
  /// Requires: "(currentIndex >= indexBase)&&(currentIndex < (numItems+indexBase))", the same of "newIndex".
  virtual void MoveItemToIndex(Long currentIndex, Long newIndex);

  /// Requires: the range check, in all four.
  virtual void SetItem(const void* item, Long index);
  virtual void GetItem(void* out, Long index);
  /// Copies one pointer: for arrays of pointers.
  virtual void GetPtrItem(void* out, Long index);
  /// Returns:  the element's address, valid until the array next grows or shrinks; null for a bad index.
  virtual const void* ReferenceItem(Long index);

  /// Requires: "(index1 >= indexBase)&&(index1 < (numItems+indexBase))", the same of "index2".
  virtual void Swap(Long index1, Long index2);

  /// Linear: `cmp(key, element)` of 0 ends it.
  ///
  /// Returns:  the index, or -2147483648 when absent.
  virtual Long Search(const void* key, int (*cmp)(void* key, void* element));

  /// Returns:  1.
  virtual Boolean LockItems(Boolean lock);
  /// While `lock` is true, insertion and deletion are refused; RemoveAll() is not, and ends a walk.
  ///
  /// Returns:  the state before.
  virtual Boolean SetLockChanges(Boolean lock);
  virtual void SetIndexBase(Long base);
  virtual Long GetIndexBase();

  /// Empties the array and gives back what exceeds one block.
  virtual void RemoveAll();
  /// Makes room for `count` elements, or for those present if they are more.
  virtual void Resize(Long count);
  /// Makes room for one more block.
  virtual void MoreSlots();

  /// SetItem(), GetItem() and GetPtrItem() without the range check.
  virtual void Store(const void* item, Long index);
  virtual void Retrieve(void* out, Long index);
  virtual void RetrievePtr(void* out, Long index);

  /// Requires: the range check, "usingTemporary == FALSE".
  virtual void CopyToTemporary(Long index);
  /// Requires: the range check, "usingTemporary == TRUE".
  virtual void CopyFromTemporary(Long index);

  /// Returns:  the element's distance from the first, in bytes; 0 for a bad index.
  /// Requires: "(itemIndex >= indexBase)&&(itemIndex < (numItems+indexBase))".
  virtual Long ItemOffset(Long itemIndex);

  /// Bisects an ascending array by `cmp(key, element)`. `*index` becomes the place of a hit, or on a miss the place to
  /// insert at; `out` receives a hit. Both may be null.
  ///
  /// Returns:  whether the key was hit.
  virtual Boolean BinarySearchItem(LongPtr key, Long (*cmp)(LongPtr key, void* element), Long* index, void* out);

  /// Sorts by rqsort(). `cmp` may raise; it may not change the array, which is locked meanwhile.
  virtual void Qsort(int (*cmp)(void*, void*));

 protected:
  AArray() = default;
  ~AArray() override;

  bool inRange(Long index) const { return index >= indexBase && Int64{index} < Int64{numItems} + indexBase; }
  /// The range check of the caller's line.
  bool checkIndex(Long index, int line = __builtin_LINE()) const;
  /// Returns:  the cell at zero-based `place`, valid until the handle is resized.
  char* cell(Long place) const { return *hItems + static_cast<std::ptrdiff_t>(place) * elementSize; }
  /// Returns:  how far `item` lies from the first cell, or -1 if it lies in none of this array's cells.
  std::ptrdiff_t offsetInside(const void* item) const;
  /// Replaces `removed` elements at zero-based `place` by room for `added`, in one move.
  ///
  /// Returns:  false if changes are locked and the failed assertion returned.
  /// Requires: "lockChanges == FALSE".
  bool replaceCells(Long place, Long removed, Long added);
  /// Resize() to fewer slots. That the smaller block cannot be had is no failure: the array keeps the larger one.
  void giveBackSlots(Long count);

  short blockSize = 0;
  Long slots = 0;
  char** hItems = nullptr;
  Long elementSize = 0;
  Boolean lockChanges = false;
  Boolean usingTemporary = false;
  Long indexBase = 1;

  friend struct ky::ArrayAccess;
};

namespace ky {

/// What other parts of the library reach of an array.
struct ArrayAccess {
  static short blockSize(const AArray& array) { return array.blockSize; }
  static Long slots(const AArray& array) { return array.slots; }
  static char** handle(const AArray& array) { return array.hItems; }
  static Long elementSize(const AArray& array) { return array.elementSize; }

  /// Puts zeroed elements behind the present ones, or drops the last ones, until there are `count`.
  KY_API static void setCount(AArray& array, Long count);

  /// The slow end of appendElement(): room for one more, which only the array itself can make.
  KY_API static void appendSlowly(AArray& array, const void* item);

  template <class T>
  static void append(AArray& array, const T& item) {
    if (array.numItems >= array.slots || array.lockChanges) [[unlikely]]
      return appendSlowly(array, &item);
    std::memcpy(array.cell(array.numItems++), &item, sizeof(T));
  }
};

/// The elements in order, as what they are. Valid until the array next grows or shrinks.
///
/// Requires: T has the array's element size.
template <class T>
inline std::span<T> elements(AArray* array) {
  char* first = *ArrayAccess::handle(*array);
  return {reinterpret_cast<T*>(first), static_cast<std::size_t>(array->GetNumItems())};
}

/// Appends without a virtual call: for arrays whose class does not override InsertAtIndex() or Store().
///
/// Requires: T has the array's element size; "lockChanges == FALSE".
/// Borrows:  `item` for the call; it may lie in the array itself.
template <class T>
inline void appendElement(AArray* array, const T& item) {
  ArrayAccess::append(*array, item);
}

}  // namespace ky
