#include "core/lists/AArray2.h"

#include <algorithm>
#include <cstdint>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/lists/FirstError.h"
#include "core/mem/Owned.h"

using namespace ky;

template Long ky::elementProc<signed char>(ElementFn, void*, char**, Long, Boolean);
template Long ky::elementProc<short>(ElementFn, void*, char**, Long, Boolean);
template Long ky::elementProc<Long>(ElementFn, void*, char**, Long, Boolean);
template Long ky::elementProc<void*>(ElementFn, void*, char**, Long, Boolean);

AArray2* AArray2::New(ElementProc elemProc) {
  Owned<AArray2> array(new AArray2);
  array->IArray2(elemProc);
  return array.release();
}

void AArray2::IArray2(ElementProc elemProc) {
  if (!check(elemProc != nullptr, "elemProc != NULL")) return;
  IArray(elemProc(nullptr, nullptr, nullptr, 0, false));
  fElemProc = elemProc;
}

void AArray2::Dispose() {
  FirstError errors;
  for (Long place = 0; fDisposeFunc && place < numItems; ++place) {
    errors.take([&] { disposeElement(place); });
  }
  errors.takeLast([this] { AArray::Dispose(); });
}

Long AArray2::callElement(ElementFn fn, void* context, Long place, Boolean modify) {
  return fElemProc(fn, context, hItems, place * elementSize, modify);
}

bool AArray2::disposeElement(Long rawIndex) {
  if (!check(rawIndex >= 0 && rawIndex < numItems, "rawIndex >= 0 && rawIndex < numItems")) return false;
  callElement(fDisposeFunc, fDisposeContext, rawIndex, false);
  return true;
}

void AArray2::DeleteItem(Long index) {
  // An element that the locked array will keep is not disposed.
  if (fDisposeFunc && !lockChanges && !disposeElement(index - indexBase)) return;
  AArray::DeleteItem(index);
}

void AArray2::ForEach(ElementFn fn, void* context) {
  for (Long place = 0; place < numItems; ++place) callElement(fn, context, place, false);
}

void AArray2::ForEachReverse(ElementFn fn, void* context) {
  for (Long place = numItems - 1; place >= 0; place = std::min(place, numItems) - 1) {
    callElement(fn, context, place, false);
  }
}

void AArray2::ModEach(ElementFn fn, void* context) {
  for (Long place = 0; place < numItems; ++place) callElement(fn, context, place, true);
}

void AArray2::ModEachI(IndexedElementFn fn, void* context) {
  struct Forward {
    IndexedElementFn fn;
    void* context;
    Long index;
  } forward{fn, context, indexBase};
  ModEach(
      [](void* element, void* to) {
        auto* next = static_cast<Forward*>(to);
        return next->fn(next->context, element, next->index++);
      },
      &forward);
}

Boolean AArray2::ForEachUntil(Long* index, ElementFn fn, void* context) {
  for (Long place = 0; place < numItems; ++place) {
    if (!callElement(fn, context, place, false)) continue;
    if (index) *index = place + indexBase;
    return true;
  }
  return false;
}

void AArray2::ForEachDirect(ElementFn fn, void* context) {
  guardedReraise(
      [&] {
        for (Long place = 0; place < numItems; ++place) fn(cell(place), context);
      },
      [] {});
}

Boolean AArray2::ForEachDirectUntil(Long* index, ElementFn fn, void* context) {
  Boolean found = false;
  guardedReraise(
      [&] {
        for (Long place = 0; !found && place < numItems; ++place) {
          found = fn(cell(place), context) != 0;
          if (found && index) *index = place + indexBase;
        }
      },
      [] {});
  return found;
}

void AArray2::SetAndGrow(Long index, const void* item) {
  const Int64 place = Int64{index} - indexBase;
  if (place >= numItems) {
    const std::ptrdiff_t inside = offsetInside(item);
    const Long before = numItems;
    if (place >= INT32_MAX) +XError("MEM_OUT_OF_MEMORY", 0);
    SetNumItems(static_cast<Long>(place + 1));
    std::memset(cell(before), 0, static_cast<std::size_t>(cell(numItems) - cell(before)));
    if (inside >= 0) item = *hItems + inside;
  }
  SetItem(item, index);
}

void AArray2::SetNumItems(Long num) {
  if (!check(num >= 0, "num >= 0")) return;
  if (num > slots) {
    Resize(static_cast<Long>(std::min<Int64>(Int64{num} + blockSize, INT32_MAX)));
  } else if (num < slots - blockSize) {
    // The elements about to go still count here, so that the room for them stays until the next change of size.
    giveBackSlots(num + blockSize / 2);
  }
  numItems = num;
}

void AArray2::SetElemDisposeFunc(ElementFn fn, void* context) {
  fDisposeFunc = fn;
  fDisposeContext = context;
}

Long AArray2::Append(const void* item) {
  const Long before = numItems;
  InsertAtIndex(item, INT32_MAX);
  return numItems > before ? before + indexBase : -1;
}

Boolean AArray2::RemoveByContent(const void* item) {
  for (Long place = 0; place < numItems; ++place) {
    if (std::memcmp(cell(place), item, static_cast<std::size_t>(elementSize)) != 0) continue;
    DeleteItem(place + indexBase);
    return true;
  }
  return false;
}

Long AArray2::Read(const char* block) {
  Long len = 0;
  std::memcpy(&len, block, sizeof len);
  const Long count = elementSize > 0 ? len / elementSize : 0;
  if (!check(count * elementSize == len, "new_numItems * this->elementSize == len")) return 0;
  if (!check(count >= 0, "num >= 0")) return 0;
  SetNumItems(count);
  std::memcpy(*hItems, block + sizeof len, static_cast<std::size_t>(len));
  return len + Long{sizeof len};
}

void AArray2::Sort(OrderFn cmp, void* context, Boolean ascending, Boolean unique) {
  SortRange(indexBase, indexBase + numItems, cmp, context, ascending, unique);
}

void AArray2::SortRange(Long start, Long end, OrderFn, void*, Boolean, Boolean) {
  if (start >= end) return;
  check(start >= indexBase, "start >= this->indexBase");
  check(end - start <= numItems, "end - start <= this->numItems");
  // Whoever inserts keeps the order; an array that lost it is a fault in the program.
  fatal("Not implemented");
}
