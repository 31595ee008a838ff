#include "core/threads/KySynch.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "core/threads/Blocking.h"
#include "tests/support/Raised.h"
#include "tests/threads/CoreThreads.h"

namespace {

using namespace ky;
using namespace ky::test;

/// What `body` gives on a thread of its own, which has ended by then.
template <class Body>
auto elsewhere(Body body) {
  return std::async(std::launch::async, body).get();
}

TEST(KySynch, OnlyAWaitThatIsNotServedAtOnceIsFramed) {
  static std::atomic<int> begun, ended;
  begun = ended = 0;
  const BlockingHooks before = installBlockingHooks({[]() -> Boolean { return ++begun != 0; }, [] { ++ended; }});
  const SleptClock hooked;
  KyMutex mutex;
  KySema sema(2);
  sema.Set();
  EXPECT_EQ(mutex.Lock(kNoLimit), 0);
  EXPECT_EQ(mutex.Lock(5), 0);
  EXPECT_EQ(sema.Lock(kNoLimit), 0);
  EXPECT_EQ(sema.Lock(0), 1);
  EXPECT_EQ(elsewhere([&] { return mutex.Lock(0); }), 1);
  EXPECT_EQ(begun, 0);

  EXPECT_EQ(sema.Lock(7), 1);
  EXPECT_EQ(elsewhere([&] { return mutex.Lock(30); }), 1);
  installBlockingHooks(before);
  EXPECT_EQ(begun, 2);
  EXPECT_EQ(ended, 2);
  EXPECT_EQ(SleptClock::slept, 37);
}

TEST(KySynch, AWaitIsServedThoughItsTimePassed) {
  KySema sema(1);
  const SleptClock hooked([&] { sema.Increment(); });
  EXPECT_EQ(sema.Lock(1), 0);
  EXPECT_FALSE(sema.IsSet());
}

TEST(KyMutex, IsFreeAfterAsManyUnlocksAsLocks) {
  KyMutex mutex;
  mutex.Lock(kNoLimit);
  mutex.Lock(kNoLimit);
  mutex.Unlock();
  EXPECT_EQ(elsewhere([&] { return mutex.Lock(0); }), 1);
  mutex.Unlock();
  const XError error = errorRaisedBy([&] { mutex.Unlock("here", 12); });
  EXPECT_STREQ(error.GetCode(), "KyMutex::Unlock cannot release mutex");
  EXPECT_EQ(parm(error, "fname") + parm(error, "fline"), "here12");
}

TEST(KyMutex, OneLeftByAThreadThatEndedCountsAsAcquired) {
  KyMutex mutex;
  EXPECT_EQ(elsewhere([&] { return mutex.Lock(kNoLimit); }), 0);
  EXPECT_EQ(mutex.Lock(0), 0);
  mutex.Unlock();
  EXPECT_EQ(elsewhere([&] { return mutex.Lock(0); }), 0);
}

TEST(KySema, CountsFromNoneToItsLimit) {
  KySema sema(2);
  EXPECT_FALSE(sema.IsSet());
  sema.Increment();
  sema.Increment();
  EXPECT_EQ(codeRaisedBy([&] { sema.Increment(); }), "KySema::Unlock: could not increment semaphore.");
  sema.Reset();
  EXPECT_EQ(sema.Lock(0), 1);
}

TEST(KySema, GivesEachOfItsItemsToOneWaiter) {
  constexpr int kTakers = 4;
  constexpr int kItems = 2000;
  KySema sema(3);
  std::atomic<int> taken{0};
  {
    std::vector<std::jthread> takers;
    for (int i = 0; i < kTakers; ++i) {
      takers.emplace_back([&] {
        for (int item = 0; item < kItems / kTakers; ++item) taken += sema.Lock(kNoLimit) == 0;
      });
    }
    for (int given = 0; given < kItems;) given += codeRaisedBy([&] { sema.Unlock(); }).empty();
  }
  EXPECT_EQ(taken, kItems);
  EXPECT_FALSE(sema.IsSet());
}

TEST(KyWaitMultiple, TakesOneOrAllOrNone) {
  KySema a(2);
  KySema b(2);
  KyMutex mutex;
  KySynch* all[] = {&a, &b, &mutex};
  Long index = -1;
  b.Increment();
  EXPECT_EQ(KyWaitMultiple(2, all, false, &index, kNoLimit), 0);
  EXPECT_EQ(index, 1);
  b.Increment();
  EXPECT_EQ(KyWaitMultiple(3, all, true, nullptr, 0), 1);
  EXPECT_TRUE(b.IsSet());
  EXPECT_EQ(elsewhere([&] { return mutex.Lock(0); }), 0);
}

TEST(KyWaitMultiple, RefusesTooManyAndTheSameTwice) {
  KySema sema(1);
  std::array<KySynch*, 65> many;
  many.fill(&sema);
  EXPECT_EQ(checkFailedBy([&] { KyWaitMultiple(65, many.data(), false, nullptr, 0); }),
            "nCount <= MAXIMUM_WAIT_OBJECTS");
  EXPECT_EQ(KyWaitMultiple(64, many.data(), false, nullptr, 0), 1);
  EXPECT_EQ(KyWaitForBoth(&sema, &sema, 0), -1);
}

// Philosophers: neighbours share a fork, one eats with both, and the middle one needs all.
TEST(KyWaitMultiple, NeverHoldsAPartWhileItWaitsForTheRest) {
  constexpr int kMeals = 400;
  std::array<KyMutex, 3> forks;
  std::array<int, 3> worn = {};
  std::vector<std::jthread> guests;
  const auto dine = [&](std::vector<std::size_t> needs) {
    for (int meal = 0; meal < kMeals; ++meal) {
      std::vector<KySynch*> wanted;
      for (const std::size_t fork : needs) wanted.push_back(&forks[fork]);
      ASSERT_EQ(KyWaitMultiple(static_cast<ULong>(wanted.size()), wanted.data(), true, nullptr, kNoLimit), 0);
      for (const std::size_t fork : needs) ++worn[fork];
      for (const std::size_t fork : needs) forks[fork].Unlock();
    }
  };
  guests.emplace_back(dine, std::vector<std::size_t>{0, 1});
  guests.emplace_back(dine, std::vector<std::size_t>{2, 1});
  guests.emplace_back(dine, std::vector<std::size_t>{2, 0, 1});
  guests.emplace_back(dine, std::vector<std::size_t>{0});
  guests.clear();
  EXPECT_EQ(worn, (std::array<int, 3>{3 * kMeals, 3 * kMeals, 2 * kMeals}));
}

}  // namespace
