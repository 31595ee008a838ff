#include "core/threads/KyCoreThreadMutex.h"

#include "tests/threads/CoreThreads.h"

using namespace ky;
using namespace ky::test;

using CoreMutex = CoreThreadTest;

TEST_F(CoreMutex, RefusesWhatItCannotServe) {
  KyCoreThreadMutex once(kNonrecursiveMutex);
  once.Lock();
  const XError deadlock = errorRaisedBy([&] { once.Lock("cut", 7); });
  EXPECT_STREQ(deadlock.GetCode(), "THREAD_NONRECURSIVE_MUTEX_SELF_DEADLOCK");
  EXPECT_EQ(parm(deadlock, "fname") + parm(deadlock, "fline"), "cut7");
  once.Unlock();
  EXPECT_FALSE(once.WasLocked());
  once.Lock();
  KyCoreThreadCriticalSection section;
  const KyAutoLockCS hold(&section);
  elsewhere([&] {
    EXPECT_EQ(refusalOf([&] { once.Unlock(); }), "THREAD_NOT_OWNER");
    EXPECT_EQ(refusalOf([&] { section.Unlock(); }), "currentThread->GetID() == mOwner");
  });
  once.Unlock();
}

TEST_F(CoreMutex, TimesOutInSlicesOfASecond) {
  KyCoreThreadMutex mutex;
  const KyAutoLockThreadMutex hold(&mutex);
  const struct {
    Int64 microseconds, slept;
    int sleeps;
  } rows[] = {{499, 0, 0}, {500, 1, 1}, {3'200'000, 3'200, 4}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.microseconds);
    mutex.SetLockTimeout(row.microseconds);
    elsewhere([&] {
      const SleptClock clock;
      EXPECT_EQ(codeRaisedBy([&] { mutex.Lock(); }), "THREAD_MUTEX_TIMEOUT");
      EXPECT_EQ(SleptClock::slept, row.slept);
      EXPECT_EQ(SleptClock::sleeps, row.sleeps);
    });
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
  bringUp(other);
  const KyAutoLockCS hold(&section);
  EXPECT_GE(ran, 1);
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
    return waiter.isParked();
  }));
  event.BroadcastSubscribers();
  waiter.MarkToWakeUp();
  EXPECT_TRUE(runUntil([&] { return passed == 2; }));
}
