#include "core/threads/KyCoreThreadMutex.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>

#include "tests/support/Printed.h"
#include "tests/support/Raised.h"
#include "tests/threads/CoreThreads.h"

namespace {

using namespace ky;
using namespace ky::test;

class CoreMutex : public testing::Test {
 protected:
  void SetUp() override { KyCoreThreadInit(); }

  /// Runs `body` once on a core thread of its own, to its end.
  template <class Body>
  void elsewhere(Body body, KyCoreThreadType type = KyCoreThread_Cooperative) {
    Worker worker(
        [&](Worker& it) {
          body();
          it.Terminate();
        },
        type);
    worker.Resume();
    ASSERT_TRUE(runUntil([&] { return !worker.IsThreadAlive(); }));
  }

  ULong ownID() { return GetCoreThreadServer()->GetRunningThread()->GetID(); }
};

TEST_F(CoreMutex, IsFreeOnlyAfterAsManyUnlocksAsLocksAndTells) {
  const DebugOutput out;
  KyCoreThreadMutex mutex;
  mutex.SetTrace(true);
  mutex.SetLockTimeout(0);
  const auto triedElsewhere = [&] {
    std::string raised;
    elsewhere([&] {
      raised = codeRaisedBy([&] {
        mutex.Lock();
        mutex.Unlock();
      });
    });
    return raised;
  };
  mutex.Lock();
  mutex.Lock();
  mutex.Unlock();
  EXPECT_TRUE(mutex.IsLockedByRunning() && mutex.WasLockedBy(ownID()) && IsLockedOnThisThread(&mutex));
  EXPECT_EQ(triedElsewhere(), "THREAD_MUTEX_TIMEOUT");
  mutex.Unlock();
  EXPECT_FALSE(mutex.WasLocked() || mutex.IsLockedByRunning());
  EXPECT_EQ(triedElsewhere(), "");
  EXPECT_NE(out.text().find("KyCoreThreadMutex --mname--  +++ 2 [tid x"), std::string::npos);
  EXPECT_NE(out.text().find("KyCoreThreadMutex --mname--  --- 0 [tid x"), std::string::npos);
}

TEST_F(CoreMutex, RefusesWhatItCannotServe) {
  KyCoreThreadMutex once(kNonrecursiveMutex);
  once.Lock();
  const XError deadlock = errorRaisedBy([&] { once.Lock("cut", 7); });
  EXPECT_STREQ(deadlock.GetCode(), "THREAD_NONRECURSIVE_MUTEX_SELF_DEADLOCK");
  EXPECT_EQ(parm(deadlock, "fname") + parm(deadlock, "fline"), "cut7");
  once.Unlock();
  EXPECT_FALSE(once.WasLocked());
  EXPECT_EQ(std::async(std::launch::async, [&] { return codeRaisedBy([&] { once.Lock(); }); }).get(),
            "THREAD_MUTEX_INTERNAL_ERROR");

  once.Lock();
  std::string fatal;
  elsewhere([&] { fatal = checkFailedBy([&] { once.Unlock(); }); });
  EXPECT_EQ(fatal, "THREAD_NOT_OWNER");
  once.Unlock();
  EXPECT_EQ(checkFailedBy([&] { ShouldOwnAndLock(&once); }), "compaline here");
}

TEST_F(CoreMutex, TimesOutInSlicesOfASecond) {
  KyCoreThreadMutex mutex;
  const struct {
    Int64 microseconds, slept;
    int sleeps;
  } rows[] = {{1, 0, 0}, {499, 0, 0}, {500, 1, 1}, {1'000'000, 1'000, 1}, {3'200'000, 3'200, 4}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.microseconds);
    mutex.Lock();
    mutex.SetLockTimeout(row.microseconds);
    int sleeps = 0;
    Int64 slept = 0;
    std::string raised;
    elsewhere([&] {
      const SleptClock clock([&] { ++sleeps; });
      raised = codeRaisedBy([&] { mutex.Lock(); });
      slept = SleptClock::slept;
    });
    EXPECT_EQ(raised, "THREAD_MUTEX_TIMEOUT");
    EXPECT_EQ(slept, row.slept);
    EXPECT_EQ(sleeps, row.sleeps);
    mutex.Unlock();
  }
}

