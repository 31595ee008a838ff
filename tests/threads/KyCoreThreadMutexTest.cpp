#include "core/threads/KyCoreThreadMutex.h"

#include <gtest/gtest.h>

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
  void elsewhere(Body body) {
    Worker worker([&](Worker& it) {
      body();
      it.Terminate();
    });
    worker.Resume();
    ASSERT_TRUE(runUntil([&] { return !worker.IsThreadAlive(); }));
  }
};

TEST_F(CoreMutex, RefusesWhatItCannotServe) {
  KyCoreThreadMutex once(kNonrecursiveMutex);
  once.Lock();
  const XError deadlock = errorRaisedBy([&] { once.Lock("cut", 7); });
  EXPECT_STREQ(deadlock.GetCode(), "THREAD_NONRECURSIVE_MUTEX_SELF_DEADLOCK");
  EXPECT_EQ(parm(deadlock, "fname") + parm(deadlock, "fline"), "cut7");
  once.Unlock();
  EXPECT_FALSE(once.WasLocked());
  once.Lock();
  std::string fatal;
  elsewhere([&] { fatal = checkFailedBy([&] { once.Unlock(); }); });
  EXPECT_EQ(fatal, "THREAD_NOT_OWNER");
  once.Unlock();
}

TEST_F(CoreMutex, TimesOutInSlicesOfASecond) {
  KyCoreThreadMutex mutex;
  const struct {
    Int64 microseconds, slept;
    int sleeps;
  } rows[] = {{499, 0, 0}, {500, 1, 1}, {3'200'000, 3'200, 4}};
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

TEST_F(CoreMutex, LockingASectionHandsOverThoughItIsFree) {
  KyCoreThreadCriticalSection section;
  int ran = 0;
  Worker other([&](Worker&) {
    SafeThreadYield();
    ++ran;
  });
  other.Resume();
  ASSERT_TRUE(runUntil([&] { return other.story().starts_with("start do "); }));
  const KyAutoLockCS hold(&section);
  EXPECT_GE(ran, 1);
  std::string wrong;
  elsewhere([&] { wrong = checkFailedBy([&] { section.Unlock(); }); });
  EXPECT_EQ(wrong, "currentThread->GetID() == mOwner");
}

TEST_F(CoreMutex, ASignalIsForThoseWhoWaitABroadcastForAll) {
  KyCoreThreadEvent event;
  std::atomic<int> passed{0};
  Worker waiter([&](Worker& it) {
    it.ListenTo(&event);
    ++passed;
    it.idle = true;
  });
  event.SignalSubscriber();
  waiter.MarkToWakeUp();
  for (int i = 0; i < 100; ++i) SafeThreadYield();
  EXPECT_EQ(passed, 0) << "a signal is not kept";
  // It stands between its step's beginning and the wait for a moment only.
  ASSERT_TRUE(runUntil([&] {
    event.SignalSubscriber();
    return waiter.IsParking() && waiter.IsSuspended();
  }));
  event.BroadcastSubscribers();
  waiter.MarkToWakeUp();
  EXPECT_TRUE(runUntil([&] { return passed == 2; }));
}

}  // namespace
