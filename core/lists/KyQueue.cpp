#include "core/lists/KyQueue.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"
#include "platform/Threads.h"

using namespace ky;

namespace {

constexpr ULong kNoCapacity = 0x7FFFFFFF;
constexpr Long kFirstCells = 16;
constexpr int kLooks = 8;

QueueItem** newCells(Int64 cells) {
  const Int64 bytes = cells * static_cast<Int64>(sizeof(QueueItem*));
  if (bytes > std::numeric_limits<Long>::max()) +XError("MEM_OUT_OF_MEMORY", 0);
  return static_cast<QueueItem**>(KyNewPtr(static_cast<Long>(bytes)));
}

}  // namespace

const char* QueueItem::ClassName() { return "QueueItem"; }

Boolean QueueItem::IsInstanceOf(const char* name) {
  return std::strcmp(name, "QueueItem") == 0 || AObject::IsInstanceOf(name);
}

namespace ky {

ItemRing::ItemRing(Long cells) : ring(newCells(cells)), cells(cells) {}

ItemRing::~ItemRing() {
  while (QueueItem* const item = takeOldest()) const Owned<QueueItem> ended(item);
  KyDisposePtr(ring);
}

void ItemRing::append(QueueItem* item) {
  const Int64 at = Int64{first} + count;
  ring[at < cells ? at : at - cells] = item;
  ++count;
}

QueueItem* ItemRing::takeOldest() {
  if (count == 0) return nullptr;
  QueueItem* const oldest = ring[first];
  if (++first == cells) first = 0;
  --count;
  return oldest;
}

void ItemRing::grow() {
  QueueItem** const wider = newCells(Int64{cells} * 2);
  std::rotate_copy(ring, ring + first, ring + cells, wider);
  KyDisposePtr(std::exchange(ring, wider));
  first = 0;
  cells *= 2;
}

}  // namespace ky

KyQueue::KyQueue(ULong capacity) : iItems(capacity) {}

KyQueue::~KyQueue() = default;

// The count is raised behind the item and lowered ahead of it, so that whoever has taken a count finds an item.
void KyQueue::Enqueue(QueueItem* item) {
  if (!check(item != nullptr, "item != NULL")) return;
  if (QueueItem* const left = DoEnqueue(item)) return left->Dispose();
  iItems.Increment();
}

QueueItem* KyQueue::Dequeue() { return iItems.Lock(0) == 0 ? DoDequeue() : nullptr; }

Long KyQueue::WaitDequeue(QueueItem** item, ULong milliseconds) {
  *item = nullptr;
  const Long status = WaitOrAbort(iItems, milliseconds);
  if (status == 0) *item = DoDequeue();
  return status;
}

// Items come in a row: to look again is cheaper than to be put to sleep and woken for each.
Long KyQueue::WaitOrAbort(KySema& sema, ULong milliseconds) {
  KySema* const abort = iAbort;
  if (!abort) {
    for (int look = 0; look < kLooks && milliseconds != 0; ++look) {
      if (sema.IsSet() && sema.Lock(0) == 0) return 0;
      platform::yieldProcessor();
    }
    return sema.Lock(milliseconds);
  }
  KySynch* taken = nullptr;
  const Long status = KyWaitForEither(abort, &sema, &taken, milliseconds);
  return taken == abort ? -1 : status;
}

DynamicQueue::DynamicQueue() : KyQueue(kNoCapacity), iRing(kFirstCells) {}

DynamicQueue::~DynamicQueue() = default;

QueueItem* DynamicQueue::DoEnqueue(QueueItem* item) {
  const KyMutexTenure hold(iMutex);
  if (iRing.isFull()) iRing.grow();
  iRing.append(item);
  return nullptr;
}

QueueItem* DynamicQueue::DoDequeue() {
  const KyMutexTenure hold(iMutex);
  return iRing.takeOldest();
}

WrapQueue::WrapQueue(Long size, CollisionAction action)
    : KyQueue(static_cast<ULong>(std::max(size, 1))),
      iAction(action),
      iRing(std::max(size, 1)),
      iRoom(static_cast<ULong>(std::max(size, 1))) {
  check(size > 0, "size > 0");
  if (iAction != kWaitForRoom) return;
  for (Long cell = 0; cell < std::max(size, 1); ++cell) iRoom.Increment();
}

WrapQueue::~WrapQueue() = default;

QueueItem* WrapQueue::DoEnqueue(QueueItem* item) {
  if (iAction == kWaitForRoom && WaitOrAbort(iRoom, kNoLimit) != 0) return item;
  const KyMutexTenure hold(iMutex);
  QueueItem* displaced = nullptr;
  if (iRing.isFull()) {
    if (iAction == kRejectNew) return item;
    displaced = iRing.takeOldest();
  }
  iRing.append(item);
  return displaced;
}

QueueItem* WrapQueue::DoDequeue() {
  QueueItem* oldest = nullptr;
  {
    const KyMutexTenure hold(iMutex);
    oldest = iRing.takeOldest();
  }
  if (iAction == kWaitForRoom) iRoom.Increment();
  return oldest;
}
