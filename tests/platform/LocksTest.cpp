#include "platform/Locks.h"

#include <chrono>
#include <future>
#include <limits>

#include "tests/support/Test.h"

using namespace ky::platform;
using namespace std::chrono_literals;

namespace {

/// What another thread gets that tries for at most `milliseconds`; it gives back what it got.
Wait waitElsewhere(RecursiveLock& lock, Int64 milliseconds) {
  return std::async(std::launch::async,
                    [&] {
                      const Wait got = lock.lockFor(milliseconds);
                      if (got != Wait::timedOut) lock.unlock();
                      return got;
                    })
      .get();
}

/// A thread that takes the lock, tells so, and does `then`.
template <class Then>
std::jthread holder(RecursiveLock& lock, Then then) {
  std::promise<void> held;
  auto isHeld = held.get_future();
  std::jthread thread([&lock, then, held = std::move(held)]() mutable {
    lock.lock();
    held.set_value();
    then();
  });
  isHeld.wait();
  return thread;
}

}  // namespace

TEST(RecursiveLock, IsFreeOnlyAfterAsManyUnlocksAsLocksByItsOwner) {
  RecursiveLock lock;
  for (int level = 0; level < 3; ++level) lock.lock();
  for (int left = 3; left > 0; --left) {
    std::thread([&] { EXPECT_FALSE(lock.isHeldByCaller() || lock.tryLock() || lock.unlock()) << left; }).join();
    EXPECT_TRUE(lock.isHeldByCaller() && lock.unlock());
  }
  EXPECT_EQ(waitElsewhere(lock, 0), Wait::acquired);
  EXPECT_FALSE(lock.unlock());
}

TEST(RecursiveLock, ALimitBeyondTheClockIsNone) {
  for (const Int64 limit : {INT64_MAX, Int64{4'611'686'014'132'420'609}, kForever}) {
    RecursiveLock lock;
    const auto thread = holder(lock, [&] {
      std::this_thread::sleep_for(10ms);
      lock.unlock();
    });
    EXPECT_EQ(waitElsewhere(lock, limit), Wait::acquired) << limit;
  }
}

TEST(RecursiveLock, PassesOnAsAbandonedFromAThreadThatEnded) {
  RecursiveLock lock;
  holder(lock, [] {}).join();
  EXPECT_EQ(lock.lockFor(0), Wait::abandoned);
  lock.unlock();
  const auto thread = holder(lock, [] { std::this_thread::sleep_for(20ms); });
  EXPECT_EQ(lock.lockFor(kForever), Wait::abandoned) << "its owner's end wakes whoever waits";
  lock.unlock();
}

TEST(RecursiveLock, ForcedFreeItGoesToWhoeverWaits) {
  RecursiveLock lock;
  std::promise<void> done;
  const auto thread = holder(lock, [&, finished = done.get_future().share()] {
    finished.wait();
    EXPECT_FALSE(lock.unlock());
  });
  auto waiter = std::async(std::launch::async, [&] { return lock.lockFor(kForever); });
  EXPECT_EQ(waiter.wait_for(10ms), std::future_status::timeout);
  lock.forceUnlock();
  EXPECT_EQ(waiter.get(), Wait::acquired);
  done.set_value();
}

TEST(RecursiveLock, KeepsThreadsApartAndLosesNoWaiter) {
  constexpr int kThreads = 6, kRounds = 4'000;
  RecursiveLock locks[2];
  int counts[2] = {}, timeouts = 0;
  ky::test::onThreads(kThreads, [&](int thread) {
    std::mt19937 random(static_cast<unsigned>(thread));
    for (int i = 0; i < kRounds; ++i) {
      const auto which = random() % 2;
      if (locks[which].lockFor(random() % 8 != 0 ? kForever : random() % 2) == Wait::timedOut) {
        const Lock hold(locks[0]);
        ++timeouts;
        continue;
      }
      ++counts[which];
      if (random() % 64 == 0) std::this_thread::yield();
      locks[which].unlock();
    }
  });
  EXPECT_EQ(counts[0] + counts[1] + timeouts, kThreads * kRounds);
}
