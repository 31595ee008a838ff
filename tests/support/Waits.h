// What tests need where threads wait: a clock that goes as they like, and a count of the frames around waits.
#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <utility>

#include "core/threads/Blocking.h"
#include "platform/Clock.h"

namespace ky::test {

/// What `body` gives on a thread of its own, which has ended by then.
template <class Body>
auto elsewhere(Body body) {
  return std::async(std::launch::async, body).get();
}

/// Time that passes only in sleeps and in waits with a limit, which take none, or where a test moves it.
class SleptClock {
 public:
  explicit SleptClock(
      std::function<void()> asleep = [] {}, bool isRunning = true) {
    now = slept = step = 0;
    sleeps = 0;
    runs = isRunning;
    onSleep = std::move(asleep);
    before = platform::setClockHooks({[] { return now += step; },
                                      [](Int64 milliseconds) {
                                        if (runs) now += milliseconds * 1000;
                                        slept += milliseconds;
                                        ++sleeps;
                                        std::this_thread::yield();  // or patience would end before others run
                                        onSleep();
                                      }});
  }
  ~SleptClock() { platform::setClockHooks(before); }
  SleptClock(const SleptClock&) = delete;
  SleptClock& operator=(const SleptClock&) = delete;

  static inline std::atomic<bool> runs{true};
  static inline std::atomic<Int64> now{0};    ///< microseconds
  static inline std::atomic<Int64> step{0};   ///< that pass at each look, in microseconds
  static inline std::atomic<Int64> slept{0};  ///< milliseconds
  static inline std::atomic<int> sleeps{0};

 private:
  static inline std::function<void()> onSleep;
  platform::ClockHooks before;
};

/// Counts the frames around waits instead of letting other threads run.
class FramedWaits {
 public:
  FramedWaits() : before(installBlockingHooks({[]() -> Boolean { return ++begun != 0; }, [] { ++ended; }})) {
    begun = ended = 0;
  }
  ~FramedWaits() { installBlockingHooks(before); }
  FramedWaits(const FramedWaits&) = delete;
  FramedWaits& operator=(const FramedWaits&) = delete;

  static inline std::atomic<int> begun{0}, ended{0};

 private:
  const BlockingHooks before;
};

}  // namespace ky::test
