#include "core/threads/PreemptiveThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "core/mem/Owned.h"
#include "core/threads/ThreadContext.h"
#include "tests/support/Printed.h"
#include "tests/support/Raised.h"
#include "tests/threads/CoreThreads.h"

namespace {

using namespace ky;
using namespace ky::test;

constexpr PT_state_t kFinished{7};
constexpr PT_state_t kOwnState{12};

/// Keeps what its thread did, a letter each: Preprocess, Starting, Running (once in a row), sTopping, Aborting, Own
/// state.
class Steered : public PreemptiveThread {
 public:
  explicit Steered(Long priority = 0) : PreemptiveThread(priority) { ++alive; }

  const char* ClassName() override { return "Steered"; }
  Boolean IsInstanceOf(const char* name) override {
    return std::string(name) == "Steered" || PreemptiveThread::IsInstanceOf(name);
  }

  void ThreadPreprocess() override { run('P'); }
  void ThreadAborting() override {
    note('A');
    PreemptiveThread::ThreadAborting();
  }
  void ThreadStarting() override {
    PreemptiveThread::ThreadStarting();
    run('S');
  }
  void ThreadRunning() override {
    run('R');
    std::this_thread::yield();
  }
  void ThreadStopping() override {
    PreemptiveThread::ThreadStopping();
    run('T');
  }
  void HandleThreadState(PT_state_t state) override {
    if (state != kOwnState) return PreemptiveThread::HandleThreadState(state);
    run('O');
  }
  using PreemptiveThread::SetNewThreadState;

  std::string notes() {
    const std::lock_guard hold(gate);
    return noted;
  }
  void awaitNote(char letter) {
    while (notes().find(letter) == std::string::npos) std::this_thread::yield();
  }

  std::map<char, std::function<void()>> todo;  ///< by letter; set before the first request
  static inline std::atomic<int> alive{0};

 protected:
  ~Steered() override { --alive; }

 private:
  void note(char letter) {
    const std::lock_guard hold(gate);
    if (letter != 'R' || !noted.ends_with('R')) noted += letter;
  }
  void run(char letter) {
    note(letter);
    if (const auto found = todo.find(letter); found != todo.end()) found->second();
  }

  std::mutex gate;
  std::string noted;
};

class PreemptiveThreads : public testing::Test {
 protected:
  ~PreemptiveThreads() override { EXPECT_EQ(Steered::alive, 0); }

