#include "core/lists/AArray.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/lists/FirstError.h"
#include "core/lists/rqsort.h"
#include "core/mem/KyHandles.h"
#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"

using namespace ky;

namespace {

constexpr Long kAbsent = INT32_MIN;
constexpr Long kLast = INT32_MAX;
/// Elements above this size get their first slots when they come.
constexpr Long kSmallElement = 10240;
constexpr short kFewSlots = 3;

Long handleBytes(Long elementSize, Long slots) {
  const Int64 bytes = elementSize * (Int64{slots} + 1);
  if (elementSize < 0 || slots < 0 || bytes > INT32_MAX) +XError("MEM_OUT_OF_MEMORY", 0);
  return static_cast<Long>(bytes);
}

Long saturated(Int64 value) { return static_cast<Long>(std::min<Int64>(value, INT32_MAX)); }

}  // namespace

Boolean ACollection::IsEmpty() { return numItems == 0; }

AArray* AArray::New(Long elementSize) {
  Owned<AArray> array(new AArray);
  array->IArray(elementSize);
  return array.release();
}

AArray* AArray::NewWithSlotAndBlock(Long elementSize, Long slots, short block) {
  Owned<AArray> array(new AArray);
  array->IArrayWithSlotAndBlock(elementSize, slots, block);
  return array.release();
}

void AArray::IArray(Long size) { IArrayWithSlotAndBlock(size, size <= kSmallElement ? kFewSlots : 0, kFewSlots); }

void AArray::IArrayWithSlotAndBlock(Long size, Long count, short block) {
  OwnedHandle items = OwnedHandle::ofSize(handleBytes(size, count));
  OwnedHandle before(std::exchange(hItems, items.release()));
  numItems = 0;
  blockSize = block;
  slots = count;
  elementSize = size;
  lockChanges = usingTemporary = false;
  indexBase = 1;
  IObject();
}

AArray::~AArray() { OwnedHandle left(hItems); }

void AArray::Dispose() {
  FirstError errors;
  errors.take([this] {
    if (char** items = std::exchange(hItems, nullptr)) KyDisposeHandle(items);
  });
  errors.takeLast([this] { ACollection::Dispose(); });
}

AObject* AArray::Copy() {
  auto* copy = static_cast<AArray*>(ACollection::Copy());
  if (!hItems) return copy;
  // Until it has its own elements the copy owns nothing but its block, so no destructor may see it.
  guardedReraise([&] { KyHandToHand(&copy->hItems); }, [&] { KyDispose(copy); });
  return copy;
}

void AArray::DebugCheck() {
  ACollection::DebugCheck();
  check(numItems >= 0 && numItems <= slots, "numItems >= 0 && numItems <= slots");
  check(hItems && KyGetHandleSize(hItems) == elementSize * (Int64{slots} + 1),
        "KyGetHandleSize(hItems) == elementSize * (slots + 1)");
}

void AArray::SetBlockSize(short block) { blockSize = block; }

bool AArray::checkIndex(Long index, int line) const {
  return check(inRange(index), "(index >= indexBase)&&(index < (numItems+indexBase))", __builtin_FILE(), line);
}

std::ptrdiff_t AArray::offsetInside(const void* item) const {
  const auto distance = reinterpret_cast<std::uintptr_t>(item) - reinterpret_cast<std::uintptr_t>(*hItems);
  const auto bytes = static_cast<std::uintptr_t>(elementSize * (Int64{slots} + 1));
  return distance < bytes ? static_cast<std::ptrdiff_t>(distance) : -1;
}

void AArray::InsertAtIndex(const void* item, Long index) {
  if (!check(index >= indexBase, "index >= indexBase")) return;
  if (!check(!lockChanges, "lockChanges == FALSE")) return;
  const std::ptrdiff_t inside = offsetInside(item);
  if (slots <= numItems) MoreSlots();

  // An item that lies in the array itself waits behind the cell that the move below fills.
  if (inside >= 0) item = std::memmove(cell(numItems + 1), *hItems + inside, static_cast<std::size_t>(elementSize));
  const Long place = static_cast<Long>(std::min<Int64>(Int64{index} - indexBase, numItems));
  std::memmove(cell(place + 1), cell(place), static_cast<std::size_t>(cell(numItems) - cell(place)));
  ++numItems;
  Store(item, place + indexBase);
}

void AArray::DeleteItem(Long index) {
  if (!checkIndex(index)) return;
  if (!check(!lockChanges, "lockChanges == FALSE")) return;
  char* gap = cell(index - indexBase);
  std::memmove(gap, gap + elementSize, static_cast<std::size_t>(cell(--numItems) - gap));
  if (blockSize + numItems < slots) giveBackSlots(slots - blockSize);
}

bool AArray::replaceCells(Long place, Long removed, Long added) {
  if (!check(!lockChanges, "lockChanges == FALSE")) return false;
  const Int64 count = Int64{numItems} - removed + added;
  const Int64 block = std::max<Int64>(blockSize, 1);
  if (count > slots) Resize(saturated(slots + (count - slots + block - 1) / block * block));

  char* behind = cell(place + removed);
  std::memmove(cell(place + added), behind, static_cast<std::size_t>(cell(numItems) - behind));
  numItems = static_cast<Long>(count);
  // As many blocks as single deletions would have given back.
  const Int64 slack = slots - count;
  if (removed > added && slack > block) giveBackSlots(static_cast<Long>(slots - (slack - 1) / block * block));
  return true;
}

