// Core threads for tests, and a clock that runs only as threads sleep.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "core/threads/KyCoreThread.h"
#include "core/threads/KyCoreThreadServer.h"
#include "platform/Clock.h"

namespace ky::test {

inline KyCoreThreadAttr attributesOf(KyCoreThreadType type) {
  KyCoreThreadAttr attr;
  GetCoreThreadServer()->GetDefaultThreadAttr(&attr);
  attr.threadType = type;
  return attr;
}

/// Does `step` again and again, and writes down which hooks ran. Idle once `idle` is set; killed by its end.
class Worker : public KyCoreThread {
 public:
  explicit Worker(std::function<void(Worker&)> doing, KyCoreThreadType type = KyCoreThread_Cooperative)
      : Worker(std::move(doing), attributesOf(type)) {}
  ~Worker() override { KillThead(false); }

  void ThreadStart() override { note("start "); }
  void DoIt() override {
    note("do ");
    step(*this);
  }
  Boolean HasNothingToDo() override { return idle; }
  void StartParking() override { note("park "); }
  void EndParking() override {
    KyCoreThread::EndParking();
    note("unpark ");
  }
  void ThreadStop() override { note("stop "); }

  void note(const char* word) {
    const std::lock_guard hold(gate);
    notes += word;
  }
  std::string story() {
    const std::lock_guard hold(gate);
    return notes;
  }

  std::atomic<bool> idle{false};

 private:
  Worker(std::function<void(Worker&)> doing, const KyCoreThreadAttr& attr)
      : KyCoreThread(&attr), step(std::move(doing)) {}

  std::function<void(Worker&)> step;
  std::mutex gate;
  std::string notes;
};

/// Lets the others run until `reached`; false if that takes longer than anything here may, however busy the machine.
template <class Reached>
bool runUntil(Reached reached) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  for (int turns = 0; !reached(); ++turns) {
    SafeThreadYield();
    if (turns % 16 != 15) continue;
    GetCoreThreadServer()->SleepThread(GetCoreThreadServer()->GetRunningThread(), 0);
    std::this_thread::yield();
    if (std::chrono::steady_clock::now() > limit) return false;
  }
  return true;
}

/// Time that passes only in sleeps, and in waits with a limit; those take no time.
class SleptClock {
 public:
  explicit SleptClock(
      std::function<void()> asleep = [] {}, bool isRunning = true) {
    now = slept = 0;
    runs = isRunning;
    onSleep = std::move(asleep);
    before = platform::setClockHooks({[] { return now.load(); },
                                      [](Int64 milliseconds) {
                                        if (runs) now += milliseconds * 1000;
                                        slept += milliseconds;
                                        std::this_thread::yield();  // or patience would end before others run
                                        onSleep();
                                      }});
  }
  ~SleptClock() { platform::setClockHooks(before); }
  SleptClock(const SleptClock&) = delete;
  SleptClock& operator=(const SleptClock&) = delete;

  static inline std::atomic<bool> runs{true};
  static inline std::atomic<Int64> now{0};    ///< microseconds
  static inline std::atomic<Int64> slept{0};  ///< milliseconds

 private:
  static inline std::function<void()> onSleep;
  platform::ClockHooks before;
};

}  // namespace ky::test
