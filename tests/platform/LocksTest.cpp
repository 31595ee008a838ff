#include "platform/Locks.h"

#include <chrono>
#include <future>

#include "tests/support/Test.h"

using namespace ky::platform;
using namespace std::chrono_literals;

TEST(RecursiveLock, ALimitBeyondTheClockIsNone) {
  for (const Int64 limit : {INT64_MAX, Int64{4'611'686'014'132'420'609}, kForever}) {
    RecursiveLock lock;
    lock.lock();
    auto waiter = std::async(std::launch::async, [&] {
      const Wait got = lock.lockFor(limit);
      lock.unlock();
      return got;
    });
    std::this_thread::sleep_for(10ms);
    lock.unlock();
    EXPECT_EQ(waiter.get(), Wait::acquired) << limit;
  }
}

TEST(RecursiveLock, TheEndOfItsOwnerWakesWhoeverWaits) {
  RecursiveLock lock;
  std::promise<void> held;
  const std::jthread owner([&] {
    lock.lock();
    held.set_value();
    std::this_thread::sleep_for(20ms);
  });
  held.get_future().wait();
  EXPECT_EQ(lock.lockFor(kForever), Wait::abandoned);
  lock.unlock();
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