TEST_F(CoreMutex, OneLeftByAThreadThatEndedIsTaken) {
  KyCoreThreadMutex mutex;
  KyCoreThreadCriticalSection section;
  elsewhere([&] {
    mutex.Lock();
    mutex.Lock();
    section.Lock();
  });
  EXPECT_TRUE(mutex.WasLocked());
  mutex.Lock();
  EXPECT_TRUE(mutex.IsLockedByRunning());
  mutex.Unlock();
  EXPECT_FALSE(mutex.WasLocked());
  section.Lock();
  section.Unlock();
}

TEST_F(CoreMutex, IsFreedForAThreadThatCannot) {
  KyCoreThreadMutex mutex;
  std::string wrong;
  mutex.Lock();
  EXPECT_EQ(checkFailedBy([&] { mutex.Unlock(ownID(), "", 0); }), "thread_id != mOwner");
  elsewhere([&] { mutex.Unlock(GetCoreThreadServer()->GetRunningThread()->GetID(), "", 0); });
  EXPECT_FALSE(mutex.WasLocked());
  EXPECT_EQ(checkFailedBy([&] { mutex.Unlock(1, "", 0); }), "mCount > 0");
  elsewhere([&] {
    mutex.Lock();
    mutex.Unlock();
  });
}

TEST_F(CoreMutex, LockingASectionHandsOverThoughItIsFree) {
  const std::unique_ptr<KyCoreThreadCriticalSection> section(GetCoreThreadServer()->CreateSimpleCriticalSection());
  int ran = 0;
  Worker other([&](Worker&) {
    SafeThreadYield();
    ++ran;
  });
  other.Resume();
  ASSERT_TRUE(runUntil([&] { return other.story().starts_with("start do "); }));
  {
    const KyAutoLockCS hold(section.get());
    EXPECT_GE(ran, 1);
    std::string wrong;
    elsewhere([&] { wrong = checkFailedBy([&] { section->Unlock(); }); });
    EXPECT_EQ(wrong, "currentThread->GetID() == mOwner");
    section->Lock();
    section->Lock();
    section->Unlock();
  }
  section->Unlock(0, "", 0);
  elsewhere([&] {
    section->Lock();
    section->Unlock();
  });
}

TEST_F(CoreMutex, ASignalIsForThoseWhoWaitABroadcastForAll) {
  const std::unique_ptr<KyCoreThreadEvent> event(GetCoreThreadServer()->CreateSimpleEvent());
  std::atomic<int> passed{0};
  Worker waiter([&](Worker& it) {
    it.ListenTo(event.get());
    ++passed;
    it.idle = true;
  });
  event->SignalSubscriber();
  const auto wakes = [&] {
    const Long before = waiter.GetWorkCount();
    waiter.MarkToWakeUp();
    for (int i = 0; i < 100; ++i) SafeThreadYield();
    EXPECT_EQ(waiter.GetWorkCount(), before) << "a signal is not kept";
    // It stands between its step's beginning and the wait for a moment only.
    ASSERT_TRUE(runUntil([&] {
      event->SignalSubscriber();
      return waiter.IsParking() && waiter.IsSuspended();
    }));
    EXPECT_EQ(waiter.GetWorkCount(), before + 1);
  };
  wakes();
  wakes();
  EXPECT_EQ(passed, 2);
  event->BroadcastSubscribers();
  for (const int times : {3, 4}) {
    waiter.MarkToWakeUp();
    ASSERT_TRUE(runUntil([&] { return passed == times && waiter.IsParking() && waiter.IsSuspended(); }));
  }
}

}  // namespace
