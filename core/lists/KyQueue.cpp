#include "core/lists/KyQueue.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"
#include "core/mem/SpinTenure.h"
#include "platform/Clock.h"
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

namespace ky {

ItemRing::ItemRing(Long cells) : ring(newCells(cells)), cells(cells) {}

ItemRing::~ItemRing() {
  while (QueueItem* const item = takeOldest()) const Owned<QueueItem> ended(item);
  KyDisposePtr(ring);
}

void ItemRing::append(QueueItem* item) {
  const Long before = count.load(std::memory_order_relaxed);
  const Int64 at = Int64{first} + before;
  ring[at < cells ? at : at - cells] = item;
  count.store(before + 1, std::memory_order_relaxed);
}

QueueItem* ItemRing::takeOldest() {
  const Long before = count.load(std::memory_order_relaxed);
  if (before == 0) return nullptr;
  QueueItem* const oldest = ring[first];
  if (++first == cells) first = 0;
  count.store(before - 1, std::memory_order_relaxed);
  return oldest;
}

void ItemRing::widenBy(ItemRing& spare) {
  std::rotate_copy(ring, ring + first, ring + cells, spare.ring);
  std::swap(ring, spare.ring);
  std::swap(cells, spare.cells);
  first = 0;
}

QueueLine::QueueLine() : called(kNoCapacity) {}

bool QueueLine::strikeOne() {
  ULong left = waiting.load(std::memory_order_relaxed);
  while (left != 0) {
    if (waiting.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) return true;
  }
  return false;
}

void QueueLine::callSlow() {
  if (strikeOne()) called.Increment();
}

/// For one who was not seen to be called. Was it called all the same, then another is, for it may be asleep.
void QueueLine::leave() {
  if (strikeOne()) return;
  called.Lock(kNoLimit);
  callOne();
}

// Items come in a row: to look again is cheaper than to be put to sleep and woken for each.
template <class Attempt>
Long QueueLine::await(Attempt attempt, KySema* abort, ULong milliseconds) {
  for (int look = 0; look < kLooks; ++look) {
    if (abort && abort->Lock(0) == 0) return -1;
    if (attempt()) return 0;
    if (milliseconds == 0) return 1;
    platform::yieldProcessor();
  }
  return awaitCall(attempt, abort, milliseconds);
}

// Who is in line before it looks misses nothing: what comes behind the look finds it in line.
template <class Attempt>
Long QueueLine::awaitCall(Attempt attempt, KySema* abort, ULong milliseconds) {
  const Int64 until = KyMicroseconds() + Int64{milliseconds} * 1000;
  for (ULong left = milliseconds;;) {
    waiting.fetch_add(1, std::memory_order_relaxed);
    if (attempt()) {
      leave();
      return 0;
    }
    KySynch* first = &called;
    const Long late = abort ? KyWaitForEither(abort, &called, &first, left) : called.Lock(left);
    const bool wasCalled = late == 0 && first == &called;
    if (!wasCalled) leave();
    if (late == 0 && !wasCalled) return -1;
    if (attempt()) return 0;
    if (late != 0) return 1;
    if (milliseconds != kNoLimit) left = static_cast<ULong>(std::max<Int64>(until - KyMicroseconds(), 0) / 1000);
  }
}

}  // namespace ky

KyQueue::KyQueue(ULong capacity) : iRing(capacity >= kNoCapacity ? kFirstCells : static_cast<Long>(capacity)) {}

KyQueue::~KyQueue() = default;

void KyQueue::Enqueue(QueueItem* item) {
  if (!check(item != nullptr, "item != NULL")) return;
  if (QueueItem* const left = DoEnqueue(item)) {
    left->Dispose();
    if (left == item) return;
  }
  iTakers.callOne();
}

QueueItem* KyQueue::Dequeue() { return DoDequeue(); }

QueueItem* KyQueue::DoDequeue() {
  const SpinTenure hold(iGate);
  return iRing.takeOldest();
}

Long KyQueue::WaitDequeue(QueueItem** item, ULong milliseconds) {
  QueueItem* taken = nullptr;
  const auto take = [&] { return (taken = DoDequeue()) != nullptr; };
  const Long status = iTakers.await(take, iAbort, milliseconds);
  *item = taken;
  return status;
}

DynamicQueue::DynamicQueue() : KyQueue(kNoCapacity) {}

DynamicQueue::~DynamicQueue() = default;

// Memory is asked for with the gate open.
QueueItem* DynamicQueue::DoEnqueue(QueueItem* item) {
  for (;;) {
    Long cells = 0;
    {
      const SpinTenure hold(iGate);
      cells = iRing.size();
      if (!iRing.isFull()) {
        iRing.append(item);
        return nullptr;
      }
    }
    ItemRing spare(cells * 2);
    const SpinTenure hold(iGate);
    if (iRing.isFull() && iRing.size() == cells) iRing.widenBy(spare);
  }
}

WrapQueue::WrapQueue(Long size, CollisionAction action)
    : KyQueue(static_cast<ULong>(std::max(size, 1))), iAction(action) {
  check(size > 0, "size > 0");
}

WrapQueue::~WrapQueue() = default;

bool WrapQueue::appendIfRoom(QueueItem* item) {
  const SpinTenure hold(iGate);
  if (iRing.isFull()) return false;
  iRing.append(item);
  return true;
}

QueueItem* WrapQueue::DoEnqueue(QueueItem* item) {
  if (iAction == kWaitForRoom) {
    const auto put = [&] { return appendIfRoom(item); };
    return iPutters.await(put, iAbort, kNoLimit) == 0 ? nullptr : item;
  }
  if (iAction == kRejectNew) return appendIfRoom(item) ? nullptr : item;
  const SpinTenure hold(iGate);
  QueueItem* const displaced = iRing.isFull() ? iRing.takeOldest() : nullptr;
  iRing.append(item);
  return displaced;
}

QueueItem* WrapQueue::DoDequeue() {
  QueueItem* const oldest = KyQueue::DoDequeue();
  if (oldest) iPutters.callOne();
  return oldest;
}
