#include "core/threads/KySynch.h"

#include <array>

#include "tests/support/Test.h"
#include "tests/support/Waits.h"

using namespace ky;
using namespace ky::test;

TEST(KySynch, OnlyAWaitThatIsNotServedAtOnceIsFramed) {
  const FramedWaits frames;
  const SleptClock hooked;
  KyMutex mutex;
  KySema sema(2);
  sema.Set();
  EXPECT_EQ(mutex.Lock(kNoLimit), 0);
  EXPECT_EQ(mutex.Lock(5), 0);
  EXPECT_EQ(sema.Lock(kNoLimit), 0);
  EXPECT_EQ(sema.Lock(0), 1);
  EXPECT_EQ(elsewhere([&] { return mutex.Lock(0); }), 1);
  EXPECT_EQ(FramedWaits::begun, 0);

  EXPECT_EQ(sema.Lock(7), 1);
  EXPECT_EQ(elsewhere([&] { return mutex.Lock(30); }), 1);
  EXPECT_EQ(FramedWaits::begun, 2);
  EXPECT_EQ(FramedWaits::ended, 2);
  EXPECT_EQ(SleptClock::slept, 37);
}

TEST(KySynch, AWaitIsServedThoughItsTimePassed) {
  KySema sema(1);
  const SleptClock hooked([&] { sema.Increment(); });
  EXPECT_EQ(sema.Lock(1), 0);
  EXPECT_FALSE(sema.IsSet());
}

TEST(KyMutex, IsKeptForAScopeAndFreeAfterAsManyUnlocksAsLocks) {
  KyMutex mutex;
  const auto tryFor = [&mutex](ULong milliseconds) {
    return elsewhere([&] { return errorRaisedBy([&] { const KyMutexTenure hold(mutex, milliseconds, "here", 12); }); });
  };
  {
    const KyMutexTenure outer(mutex);
    const KyMutexTenure inner(mutex);
    const XError refused = tryFor(0);
    EXPECT_STREQ(refused.GetCode(), "KyMutexTenure: could NOT LOCK mutex.");
    EXPECT_EQ(parm(refused, "fname") + parm(refused, "fline"), "here12");
  }
  EXPECT_EQ(tryFor(0).GetCode(), nullptr);
  EXPECT_EQ(elsewhere([&] { return mutex.Lock(kNoLimit); }), 0) << "and that thread ended with it";
  EXPECT_EQ(mutex.Lock(0), 0);
  mutex.Unlock();
  const XError error = errorRaisedBy([&] { mutex.Unlock("here", 12); });
  EXPECT_STREQ(error.GetCode(), "KyMutex::Unlock cannot release mutex");
  EXPECT_EQ(parm(error, "err") + parm(error, "fname") + parm(error, "fline"), "288here12");
}

TEST(KyMutex, ACellTellsHowEachCallWent) {
  void* cell = nullptr;
  using Answers = std::array<Long, 4>;
  const auto answers = [&] {
    return Answers{KyMutex_stat(&cell), KyMutex_acquire(&cell), KyMutex_wait(&cell, 1), KyMutex_release(&cell)};
  };
  EXPECT_EQ(KyMutex_init(&cell) + KyMutex_acquire(&cell), 0);
  EXPECT_EQ(elsewhere(answers), (Answers{1, -1, 1, 288})) << "somebody else holds it";
  EXPECT_EQ(KyMutex_release(&cell), 0);
  EXPECT_EQ(elsewhere([&] { return KyMutex_spin_lock(&cell); }), 0);
  EXPECT_EQ(answers(), (Answers{0, 0, 0, 0})) << "who held it has ended";
  EXPECT_EQ(KyMutex_destroy(&cell), 0);
  EXPECT_EQ(answers(), (Answers{1, -1, -1, 6}));
}

TEST(KySema, CountsFromNoneToItsLimit) {
  KySema sema(2);
  EXPECT_FALSE(sema.IsSet());
  sema.Increment();
  sema.Set();
  sema.Increment();
  EXPECT_EQ(codeRaisedBy([&] { sema.Increment(); }), "KySema::Unlock: could not increment semaphore.");
  sema.Reset();
  EXPECT_EQ(sema.Lock(0), 1);
}

TEST(KySema, GivesEachOfItsItemsToOneWaiter) {
  constexpr int kTakers = 4, kItems = 2000;
  KySema sema(3);
  std::atomic<int> taken{0};
  onThreads(kTakers + 1, [&](int number) {
    if (number < kTakers) {
      for (int item = 0; item < kItems / kTakers; ++item) taken += sema.Lock(kNoLimit) == 0;
    } else {
      for (int given = 0; given < kItems;) given += codeRaisedBy([&] { sema.Unlock(); }).empty();
    }
  });
  EXPECT_EQ(taken, kItems);
  EXPECT_FALSE(sema.IsSet());
}

TEST(KyWaitMultiple, TakesOneOrAllOrNone) {
  KySema a(2), b(2);
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
  EXPECT_EQ(refusalOf([&] { KyWaitMultiple(65, many.data(), false, nullptr, 0); }), "nCount <= MAXIMUM_WAIT_OBJECTS");
  EXPECT_EQ(KyWaitMultiple(64, many.data(), false, nullptr, 0), 1);
  EXPECT_EQ(KyWaitForBoth(&sema, &sema, 0), -1);
}

// Philosophers: neighbours share a fork, one eats with both, and the middle one needs all.
TEST(KyWaitMultiple, NeverHoldsAPartWhileItWaitsForTheRest) {
  constexpr int kMeals = 400;
  std::array<KyMutex, 3> forks;
  std::array<int, 3> worn = {};
  const std::vector<std::size_t> guests[] = {{0, 1}, {2, 1}, {2, 0, 1}, {0}};
  onThreads(4, [&](int guest) {
    std::vector<KySynch*> wanted;
    for (const std::size_t fork : guests[guest]) wanted.push_back(&forks[fork]);
    for (int meal = 0; meal < kMeals; ++meal) {
      ASSERT_EQ(KyWaitMultiple(static_cast<ULong>(wanted.size()), wanted.data(), true, nullptr, kNoLimit), 0);
      for (const std::size_t fork : guests[guest]) ++worn[fork];
      for (const std::size_t fork : guests[guest]) forks[fork].Unlock();
    }
  });
  EXPECT_EQ(worn, (std::array<int, 3>{3 * kMeals, 3 * kMeals, 2 * kMeals}));
}
