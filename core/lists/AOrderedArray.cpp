#include "core/lists/AOrderedArray.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "core/error/Guarded.h"
#include "core/lists/FirstError.h"
#include "core/mem/KyHandles.h"
#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"

using namespace ky;

namespace {

constexpr short kManySmallKeys = 100;

template <class T>
T valueAt(const void* address) {
  T value;
  std::memcpy(&value, address, sizeof value);
  return value;
}

template <class T>
Long compareAs(LongPtr key, const void* element) {
  const T a = valueAt<T>(reinterpret_cast<const void*>(key)), b = valueAt<T>(element);
  return a < b ? -1 : a > b;
}

const char* textAt(const void* address) {
  char** const handle = valueAt<char**>(address);
  return handle && *handle ? *handle : "";
}

KeyCompare comparisonFor(typechoice type) {
  switch (type) {
    case typeShort:
      return compare_short;
    case typeLong:
      return compare_long;
    case typeAddr:
      return compare_addr;
    case typeStrHdl:
      return compare_strhdl;
    case typeFloat:
      return compare_float;
    case typeDouble:
      return compare_double;
    case typeInt64:
      return compare_int64;
  }
  return nullptr;
}

}  // namespace

Long compare_short(LongPtr key, void* element) {
  return valueAt<short>(reinterpret_cast<const void*>(key)) - valueAt<short>(element);
}

Long compare_long(LongPtr key, void* element) { return compareAs<Long>(key, element); }

Long compare_addr(LongPtr key, void* element) { return compareAs<std::uintptr_t>(key, element); }

Long compare_strhdl(LongPtr key, void* element) {
  return std::strcmp(textAt(reinterpret_cast<const void*>(key)), textAt(element));
}

Long compare_float(LongPtr key, void* element) { return compareAs<float>(key, element); }

Long compare_double(LongPtr key, void* element) { return compareAs<double>(key, element); }

Long compare_int64(LongPtr key, void* element) { return compareAs<Int64>(key, element); }

AOrderedArray* AOrderedArray::New(Long elementSize, typechoice type) {
  Owned<AOrderedArray> array(new AOrderedArray);
  array->IOrderedArray(elementSize, type);
  return array.release();
}

void AOrderedArray::IOrderedArray(Long size, typechoice type) {
  const KeyCompare compare = comparisonFor(type);
  if (!compare) +XError("BAD_TYPE_IN_ORDERED_ARRAY", 0);
  OwnedHandle scratch = OwnedHandle::ofSize(size);
  IArray(size);
  SetBlockSize(kManySmallKeys);
  OwnedHandle before(std::exchange(hScratch, scratch.release()));
  fCompare = compare;
}

AOrderedArray::~AOrderedArray() { OwnedHandle left(hScratch); }

void AOrderedArray::Dispose() {
  FirstError errors;
  errors.take([this] {
    if (char** scratch = std::exchange(hScratch, nullptr)) KyDisposeHandle(scratch);
  });
  errors.takeLast([this] { AArray::Dispose(); });
}

AObject* AOrderedArray::Copy() {
  auto* copy = static_cast<AOrderedArray*>(AArray::Copy());
  if (!hScratch) return copy;
  guardedReraise([&] { KyHandToHand(&copy->hScratch); },
                 [&] {
                   KyDisposeHandle(copy->hItems);
                   KyDispose(copy);
                 });
  return copy;
}

Long AOrderedArray::compareWith(const void* item, Long index) {
  Retrieve(*hScratch, index);
  return fCompare(reinterpret_cast<LongPtr>(item), *hScratch);
}

void AOrderedArray::InsertAtIndex(const void* item, Long index) {
  if (numItems > 0) {
    const Int64 last = Int64{numItems} + indexBase - 1;
    const Long place = static_cast<Long>(std::min<Int64>(index, last + 1));
    bool fits = place <= indexBase || compareWith(item, place - 1) > 0;
    // The element at `place` itself is not looked at: callers make room ahead of an element that they delete next.
    if (fits && place >= indexBase && place < last) fits = compareWith(item, place + 1) < 0;
    if (!fits) +XError("ARRAY_INSERT_IN_WRONG_POSITION", 0);
  }
  AArray::InsertAtIndex(item, index);
}

void AOrderedArray::InsertItem(const void* item) {
  Long index = 0;
  if (BinarySearchItem(reinterpret_cast<LongPtr>(item), fCompare, &index, nullptr)) {
    +XError("DUPLICATE_KEYS_IN_ORDERED_ARRAY", 0);
  }
  AArray::InsertAtIndex(item, index);
}

void AOrderedArray::BinarySearch(const void* key, Long* index, void* out, Boolean* found) {
  const Boolean hit = BinarySearchItem(reinterpret_cast<LongPtr>(key), fCompare, index, out);
  if (found) *found = hit;
}
