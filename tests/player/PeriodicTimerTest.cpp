#include "core/player/PeriodicTimer.h"

#include "core/player/Interrupts.h"
#include "core/player/TimerDevice.h"
#include "tests/threads/CoreThreads.h"

using namespace ky;
using namespace ky::test;

namespace {

using Calls = std::vector<std::pair<Long, ULong>>;  // code and elapsed milliseconds

std::mutex sGate;
Calls sCalls;

void keep(Long code, ULong elapsedMs) {
  const std::lock_guard hold(sGate);
  sCalls.emplace_back(code, elapsedMs);
}

Calls calls() {
  const std::lock_guard hold(sGate);
  return sCalls;
}

void awaitCalls(std::size_t count) {
  while (calls().size() < count) std::this_thread::yield();
}

/// A timer for a scope.
struct Timer {
  explicit Timer(ULong microseconds, PeriodicTimerProc callback = keep, Boolean high = false) {
    sCalls.clear();
    handle = InitPeriodicTimer(callback, high, microseconds);
  }
  ~Timer() { ClosePeriodicTimer(handle); }
  void start() const { StartPeriodicTimer(handle); }
  void stop() const { StopPeriodicTimer(handle); }

  _TIMER_HANDLE* handle = nullptr;
};

}  // namespace

TEST(PeriodicTimer, TicksByAbsoluteTimesAndCountsMissedTicksAsOne) {
  const SleptClock clock;
  const Timer timer(2'500);
  SleptClock::now += 10'000;
  timer.start();
  for (const Int64 advance : {2'500, 2'600, 10'000}) {  // to the first tick, past the second, to 100 past the sixth
    const std::size_t before = calls().size();
    SleptClock::now += advance;
    awaitCalls(before + 1);
  }
  timer.stop();
  SleptClock::now += 1'000'000;
  EXPECT_EQ(calls(), (Calls{{kTimerInit, 0}, {kTimerTick, 2}, {kTimerTick, 3}, {kTimerTick, 10}}));
  timer.start();
  SleptClock::now += 2'500;
  awaitCalls(5);
}

TEST(PeriodicTimer, TicksUntilItIsStoppedOrClosedByWhicheverThread) {
  {
    const Timer timer(200, keep, true);
    onThreads(3, [&](int) {
      for (int i = 0; i < 200; ++i) timer.start(), timer.stop();
    });
    timer.start();
    awaitCalls(calls().size() + 10);
    timer.stop();
    const std::size_t atStop = calls().size();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_EQ(calls().size(), atStop);
  }
  for (int round = 0; round < 100; ++round) {
    const Timer timer(1);
    timer.start();
    if (round % 2) awaitCalls(2);
  }
}

TEST(PeriodicTimer, LetsCooperativeThreadsRunUntilItHasObeyed) {
  static std::atomic<bool> sHeld;
  sHeld = true;
  KyCoreThreadInit();
  Worker cooperative([](Worker& it) {
    sHeld = false;
    it.idle = true;
  });
  cooperative.Resume();
  const Timer timer(1'000, [](Long, ULong) {
    while (sHeld) std::this_thread::yield();
  });
  EXPECT_FALSE(sHeld);
}

TEST(PeriodicTimer, ACallbackMayRaiseButNotCommandItsTimer) {
  static std::atomic<int> ticks;
  static _TIMER_HANDLE* sCommanded;
  ticks = 0;
  const auto commandOrRaise = [](Long code, ULong) {
    if (code == kTimerTick && ++ticks == 1) keep(refusalOf([] { StopPeriodicTimer(sCommanded); }) != "", 0);
    +XError("TICK_FAILED", 0);
  };
  const Timer timer(100, commandOrRaise);
  sCommanded = timer.handle;
  timer.start();
  while (ticks < 3) std::this_thread::yield();
  EXPECT_EQ(calls(), (Calls{{1, 0}}));
}

TEST(TimerDevice, MeasuresAndWaitsInMicroseconds) {
  const SleptClock clock;
  TIMERDevice timer;
  SleptClock::step = 100;
  timer.WaitAbsoluteTime(1'000, true);
  timer.WaitRemainingTime(3'000);
  SleptClock::step = 0;
  Int64 elapsed = 0;
  timer.GetTimeSinceMark(&elapsed);
  EXPECT_EQ(elapsed, 3'000);
}

TEST(Interrupts, KeepAllOthersAwayAndNest) {
  InterruptsInit();
  Long count = 0;
  onThreads(4, [&](int) {
    for (int i = 0; i < 1'000; ++i) {
      const ULong outer = InterruptsOff();
      InterruptsOn(static_cast<Long>(InterruptsOff()));
      ++count;
      InterruptsOn(static_cast<Long>(outer));
    }
  });
  EXPECT_EQ(count, 4'000);
}
