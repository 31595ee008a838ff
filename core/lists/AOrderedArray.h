// Arrays of many small keys in ascending order.
#pragma once

#include "core/lists/AArray.h"

/// What an ordered array's elements begin with, which is what they are ordered by.
enum typechoice {
  typeShort = 0,
  typeLong = 1,
  /// A pointer, compared as an unsigned number.
  typeAddr = 2,
  /// A string handle, compared as unsigned bytes; a null one is an empty text.
  typeStrHdl = 3,
  typeFloat = 4,
  typeDouble = 5,
  typeInt64 = 6
};

/// Each compares the key at the address `key` with the element at `element`: below 0, 0 or above 0.
KY_API Long compare_short(LongPtr key, void* element);
KY_API Long compare_long(LongPtr key, void* element);
KY_API Long compare_addr(LongPtr key, void* element);
KY_API Long compare_strhdl(LongPtr key, void* element);
KY_API Long compare_float(LongPtr key, void* element);
KY_API Long compare_double(LongPtr key, void* element);
KY_API Long compare_int64(LongPtr key, void* element);

namespace ky {
/// Orders a key at an address against an element.
using KeyCompare = Long (*)(LongPtr key, void* element);
}  // namespace ky

class KY_API AOrderedArray : public AArray {
  KY_CLASS(AOrderedArray, AArray)

 public:
  static AOrderedArray* New(Long elementSize, typechoice type);
  /// Raises:   BAD_TYPE_IN_ORDERED_ARRAY.
  void IOrderedArray(Long elementSize, typechoice type);

  void Dispose() override;
  AObject* Copy() override;

  /// Inserts after a look at the neighbours: the element at `index - 1` must be below `item` and the one at
  /// `index + 1`, not the one at `index`, above it.
  ///
  /// Raises:   ARRAY_INSERT_IN_WRONG_POSITION.
  void InsertAtIndex(const void* item, Long index) override;

  // Virtual operations added, in slot order.

  /// Puts a copy of `item` in its place.
  ///
  /// Raises:   DUPLICATE_KEYS_IN_ORDERED_ARRAY.
  virtual void InsertItem(const void* item);
  /// BinarySearchItem() by the array's comparison; `key` is the address of a key, or of an element.
  virtual void BinarySearch(const void* key, Long* index, void* out, Boolean* found);

 protected:
  AOrderedArray() = default;
  ~AOrderedArray() override;

  char** hScratch = nullptr;
  ky::KeyCompare fCompare = nullptr;

 private:
  /// Compares `item` with the element at `index`, which is copied to the scratch cell first.
  Long compareWith(const void* item, Long index);
};
