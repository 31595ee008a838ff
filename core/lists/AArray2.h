// Arrays that know their element type by a procedure.
#pragma once

#include <cstring>

#include "core/lists/AArray.h"
#include "core/mem/KyHandles.h"

namespace ky {

/// What a walk calls; true ends the walk of an Until form.
using ElementFn = Boolean (*)(void* element, void* context);
using IndexedElementFn = Boolean (*)(void* context, void* element, Long index);

/// With `fn` null returns the element's size. Otherwise copies the element at `byteOffset` into a local, calls `fn`
/// with it, writes the local back if `modify` is true, and returns what `fn` returned.
using ElementProc = Long (*)(ElementFn fn, void* context, char** items, Long byteOffset, Boolean modify);

/// Orders an element against a key: below 0, 0 or above 0.
using OrderFn = int (*)(const void* element, const void* key, void* context);

/// The element procedure of any type that may be copied as bytes.
template <class T>
Long elementProc(ElementFn fn, void* context, char** items, Long byteOffset, Boolean modify) {
  if (!fn) return sizeof(T);
  T element;
  std::memcpy(&element, *items + byteOffset, sizeof element);
  const Long result = fn(&element, context);
  // `fn` may have shrunk the array, and the element's place with it.
  if (modify && KyGetHandleSize(items) >= Int64{byteOffset} + Long{sizeof element}) {
    std::memcpy(*items + byteOffset, &element, sizeof element);
  }
  return result;
}

extern template KY_API Long elementProc<signed char>(ElementFn, void*, char**, Long, Boolean);
extern template KY_API Long elementProc<short>(ElementFn, void*, char**, Long, Boolean);
extern template KY_API Long elementProc<Long>(ElementFn, void*, char**, Long, Boolean);
extern template KY_API Long elementProc<void*>(ElementFn, void*, char**, Long, Boolean);

}  // namespace ky

/// An array with an element procedure and walks. A walk sees what its own callback appends, and goes on safely when the
/// callback deletes.
class KY_API AArray2 : public AArray {
  KY_CLASS(AArray2, AArray)

 public:
  static AArray2* New(ky::ElementProc elemProc);
  /// Requires: "elemProc != NULL".
  void IArray2(ky::ElementProc elemProc);

  void Dispose() override;
  /// Applies the dispose function to the element first.
  void DeleteItem(Long index) override;

  void ForEach(ky::ElementFn fn, void* context);
  void ForEachReverse(ky::ElementFn fn, void* context);
  /// What `fn` makes of its element is written back.
  void ModEach(ky::ElementFn fn, void* context);
  void ModEachI(ky::IndexedElementFn fn, void* context);
  /// Ends at the first element for which `fn` is true and stores its index.
  ///
  /// Returns:  whether there was one.
  Boolean ForEachUntil(Long* index, ky::ElementFn fn, void* context);
  /// The same with the element in place, for as long as `fn` lets the array neither grow nor shrink.
  void ForEachDirect(ky::ElementFn fn, void* context);
  Boolean ForEachDirectUntil(Long* index, ky::ElementFn fn, void* context);

  /// Grows the array to hold `index`, with zeroed elements between, then SetItem().
  void SetAndGrow(Long index, const void* item);
  /// New elements are not set. Gives memory back only beyond one block.
  ///
  /// Requires: "num >= 0".
  void SetNumItems(Long num);
  /// `fn` is applied to an element before DeleteItem() takes it, and to all in Dispose().
  void SetElemDisposeFunc(ky::ElementFn fn, void* context);

  /// Returns:  the new element's index.
  Long Append(const void* item);
  /// Deletes the first element with the same bytes.
  ///
  /// Returns:  whether there was one.
  Boolean RemoveByContent(const void* item);
  /// Takes its elements from a block: a long byte count, then the elements.
  ///
  /// Returns:  the byte count plus 4; 0 for a count that is negative or no whole number of elements.
  /// Requires: "new_numItems * this->elementSize == len", "num >= 0".
  Long Read(const char* block);

  /// Nothing for an empty array; otherwise fatal, as SortRange() is: arrays of this kind are kept in order by whoever
  /// inserts.
  void Sort(ky::OrderFn cmp, void* context, Boolean ascending, Boolean unique);
  /// Requires: "start >= this->indexBase", "end - start <= this->numItems"; then fatal with "Not implemented".
  void SortRange(Long start, Long end, ky::OrderFn cmp, void* context, Boolean ascending, Boolean unique);

 protected:
  AArray2() = default;

  ky::ElementProc fElemProc = nullptr;
  ky::ElementFn fDisposeFunc = nullptr;
  void* fDisposeContext = nullptr;

 private:
  Long callElement(ky::ElementFn fn, void* context, Long place, Boolean modify);
  bool disposeElement(Long rawIndex);
};