  // Sleeps are short, and no time passes in them unless a test lets it.
  SleptClock clock{[] { std::this_thread::sleep_for(std::chrono::microseconds(200)); }, false};
};

std::string ended(Steered& worker) {
  while (worker.GetThreadState() != kFinished) std::this_thread::yield();
  return worker.notes();
}

TEST_F(PreemptiveThreads, RunsPausesAndRunsAgain) {
  const DebugOutput output;
  {
    const Owned<Steered> worker(new Steered(-1));
    EXPECT_EQ(worker->GetThreadState(), PT_state_idle);
    EXPECT_EQ(worker->AwaitThreadState(PT_state_idle, kNoLimit), 0);
    EXPECT_NE(worker->GetMyThreadID(), PreemptiveThread::GetCurOSThreadID());
    worker->Start();
    EXPECT_EQ(worker->AwaitThreadState(PT_state_running, kNoLimit), 0);
    worker->awaitNote('R');
    worker->Pause();
    EXPECT_EQ(worker->AwaitThreadState(PT_state_idle, kNoLimit), 0);
    EXPECT_TRUE(worker->notes().starts_with("PSRA")) << worker->notes();
    worker->Start();
    EXPECT_EQ(worker->AwaitThreadState(PT_state_running, kNoLimit), 0);
    worker->Stop();
    ended(*worker);
    EXPECT_EQ(worker->AwaitThreadState(kFinished, kNoLimit), -1) << "it has ended already";
  }
  const std::string text = output.text();
  std::size_t at = 0;
  for (const char* line : {
           "PreemptiveThread::ThreadIdle: pausing thread...",
           "PreemptiveThread::ThreadIdle: releasing thread from paused state...",
           "PreemptiveThread::MainThreadLoop: threadState about to change from PT_state_idle to PT_state_starting.",
           "PreemptiveThreadJacket: thread ending w/o exception.",
           "~PreemptiveThread: thread already gone!",
       }) {
    at = text.find(line, at);
    EXPECT_NE(at, std::string::npos) << line << " in its place in\n" << text;
  }
}

TEST_F(PreemptiveThreads, AnEndAskedForInAnyStateIsNeverPutOff) {
  const auto stop = [](Steered& worker) { worker.Stop(); };
  const auto everything = [](Steered& worker) {
    worker.Pause();
    worker.Start();
    worker.Stop();
    worker.Start();
    worker.Pause();
  };
  const struct {
    const char* name;
    char during;  ///< what the thread is held in meanwhile; 0 for idle
    std::function<void(Steered&)> ask;
    const char* want;
  } cases[] = {
      {"before the first start", 0, stop, "PT"}, {"in preparation", 'P', stop, "PT"},
      {"during start", 'S', stop, "PST"},        {"during start, among others", 'S', everything, "PST"},
      {"while it runs", 'R', stop, "PSRAT"},     {"while it runs, among others", 'R', everything, "PSRAAAT"},
      {"during stop", 'T', everything, "PST"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Owned<Steered> worker(new Steered);
    std::atomic<bool> held{true};
    const auto hold = [&held] {
      while (held) std::this_thread::yield();
    };
    if (c.during == 'T') worker->todo['S'] = [&] { worker->Stop(); };
    worker->todo[c.during] = hold;
    if (c.during) {
      worker->Start();
      worker->awaitNote(c.during);
    }
    c.ask(*worker);
    held = false;
    EXPECT_EQ(ended(*worker), c.want);
  }
}

TEST_F(PreemptiveThreads, APauseDuringStartIsKept) {
  const Owned<Steered> worker(new Steered);
  worker->todo['S'] = [&] { worker->Pause(); };
  worker->Start();
  EXPECT_EQ(worker->AwaitThreadState(PT_state_idle, kNoLimit), 0);
  EXPECT_EQ(worker->notes(), "PS");
}

TEST_F(PreemptiveThreads, AnErrorEndsTheThreadAlone) {
  const DebugOutput output;
  const struct {
    char where;
    const char* want;
  } cases[] = {{'P', "P"}, {'S', "PS"}, {'R', "PSR"}, {'T', "PSRT"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.where);
    const Owned<Steered> worker(new Steered);
    worker->todo['R'] = [&] { worker->Stop(); };
    worker->todo[c.where] = [] { +XError("WORKER_BROKE", 0); };
    worker->Start();
    EXPECT_EQ(worker->AwaitThreadState(kOwnState, kNoLimit), -1);
    EXPECT_EQ(ended(*worker), c.want);
  }
  EXPECT_NE(output.text().find("Exception (WORKER_BROKE) in thread of classname (Steered), & threadid (0x"),
            std::string::npos);
}

TEST_F(PreemptiveThreads, AnAwaitedStateIsReachedInPassingOrTimesOutOrIsTaken) {
  const Owned<Steered> worker(new Steered);
  std::atomic<bool> held{true};
  worker->todo['S'] = [&held] {
    while (held) std::this_thread::yield();
  };
  SleptClock::runs = true;
  std::jthread awaiting([&] {
    while (worker->AwaitThreadState(PT_state_starting, kNoLimit) != 0) std::this_thread::yield();
  });
  while (worker->AwaitThreadState(PT_state_exiting, 0) != -1) std::this_thread::yield();
  worker->Start();
  awaiting.join();
  EXPECT_EQ(worker->AwaitThreadState(PT_state_starting, 0), 0) << "in it, with nothing else asked for";
  EXPECT_EQ(worker->AwaitThreadState(PT_state_running, 60'000), 1);
  SleptClock::runs = false;
  held = false;
  EXPECT_EQ(worker->AwaitThreadState(PT_state_running, kNoLimit), 0);
}

TEST_F(PreemptiveThreads, WhoAwaitsAStateLetsCooperativeThreadsRun) {
  KyCoreThreadInit();
  std::atomic<bool> held{true};
  ky::test::Worker cooperative([&held](ky::test::Worker& it) {
    held = false;
    it.idle = true;
  });
  const Owned<Steered> steered(new Steered);
  steered->todo['S'] = [&held] {
    while (held) std::this_thread::yield();
  };
  steered->Start();
  cooperative.Resume();
  EXPECT_EQ(steered->AwaitThreadState(PT_state_running, kNoLimit), 0);
}

TEST_F(PreemptiveThreads, AThreadThatDoesNotEndIsLeftRunningWithItsObject) {
  const DebugOutput output;
  Steered* const worker = new Steered;
  std::atomic<bool> held{true};
  worker->todo['R'] = [&held] {
    while (held) std::this_thread::yield();
  };
  worker->Start();
  worker->awaitNote('R');
  SleptClock::runs = true;
  worker->Dispose();
  EXPECT_EQ(Steered::alive, 1);
  EXPECT_TRUE(PreemptiveThread::cDestructorTimedOut);
  EXPECT_NE(output.text().find("~PreemptiveThread: AwaitThreadState timed out!!"), std::string::npos);
  held = false;
  EXPECT_EQ(ended(*worker), "PSRAT");
  worker->Dispose();
}

TEST_F(PreemptiveThreads, MisuseFromTheWrongThreadIsFatal) {
  const Owned<Steered> worker(new Steered);
  EXPECT_EQ(checkFailedBy([&] { worker->ThreadSleep(1); }),
            "PreemptiveThread::ThreadSleep: don't call from outside thread!!");
  EXPECT_EQ(checkFailedBy([&] { worker->ThreadIdle(); }),
            "PreemptiveThread::ThreadIdle: don't call from outside thread!!");
  std::vector<std::string> said;
  worker->todo['S'] = [&] {
    EXPECT_EQ(PreemptiveThread::GetCurOSThreadID(), worker->GetMyThreadID());
    EXPECT_FALSE(ThreadContext::Find()->IsCoopThread());
    for (const auto& misuse : {std::function<void()>([&] { worker->Start(); }),
                               std::function<void()>([&] { worker->AwaitThreadState(PT_state_idle, 0); }),
                               std::function<void()>([&] { worker->Dispose(); })}) {
      said.push_back(checkFailedBy(misuse));
    }
    worker->Stop();
  };
  worker->Start();
  EXPECT_EQ(ended(*worker), "PST");
  EXPECT_EQ(said, (std::vector<std::string>{
                      "PreemptiveThread::Start: don't call from within thread!!",
                      "PreemptiveThread::AwaitThreadState: don't call from within thread!!",
                      "PreemptiveThread::~PreemptiveThread: don't initiate from within thread!!",
                  }));
}

TEST_F(PreemptiveThreads, ASubclassMayHaveStatesOfItsOwn) {
  const Owned<Steered> worker(new Steered);
  worker->todo['O'] = [] { std::this_thread::yield(); };
  worker->SetNewThreadState(kOwnState);
  EXPECT_EQ(worker->AwaitThreadState(kOwnState, kNoLimit), 0);
  worker->awaitNote('O');
  worker->Start();
  EXPECT_EQ(worker->AwaitThreadState(PT_state_running, kNoLimit), 0);
  worker->SetNewThreadState(PT_state_t{13});
  EXPECT_EQ(worker->AwaitThreadState(PT_state_idle, kNoLimit), -1) << "a state that nobody handles is an error";
  EXPECT_STREQ(PreemptiveThread::GetThreadStateString(kOwnState), "undefined_state");
}

TEST_F(PreemptiveThreads, AConstructorThatRaisesEndsTheThread) {
  struct Broken : PreemptiveThread {
    Broken() { throw std::runtime_error("not today"); }
  };
  const DebugOutput output;
  EXPECT_THROW(new Broken, std::runtime_error);
  EXPECT_NE(output.text().find("PreemptiveThreadJacket: thread ending w/o exception."), std::string::npos);
}

TEST_F(PreemptiveThreads, RacingRequestsNeverLoseAStop) {
  for (unsigned round = 0; round < 150; ++round) {
    const Owned<Steered> worker(new Steered);
    std::vector<std::jthread> askers;
    for (unsigned asker = 0; asker < 3; ++asker) {
      askers.emplace_back([&, asker] {
        std::mt19937 random(round * 3 + asker);
        for (int i = 0; i < 10; ++i) {
          const unsigned what = random() % 3;
          if (what == 0) worker->Pause();
          if (what == 1) worker->Start();
          if (what == 2) std::this_thread::yield();
          if (asker == 0 && i == static_cast<int>(round % 10)) worker->Stop();
        }
      });
    }
    askers.clear();
    const std::string notes = ended(*worker);
    EXPECT_EQ(notes.find('T'), notes.rfind('T')) << notes;
    EXPECT_EQ(notes.find_last_not_of('A'), notes.find('T')) << notes;
  }
}

}  // namespace
