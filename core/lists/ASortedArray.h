// Arrays kept in the order of a comparison procedure.
#pragma once

#include "core/lists/AArray2.h"

/// Bisects elements `first` to `end` - 1, the first of which lies at `firstPtr`, in ascending order of
/// `cmp(element, key, context)`.
///
/// | mode | the first or last element that is | none: |
/// |---|---|---|
/// | 0 | above the key | `end` |
/// | 1 | equal or above; `*found` if equal | `end` |
/// | 2 | below | `first` - 1 |
/// | 3 | equal or below; `*found` if equal | `first` - 1 |
///
/// Returns:  its index. `*found`, which may be null, becomes false where the table does not say otherwise.
/// Requires: "bad case" names another mode.
KY_API Long BinSearchArray(Boolean* found, Long first, const void* firstPtr, Long end, const void* endPtr,
                           Long elementSize, const void* key, ky::OrderFn cmp, void* context, short mode);

/// An array that is marked sorted at the start and stays so, unless a subclass clears the mark.
class KY_API ASortedArray : public AArray2 {
  KY_CLASS(ASortedArray, AArray2)

 public:
  static ASortedArray* New(ky::ElementProc elemProc, ky::OrderFn cmpProc, void* cmpContext, ky::OrderFn lookupProc,
                           void* lookupContext);
  /// Requires: "cmpProc".
  void ISortedArray(ky::ElementProc elemProc, ky::OrderFn cmpProc, void* cmpContext, ky::OrderFn lookupProc,
                    void* lookupContext);

  void DebugCheck() override;

  /// Puts a copy of `item` in its place, ahead of those equal to it.
  ///
  /// Returns:  its index.
  Long Add(const void* item);
  /// BinSearchArray() by the comparison of two elements.
  Long ElemSearch(Boolean* found, const void* elem, short mode);
  /// BinSearchArray() by the lookup procedure.
  ///
  /// Requires: "f_lookupProc".
  Long KeySearch(Boolean* found, const void* key, short mode);

  /// Sort(), which is fatal for a non-empty array, if not marked sorted.
  void EnsureSorted();
  /// Sort() in any case, then marked sorted.
  void AutoSort();

 protected:
  ASortedArray() = default;

  Boolean sorted = true;
  ky::OrderFn cmpProc = nullptr;
  void* cmpContext = nullptr;
  ky::OrderFn f_lookupProc = nullptr;
  void* lookupContext = nullptr;

 private:
  Long bisect(Boolean* found, const void* key, ky::OrderFn order, void* context, short mode);
};