void AArray::MoveItemToIndex(Long currentIndex, Long newIndex) {
  if (!check(inRange(currentIndex), "(currentIndex >= indexBase)&&(currentIndex < (numItems+indexBase))")) return;
  if (!check(inRange(newIndex), "(newIndex >= indexBase)&&(newIndex < (numItems+indexBase))")) return;
  if (currentIndex == newIndex) return;
  const bool busy = usingTemporary;
  CopyToTemporary(currentIndex);
  if (busy) return;

  char* from = cell(currentIndex - indexBase);
  char* to = cell(newIndex - indexBase);
  if (from < to) {
    std::memmove(from, from + elementSize, static_cast<std::size_t>(to - from));
  } else {
    std::memmove(to + elementSize, to, static_cast<std::size_t>(from - to));
  }
  CopyFromTemporary(newIndex);
}

void AArray::SetItem(const void* item, Long index) {
  if (checkIndex(index)) Store(item, index);
}

void AArray::GetItem(void* out, Long index) {
  if (checkIndex(index)) Retrieve(out, index);
}

void AArray::GetPtrItem(void* out, Long index) {
  if (checkIndex(index)) RetrievePtr(out, index);
}

const void* AArray::ReferenceItem(Long index) {
  if (!checkIndex(index)) return nullptr;
  return cell(index - indexBase);
}

void AArray::Swap(Long index1, Long index2) {
  if (!check(inRange(index1), "(index1 >= indexBase)&&(index1 < (numItems+indexBase))")) return;
  if (!check(inRange(index2), "(index2 >= indexBase)&&(index2 < (numItems+indexBase))")) return;
  const bool busy = usingTemporary;
  CopyToTemporary(index1);
  if (busy) return;
  std::memmove(cell(index1 - indexBase), cell(index2 - indexBase), static_cast<std::size_t>(elementSize));
  CopyFromTemporary(index2);
}

Long AArray::Search(const void* key, int (*cmp)(void* key, void* element)) {
  for (Long place = 0; place < numItems; ++place) {
    if (cmp(const_cast<void*>(key), cell(place)) == 0) return place + indexBase;
  }
  return kAbsent;
}

Boolean AArray::LockItems(Boolean lock) {
  SetLockChanges(lock);
  return 1;
}

Boolean AArray::SetLockChanges(Boolean lock) { return std::exchange(lockChanges, lock); }

void AArray::SetIndexBase(Long base) { indexBase = base; }

Long AArray::GetIndexBase() { return indexBase; }

void AArray::RemoveAll() {
  numItems = 0;
  if (slots > blockSize) giveBackSlots(blockSize);
}

void AArray::Resize(Long count) {
  count = std::max(count, numItems);
  KySetHandleSize(hItems, handleBytes(elementSize, count));
  slots = count;
}

void AArray::giveBackSlots(Long count) {
  guarded([&] { Resize(count); },
          [](XError& caught) {
            if (!caught.FindCode("MEM_OUT_OF_MEMORY")) xraisexerror(caught);
          });
}

void AArray::MoreSlots() {
  // A block of nothing would let the next insertion write behind the handle.
  Resize(saturated(Int64{slots} + std::max<short>(blockSize, 1)));
}

void AArray::Store(const void* item, Long index) {
  std::memmove(cell(index - indexBase), item, static_cast<std::size_t>(elementSize));
}

void AArray::Retrieve(void* out, Long index) {
  std::memcpy(out, cell(index - indexBase), static_cast<std::size_t>(elementSize));
}

void AArray::RetrievePtr(void* out, Long index) {
  std::memcpy(out, cell(index - indexBase), std::min(sizeof(void*), static_cast<std::size_t>(elementSize)));
}

void AArray::CopyToTemporary(Long index) {
  if (!checkIndex(index)) return;
  if (!check(!usingTemporary, "usingTemporary == FALSE")) return;
  usingTemporary = true;
  std::memcpy(cell(numItems), cell(index - indexBase), static_cast<std::size_t>(elementSize));
}

void AArray::CopyFromTemporary(Long index) {
  if (!checkIndex(index)) return;
  if (!check(usingTemporary, "usingTemporary == TRUE")) return;
  usingTemporary = false;
  std::memcpy(cell(index - indexBase), cell(numItems), static_cast<std::size_t>(elementSize));
}

Long AArray::ItemOffset(Long itemIndex) {
  if (!check(inRange(itemIndex), "(itemIndex >= indexBase)&&(itemIndex < (numItems+indexBase))")) return 0;
  return (itemIndex - indexBase) * elementSize;
}

Boolean AArray::BinarySearchItem(LongPtr key, Long (*cmp)(LongPtr key, void* element), Long* index, void* out) {
  Boolean found = false;
  Long low = 0, high = numItems, middle = high / 2;
  while (low < high) {
    const Long order = cmp(key, cell(middle));
    if (order == 0) {
      found = true;
      if (out) GetItem(out, middle + indexBase);
      break;
    }
    if (order < 0) {
      high = middle;
    } else {
      low = middle + 1;
    }
    middle = low + (high - low) / 2;
  }
  if (index) *index = middle + indexBase;
  return found;
}

void AArray::Qsort(int (*cmp)(void*, void*)) {
  const Boolean before = std::exchange(lockChanges, true);
  guardedReraise(
      [&] { rqsort(*hItems, static_cast<std::size_t>(numItems), static_cast<std::size_t>(elementSize), cmp); },
      [&] {
        lockChanges = before;
        usingTemporary = false;
      });
  lockChanges = before;
}

void ArrayAccess::setCount(AArray& array, Long count) {
  if (count > array.slots) array.Resize(count);
  if (count > array.numItems) {
    std::memset(array.cell(array.numItems), 0,
                static_cast<std::size_t>(array.cell(count) - array.cell(array.numItems)));
  }
  array.numItems = count;
}

void ArrayAccess::appendSlowly(AArray& array, const void* item) { array.AArray::InsertAtIndex(item, kLast); }
