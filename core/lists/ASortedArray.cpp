#include "core/lists/ASortedArray.h"

#include "core/error/Assert.h"
#include "core/mem/Owned.h"

using namespace ky;

Long BinSearchArray(Boolean* found, Long first, const void* firstPtr, Long end, const void*, Long elementSize,
                    const void* key, OrderFn cmp, void* context, short mode) {
  if (found) *found = false;
  if (!check(mode >= 0 && mode <= 3, "bad case")) return end;
  const bool equalMovesLow = mode == 0 || mode == 3;
  bool hit = false;
  // Nothing at or below `low` is above the key, nothing at or above `high` below it.
  Int64 low = Int64{first} - 1, high = end;
  while (low + 1 < high) {
    const Int64 middle = low + (high - low) / 2;
    const int order = cmp(static_cast<const char*>(firstPtr) + (middle - first) * elementSize, key, context);
    if (order == 0) hit = true;
    if (order < 0 || (order == 0 && equalMovesLow)) {
      low = middle;
    } else {
      high = middle;
    }
  }
  if (found) *found = hit && (mode == 1 || mode == 3);
  return static_cast<Long>(mode <= 1 ? high : low);
}

ASortedArray* ASortedArray::New(ElementProc elemProc, OrderFn compare, void* compareContext, OrderFn lookup,
                                void* forLookup) {
  Owned<ASortedArray> array(new ASortedArray);
  array->ISortedArray(elemProc, compare, compareContext, lookup, forLookup);
  return array.release();
}

void ASortedArray::ISortedArray(ElementProc elemProc, OrderFn compare, void* compareContext, OrderFn lookup,
                                void* forLookup) {
  check(compare != nullptr, "cmpProc");
  IArray2(elemProc);
  sorted = true;
  cmpProc = compare;
  cmpContext = compareContext;
  f_lookupProc = lookup;
  lookupContext = forLookup;
}

void ASortedArray::DebugCheck() {
  AArray2::DebugCheck();
  if (!sorted) return;
  for (Long place = 1; place < numItems; ++place) {
    check(cmpProc(cell(place - 1), cell(place), cmpContext) <= 0, "elements ascend");
  }
}

Long ASortedArray::Add(const void* item) {
  EnsureSorted();
  const Long index = ElemSearch(nullptr, item, 1);
  InsertAtIndex(item, index);
  return index;
}

Long ASortedArray::bisect(Boolean* found, const void* key, OrderFn order, void* context, short mode) {
  return BinSearchArray(found, indexBase, *hItems, indexBase + numItems, cell(numItems), elementSize, key, order,
                        context, mode);
}

Long ASortedArray::ElemSearch(Boolean* found, const void* elem, short mode) {
  return bisect(found, elem, cmpProc, cmpContext, mode);
}

Long ASortedArray::KeySearch(Boolean* found, const void* key, short mode) {
  if (!check(f_lookupProc != nullptr, "f_lookupProc")) {
    if (found) *found = false;
    return indexBase + numItems;
  }
  return bisect(found, key, f_lookupProc, lookupContext, mode);
}

void ASortedArray::EnsureSorted() {
  if (!sorted) Sort(cmpProc, cmpContext, true, false);
}

void ASortedArray::AutoSort() {
  Sort(cmpProc, cmpContext, true, false);
  sorted = true;
}
