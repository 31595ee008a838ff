// Many threads of both kinds at once, for KY_STRESS_SECONDS or a little while: every turn is counted, none is lost.
// A busy machine gets through less in that time, so they go on until each thing that may befall them has.
#include <array>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <semaphore>

#include "core/lists/KyQueue.h"
#include "core/threads/KyCoreThreadMutex.h"
#include "tests/threads/CoreThreads.h"

namespace {

using namespace ky;
using namespace ky::test;

constexpr int kCooperative = 8;
constexpr int kAll = 12;
constexpr Int64 kMinute = Int64{60} * 1'000'000;
constexpr Int64 kHour = 60 * kMinute;

Int64 stressMicroseconds() {
#ifdef __SANITIZE_THREAD__
  constexpr Int64 kSeconds = 10;
#else
  constexpr Int64 kSeconds = 1;
#endif
  const char* const seconds = std::getenv("KY_STRESS_SECONDS");
  return (seconds ? std::atoll(seconds) : kSeconds) * 1'000'000;
}

enum Stage : int { unborn, running, asleep, listening, starving, stages };

/// What one thread did.
struct Done {
  std::minstd_rand random;
  long turns = 0, locked = 0, wrong = 0;
  std::atomic<long> lastError{0};
  std::atomic<int> stage{unborn};
  std::atomic<bool> killed{false};  ///< the signal is on its way
  std::atomic<bool> fed{false};
  std::binary_semaphore food{0};
};

/// Each queue knows what passed through it, and who of its producers put what last.
struct Lane {
  struct Item : QueueItem {
    Item(Lane& passing, int number, long turn) : lane(passing), producer(number), serial(turn) {}
    ~Item() override {
      if (!taken) ++lane.displaced;
    }
    Lane& lane;
    int producer;
    long serial;
    bool taken = false;
  };

  Lane(std::unique_ptr<KyQueue> made, bool mayOverflow) : queue(std::move(made)), overflows(mayOverflow) {}

  void put(int producer) {
    ++in;
    queue->Enqueue(new Item(*this, producer, ++serials[producer]));
  }
  /// Each taker, who is one thread at a time, meets the items of each producer in their order.
  bool take(int taker, ULong milliseconds) {
    QueueItem* got = nullptr;
    if (queue->WaitDequeue(&got, milliseconds) != 0) return false;
    auto* const item = static_cast<Item*>(got);
    if (item->serial <= std::exchange(seen[taker][item->producer], item->serial)) ++outOfOrder;
    item->taken = true;
    item->Dispose();
    ++out;
    return true;
  }

  std::unique_ptr<KyQueue> queue;
  const bool overflows;
  std::array<long, kAll> serials = {};
  std::array<std::array<long, kAll>, kAll + 1> seen = {};
  std::atomic<long> in{0}, out{0}, displaced{0}, outOfOrder{0};
};

/// What all share; each count of `locked` is changed only under its lock, and `turns` only by who has the turn.
struct Shared {
  KyCoreThreadMutex recursive;
  KyCoreThreadMutex once{kNonrecursiveMutex};
  KyCoreThreadCriticalSection section;
  std::array<long, 3> locked = {};
  long turns = 0;
  KyCoreThreadEvent event;
  Lane lanes[4] = {Lane(std::make_unique<WrapQueue>(2, kWaitForRoom), false),
                   Lane(std::make_unique<DynamicQueue>(), false),
                   Lane(std::make_unique<WrapQueue>(5, kRejectNew), true),
                   Lane(std::make_unique<WrapQueue>(5, kOverwriteOldest), true)};
};

/// A yield does not return to a thread that was being killed before.
void yieldOrEnd(Done& done) {
  const bool killed = done.killed;
  SafeThreadYield();
  if (killed) ++done.wrong;
}

void eatWhatNobodyBrings(Done& done) {
  KyCoreThreadServer::AboutToBlock();
  done.stage = starving;
  done.food.acquire();
  done.stage = running;
  done.fed = false;
  KyCoreThreadServer::DoneBlocking();
  yieldOrEnd(done);
}

void lockAndCount(Shared& shared, Done& done) {
  const auto which = done.random() % 3;
  const auto count = [&] {
    ++shared.locked[which];
    ++done.locked;
  };
  if (which == 0) {
    const KyAutoLockThreadMutex outer(&shared.recursive);
    count();
    if (done.random() % 4 == 0) SafeThreadYield();
    const KyAutoLockThreadMutex inner(&shared.recursive);
    count();
  } else if (which == 1) {
    const KyAutoLockThreadMutex hold(&shared.once);
    count();
  } else {
    const KyAutoLockCS hold(&shared.section);
    count();
  }
}

void step(Shared& shared, Done& done, int number, Worker& it) {
  done.stage = running;
  if (number < kCooperative) {
    ++shared.turns;
    ++done.turns;
  }
  lockAndCount(shared, done);
  Lane& lane = shared.lanes[done.random() % 4];
  switch (done.random() % 16) {
    case 0:
      done.stage = asleep;
      return it.Sleep(done.random() % 4 == 0 ? kHour : 1000);
    case 1:
      done.stage = listening;
      return it.ListenTo(&shared.event);
    case 2:
      it.idle = true;
      return;
    case 3:
      return eatWhatNobodyBrings(done);
    case 4:
    case 5:
    case 6:
      return lane.put(number);
    case 7:
    case 8:
      lane.take(number, done.random() % 2);
      return;
    default:
      yieldOrEnd(done);
  }
}

/// Errors from outside are heard once each, and in their order.
void stepAndHear(Shared& shared, Done& done, int number, Worker& it) {
  try {
    step(shared, done, number, it);
  } catch (const XError& error) {
    if (error.FindCode("STRESS") == 0) throw;
    const long serial = std::stol(parm(error, "serial"));
    if (serial <= done.lastError.exchange(serial)) ++done.wrong;
  }
}

class Crowd {
 public:
  Crowd() {
    for (int i = 0; i < kAll; ++i) {
      all[i].random.seed(static_cast<unsigned>(i + 1));
      start(i);
    }
    // A thread of no kind beside them, so that whoever waits for room gets it, however the others stand.
    shared.lanes[0].queue->SetAbortSema(&abort);
    taker = std::thread([&] {
      while (shared.lanes[0].take(kAll, kNoLimit)) std::this_thread::yield();
    });
  }

