// Queues between threads: one that grows, and a ring that does what its maker chose when it is full.
//
//   WrapQueue frames(30, kOverwriteOldest);
//   frames.Enqueue(new Frame(...));             // here
//   QueueItem* item = nullptr;
//   if (frames.WaitDequeue(&item, 40) == 0) ... // there
#pragma once

#include <atomic>

#include "core/base/AObject.h"
#include "core/mem/SpinLock.h"
#include "core/threads/KySynch.h"

/// Base of what travels in a queue.
class KY_API QueueItem : public AObject {
  KY_CLASS(QueueItem, AObject)
};

namespace ky {

/// Pointers in a ring of cells. No lock.
class ItemRing {
 public:
  explicit ItemRing(Long cells);
  ItemRing(const ItemRing&) = delete;
  ItemRing& operator=(const ItemRing&) = delete;
  /// Disposes what is left.
  ~ItemRing();

  Long size() const { return cells; }
  bool isFull() const { return count.load(std::memory_order_relaxed) == cells; }
  /// For any thread, at any time.
  bool isEmpty() const { return count.load(std::memory_order_relaxed) == 0; }
  /// Requires: room.
  void append(QueueItem* item);
  /// Returns:  null from an empty ring.
  QueueItem* takeOldest();
  /// Changes cells with `spare`, which is empty and has more of them.
  ///
  /// Requires: a full ring.
  void widenBy(ItemRing& spare);

 private:
  QueueItem** ring = nullptr;
  Long cells = 0;
  Long first = 0;
  std::atomic<Long> count{0};
};

/// Those who wait for what others bring to a queue, or take from it. Nobody pays for it while nobody waits.
class QueueLine {
 public:
  QueueLine();
  QueueLine(const QueueLine&) = delete;
  QueueLine& operator=(const QueueLine&) = delete;

  /// Waits until `attempt`, which looks under the queue's lock, tells of success.
  ///
  /// Returns:  0, 1 for timed out, -1 for aborted.
  template <class Attempt>
  Long await(Attempt attempt, KySema* abort, ULong milliseconds);
  /// Makes one look again. To be called behind each change for which they wait.
  void callOne() {
    if (waiting.load(std::memory_order_relaxed) != 0) callSlow();
  }

 private:
  template <class Attempt>
  Long awaitCall(Attempt attempt, KySema* abort, ULong milliseconds);
  bool strikeOne();
  void leave();
  void callSlow();

  std::atomic<ULong> waiting{0};  ///< who is in line and was not called
  KySema called;
};

}  // namespace ky

/// Items leave in the order in which they came.
///
/// Owns:     the items in it, which it disposes at its end.
/// Threads:  any number may put and take.
class KY_API KyQueue {
 public:
  /// Units:    `capacity` is the most items that it can ever hold.
  explicit KyQueue(ULong capacity);
  KyQueue(const KyQueue&) = delete;
  KyQueue& operator=(const KyQueue&) = delete;
  /// Requires: nobody uses the queue any more.
  virtual ~KyQueue();

  /// Owns:     `item`; one that finds no place is disposed.
  /// Raises:   MEM_OUT_OF_MEMORY, with `item` still the caller's.
  void Enqueue(QueueItem* item);
  /// Does not wait.
  ///
  /// Returns:  the oldest item, now the caller's, or null.
  QueueItem* Dequeue();
  /// May be out of date by the time it is read.
  Boolean HasData() const { return !iRing.isEmpty(); }
  /// Takes the oldest item, as soon as there is one.
  ///
  /// Units:    0 does not wait, 0xFFFFFFFF has no limit.
  /// Returns:  0 with `*item`; 1 for timed out and -1 for aborted, both with null. An abort comes before an item.
  Long WaitDequeue(QueueItem** item, ULong milliseconds);

  /// Each count of `abort` ends one wait, of those who take and of those who wait for room; what waits already does
  /// not see it. Null takes it away.
  ///
  /// Borrows:  `abort`, while it is set.
  void SetAbortSema(KySema* abort) { iAbort = abort; }

 protected:
  // Slots in order: DoEnqueue, DoDequeue. Each takes `iGate` as it needs, and holds it while it looks at the ring.

  /// Returns:  the item that was left without a place: null, `item` itself or an older one.
  virtual QueueItem* DoEnqueue(QueueItem* item) = 0;
  /// Returns:  null from an empty queue.
  virtual QueueItem* DoDequeue();

  ky::SpinLock iGate;
  ky::ItemRing iRing;
  std::atomic<KySema*> iAbort{nullptr};

 private:
  ky::QueueLine iTakers;
};

/// Grows as needed.
class KY_API DynamicQueue : public KyQueue {
 public:
  DynamicQueue();
  ~DynamicQueue() override;

 protected:
  QueueItem* DoEnqueue(QueueItem* item) override;
};

/// What a full ring does with one item more.
enum CollisionAction {
  kRejectNew = 0,
  kOverwriteOldest = 1,
  kWaitForRoom = 2,  ///< without limit; an abort rejects the item
};

/// Holds `size` items at most.
class KY_API WrapQueue : public KyQueue {
 public:
  /// Requires: "size > 0".
  WrapQueue(Long size, CollisionAction action);
  ~WrapQueue() override;

 protected:
  QueueItem* DoEnqueue(QueueItem* item) override;
  QueueItem* DoDequeue() override;

 private:
  bool appendIfRoom(QueueItem* item);

  CollisionAction iAction = kRejectNew;
  ky::QueueLine iPutters;
};
