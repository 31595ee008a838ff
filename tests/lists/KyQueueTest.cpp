// What one thread sees of a queue; what passes between many is counted among the tests of threads.
#include "core/lists/KyQueue.h"

#include <deque>
#include <memory>

#include "tests/support/Faults.h"
#include "tests/support/Test.h"
#include "tests/support/Waits.h"

using namespace ky;
using namespace ky::test;

namespace {

struct Parcel : QueueItem {
  explicit Parcel(Long number) : number(number) { ++alive; }
  ~Parcel() override { --alive; }

  Long number = 0;
  static inline std::atomic<Long> alive{0};
};

/// The number of a parcel taken, -1 for none.
Long numberOf(QueueItem* item) {
  const Owned<QueueItem> ended(item);
  return item ? static_cast<Parcel*>(item)->number : -1;
}

TEST(KyQueue, FollowsAModelOfEachKind) {
  for (const Long size : {1, 2, 7, 100, 0}) {
    for (const CollisionAction action : {kRejectNew, kOverwriteOldest, kWaitForRoom}) {
      SCOPED_TRACE(testing::Message() << "size " << size << ", action " << action);
      std::mt19937 random(static_cast<unsigned>(size));
      const bool grows = size == 0;
      const std::unique_ptr<KyQueue> queue(grows ? static_cast<KyQueue*>(new DynamicQueue)
                                                 : new WrapQueue(size, action));
      std::deque<Long> model;
      for (Long number = 0; number < 3'000; ++number) {
        const bool isFull = !grows && Long(model.size()) == size;
        if (random() % 1'000 < (number / 500 % 2 ? 350u : 650u) && !(isFull && action == kWaitForRoom)) {
          queue->Enqueue(new Parcel(number));
          if (isFull && action == kOverwriteOldest) model.pop_front();
          if (!isFull || action == kOverwriteOldest) model.push_back(number);
        } else {
          const Long want = model.empty() ? -1 : model.front();
          if (!model.empty()) model.pop_front();
          ASSERT_EQ(numberOf(queue->Dequeue()), want);
        }
        ASSERT_EQ(queue->HasData(), !model.empty());
        ASSERT_EQ(Parcel::alive, static_cast<Long>(model.size()));
      }
      if (!queue->HasData()) queue->Enqueue(new Parcel(0));
    }
    EXPECT_EQ(Parcel::alive, 0) << "what is left goes with the queue";
  }
}

TEST(KyQueue, AWaitEndsByAnItemAnAbortOrItsLimit) {
  const SleptClock clock;
  WrapQueue queue(3, kRejectNew);
  KySema abort(2);
  const auto waited = [&](ULong milliseconds) {
    auto* item = reinterpret_cast<QueueItem*>(&queue);
    const Long status = queue.WaitDequeue(&item, milliseconds);
    EXPECT_EQ(item != nullptr, status == 0);
    numberOf(item);
    return status;
  };
  EXPECT_EQ(waited(3'600'000), 1);
  queue.SetAbortSema(&abort);
  queue.Enqueue(new Parcel(1));
  abort.Increment();
  EXPECT_EQ(waited(kNoLimit), -1) << "ahead of the item";
  EXPECT_EQ(waited(kNoLimit), 0);
}

TEST(KyQueue, AnAbortEndsAWaitForRoom) {
  WrapQueue queue(2, kWaitForRoom);
  KySema abort(1);
  queue.SetAbortSema(&abort);
  for (const Long number : {0, 1}) queue.Enqueue(new Parcel(number));
  std::jthread putter([&] { queue.Enqueue(new Parcel(2)); });
  abort.Increment();
  putter.join();
  EXPECT_EQ(Parcel::alive, 2) << "an aborted wait disposes its item";
  for (const Long number : {0, 1}) EXPECT_EQ(numberOf(queue.Dequeue()), number);
}

TEST(KyQueue, WithoutMemoryToGrowTheItemStaysItsSenders) {
  DynamicQueue queue;
  for (Long number = 0; number < 16; ++number) queue.Enqueue(new Parcel(number));
  Owned<Parcel> last(new Parcel(16));
  failEachAllocation({[&] { queue.Enqueue(last.get()); }}, [] {});
  last.release();
  for (Long number = 0; number < 17; ++number) EXPECT_EQ(numberOf(queue.Dequeue()), number);
}

}  // namespace