  /// Ends them all, and takes what is left.
  void end() {
    for (int i = 0; i < kAll; ++i) kill(i);
    abort.Increment();
    taker.join();
    shared.lanes[0].queue->SetAbortSema(nullptr);
    for (Lane& lane : shared.lanes) {
      while (lane.take(kAll, 0)) continue;
    }
  }

  void start(int index) {
    Done& done = all[index];
    done.stage = unborn;
    done.killed = false;
    const auto type = index < kCooperative ? KyCoreThread_Cooperative : KyCoreThread_Preemptive;
    threads[index] =
        std::make_unique<Worker>([this, &done, index](Worker& it) { stepAndHear(shared, done, index, it); }, type);
  }

  void wake(int index) {
    if (all[index].stage == unborn) all[index].stage = running;
    threads[index]->idle = false;
    threads[index]->MarkToWakeUp();
  }

  void feed(int index) {
    if (!all[index].fed.exchange(true)) all[index].food.release();
  }

  /// Kills the thread where it stands; one that waits for food hears of it once it gets some.
  void kill(int index) {
    Worker& thread = *threads[index];
    Done& done = all[index];
    const bool unfed = !done.fed;
    const int stage = done.stage;
    ++kills[stage];
    if (stage != unborn) {
      thread.RaiseException(XError(KILL_THREAD_SIGNAL));
      done.killed = true;
    }
    EXPECT_TRUE(thread.IsThreadAlive() || !unfed || stage != starving);
    feed(index);
    EXPECT_TRUE(thread.KillThead(false));
    EXPECT_TRUE(stage != unborn || thread.story() == "");
    threads[index].reset();
    if (done.fed.exchange(false)) done.food.acquire();
  }

  /// Kills one that stands there, if any does, and starts another in its place.
  bool replaceOneAt(int stage) {
    for (int i = 0; i < kAll; ++i) {
      if (all[i].stage != stage) continue;
      kill(i);
      start(i);
      return true;
    }
    return false;
  }

  template <class Count>
  long sum(Count count) const {
    return std::accumulate(all.begin(), all.end(), 0L, [&](long so, const Done& done) { return so + done.*count; });
  }

  /// Whether each lane was used and overflowed if it may, errors were heard, and threads were killed at each stage.
  bool hasMetAll() const {
    const auto isMet = [](const Lane& lane) { return lane.out > 0 && (lane.displaced > 0 || !lane.overflows); };
    return std::ranges::all_of(shared.lanes, isMet) && sum(&Done::lastError) > 0 &&
           std::ranges::all_of(kills, [](int killed) { return killed > 0; });
  }

  Shared shared;
  std::array<Done, kAll> all;
  std::array<std::unique_ptr<Worker>, kAll> threads;
  std::array<int, stages> kills = {};

 private:
  KySema abort{1};
  std::thread taker;
};

void disturb(Crowd& crowd, std::minstd_rand& random, Long round) {
  const int index = static_cast<int>(random() % kAll);
  Worker& thread = *crowd.threads[index];
  const XError error("STRESS", "long serial", round, 0);
  switch (random() % 12) {
    case 0:
      crowd.wake(index);
      return thread.DeferException(error);
    case 1:
      crowd.wake(index);
      thread.RaiseException(error);
      return;
    case 2:
      return crowd.shared.event.SignalSubscriber();
    case 3:
      if (crowd.all[index].stage == starving) crowd.feed(index);
      return;
    default:
      crowd.wake(index);
      GetCoreThreadServer()->YieldTo(random() % 2 ? &thread : nullptr, false);
  }
}

TEST(CoreThreadStress, EveryTurnIsCounted) {
  KyCoreThreadInit();
  Crowd crowd;
  std::minstd_rand random(99);
  const Int64 until = KyMicroseconds() + stressMicroseconds();
  const Int64 patience = until + kMinute;
  int wanted = running;
  for (Long round = 1; KyMicroseconds() < (crowd.hasMetAll() ? until : patience); ++round) {
    disturb(crowd, random, round);
    if (round % 64 == 0 && crowd.replaceOneAt(wanted) && ++wanted == stages) {
      crowd.replaceOneAt(unborn);
      wanted = running;
    }
    SafeThreadYield();
  }
  EXPECT_TRUE(crowd.hasMetAll());
  crowd.end();

  const Shared& shared = crowd.shared;
  EXPECT_EQ(shared.turns, crowd.sum(&Done::turns));
  EXPECT_EQ(std::accumulate(shared.locked.begin(), shared.locked.end(), 0L), crowd.sum(&Done::locked));
  EXPECT_EQ(crowd.sum(&Done::wrong), 0);
  for (const Lane& lane : shared.lanes) {
    SCOPED_TRACE(&lane - shared.lanes);
    EXPECT_EQ(lane.in, lane.out + lane.displaced);
    EXPECT_EQ(lane.displaced > 0, lane.overflows);
    EXPECT_EQ(lane.outOfOrder, 0);
  }
  EXPECT_FALSE(shared.recursive.WasLocked() || shared.once.WasLocked());
  EXPECT_EQ(GetCoreThreadServer()->GetThreadCount(), 1);
}

}  // namespace
