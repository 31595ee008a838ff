// Many threads of both kinds at once, for KY_STRESS_SECONDS or a little while: every turn is counted, none is lost.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "core/threads/KyCoreThreadMutex.h"
#include "tests/support/Raised.h"
#include "tests/threads/CoreThreads.h"

namespace {

using namespace ky;
using namespace ky::test;

Int64 stressMicroseconds() {
  const char* const seconds = std::getenv("KY_STRESS_SECONDS");
  return seconds ? std::atoll(seconds) * 1'000'000 : 1'000'000;
}

/// What all share; what stands beside a lock is changed only under it, and `turns` only by who has the turn.
struct Shared {
  KyCoreThreadMutex recursive;
  long underRecursive = 0;
  KyCoreThreadMutex once{kNonrecursiveMutex};
  long underOnce = 0;
  KyCoreThreadCriticalSection section;
  long underSection = 0;
  long turns = 0;
  KyCoreThreadEvent event;
};

/// What one thread did.
struct Done {
  long turns = 0, recursive = 0, once = 0, section = 0, errors = 0, kills = 0;
  std::minstd_rand random;
};

void lockAndCount(Shared& shared, Done& done) {
  switch (done.random() % 3) {
    case 0: {
      const KyAutoLockThreadMutex outer(&shared.recursive);
      ++shared.underRecursive;
      ++done.recursive;
      if (done.random() % 4 == 0) SafeThreadYield();
      const KyAutoLockThreadMutex inner(&shared.recursive);
      ++shared.underRecursive;
      ++done.recursive;
      break;
    }
    case 1: {
      const KyAutoLockThreadMutex hold(&shared.once);
      ++shared.underOnce;
      ++done.once;
      break;
    }
    default: {
      const KyAutoLockCS hold(&shared.section);
      ++shared.underSection;
      ++done.section;
    }
  }
}

void step(Shared& shared, Done& done, Worker& it) {
  const bool cooperative = it.GetThreadType() == KyCoreThread_Cooperative;
  if (cooperative) {
    ++shared.turns;
    ++done.turns;
  }
  lockAndCount(shared, done);
  switch (done.random() % 16) {
    case 0:
      it.Sleep(1000);
      break;
    case 1:
      it.ListenTo(&shared.event);
      break;
    case 2:
      it.idle = true;
      break;
    case 3:
      KyCoreThreadServer::AboutToBlock();
      std::this_thread::yield();
      KyCoreThreadServer::DoneBlocking();
      break;
    default:
      SafeThreadYield();
  }
}

class Crowd {
 public:
  static constexpr int kCooperative = 8;
  static constexpr int kAll = 12;

  Crowd() {
    for (int i = 0; i < kAll; ++i) {
      done[i].random.seed(static_cast<unsigned>(i + 1));
      replace(i);
    }
  }

  /// Ends the thread and starts another in its place; some are killed before they begin.
  void replace(int index) {
    const auto type = index < kCooperative ? KyCoreThread_Cooperative : KyCoreThread_Preemptive;
    if (threads[index]) {
      KyCoreThreadEvent& event = shared.event;
      EXPECT_TRUE(threads[index]->KillThead(false));
      ++kills;
      event.SignalSubscriber();
    }
    Done& mine = done[index];
    threads[index] = std::make_unique<Worker>([this, &mine](Worker& it) { step(shared, mine, it); }, type);
  }

  void killAll() {
    for (auto& thread : threads) {
      EXPECT_TRUE(thread->KillThead(false));
      thread.reset();
    }
  }

  Shared shared;
  std::array<Done, kAll> done;
  std::array<std::unique_ptr<Worker>, kAll> threads;
  int kills = 0;
};

TEST(CoreThreadStress, EveryTurnIsCounted) {
  KyCoreThreadInit();
  Crowd crowd;
  Shared& shared = crowd.shared;
  std::minstd_rand random(99);
  const Int64 until = KyMicroseconds() + stressMicroseconds();
  long rounds = 0;
  while (KyMicroseconds() < until) {
    ++rounds;
    const int index = static_cast<int>(random() % Crowd::kAll);
    Worker& thread = *crowd.threads[index];
    switch (random() % 12) {
      case 0:
        if (random() % 8 == 0) crowd.replace(index);
        break;
      case 1:
        thread.DeferException(XError("STRESS", "long round", rounds, 0));
        break;
      case 2:
        thread.RaiseException(XError("STRESS", "long round", rounds, 0));
        break;
      case 3:
        shared.event.SignalSubscriber();
        break;
      default:
        thread.idle = false;
        thread.MarkToWakeUp();
        GetCoreThreadServer()->YieldTo(random() % 2 ? &thread : nullptr, false);
    }
    SafeThreadYield();
  }
  shared.event.BroadcastSubscribers();
  crowd.killAll();

  Done sum;
  for (const Done& each : crowd.done) {
    sum.turns += each.turns;
    sum.recursive += each.recursive;
    sum.once += each.once;
    sum.section += each.section;
  }
  EXPECT_EQ(shared.turns, sum.turns);
  EXPECT_EQ(shared.underRecursive, sum.recursive);
  EXPECT_EQ(shared.underOnce, sum.once);
  EXPECT_EQ(shared.underSection, sum.section);
  EXPECT_GT(sum.turns, Crowd::kAll);
  EXPECT_FALSE(shared.recursive.WasLocked() || shared.once.WasLocked());
  EXPECT_EQ(GetCoreThreadServer()->GetThreadCount(), 1);
  RecordProperty("turns", static_cast<int>(sum.turns));
  RecordProperty("kills", crowd.kills);
}

}  // namespace
