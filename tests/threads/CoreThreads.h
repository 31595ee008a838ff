// Core threads for tests.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>

#include "core/threads/KyCoreThread.h"
#include "core/threads/KyCoreThreadServer.h"
#include "tests/support/Test.h"
#include "tests/support/Waits.h"

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
  bool isParked() { return IsParking() && IsSuspended(); }

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
    GetCoreThreadServer()->GetRunningThread()->Sleep(0);
    std::this_thread::yield();
    if (std::chrono::steady_clock::now() > limit) return false;
  }
  return true;
}

/// With the server there, and the calling thread as its main one.
class CoreThreadTest : public testing::Test {
 protected:
  CoreThreadTest() { KyCoreThreadInit(); }

  static KyCoreThreadServer& server() { return *GetCoreThreadServer(); }
  static KyCoreThread& self() { return *server().GetRunningThread(); }

  /// Brings a worker up to where its step waits.
  static void bringUp(Worker& worker) {
    worker.Resume();
    ASSERT_TRUE(runUntil([&] { return worker.story().ends_with("do "); }));
  }
  /// Runs `body(number)` once on each of so many core threads of both kinds by turns, to their ends.
  template <class Body>
  static void onCoreThreads(int count, Body body) {
    std::vector<std::unique_ptr<Worker>> workers;
    for (int number = 0; number < count; ++number) {
      const auto runOnce = [&body, number](Worker& it) {
        body(number);
        it.Terminate();
      };
      const auto type = number % 2 ? KyCoreThread_Preemptive : KyCoreThread_Cooperative;
      workers.push_back(std::make_unique<Worker>(runOnce, type));
      workers.back()->Resume();
    }
    for (const auto& each : workers) ASSERT_TRUE(runUntil([&] { return !each->IsThreadAlive(); }));
  }
  template <class Body>
  static void elsewhere(Body body) {
    onCoreThreads(1, [&](int) { body(); });
  }
};

}  // namespace ky::test
