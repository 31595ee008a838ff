#include "core/threads/PreemptiveThread.h"

#include <chrono>
#include <map>
#include <mutex>
#include <stdexcept>

#include "tests/support/Printed.h"
#include "tests/support/Test.h"
#include "tests/support/Waits.h"

namespace {

using namespace ky;
using namespace ky::test;

constexpr PT_state_t kFinished{7};

/// Keeps what its thread did, a letter each: Preprocess, Starting, Running (once in a row), sTopping, Aborting.
class Steered : public PreemptiveThread {
 public:
  explicit Steered(Long priority = 0) : PreemptiveThread(priority) { ++alive; }

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

  std::string notes() {
    const std::lock_guard hold(gate);
    return noted;
  }
  void awaitNote(char letter) {
    while (notes().find(letter) == std::string::npos) std::this_thread::yield();
  }

  /// Keeps the thread at the letter while it is `held`.
  void hold(char letter) {
    held = true;
    todo[letter] = [this] {
      while (held) std::this_thread::yield();
    };
  }

  std::map<char, std::function<void()>> todo;  ///< by letter; set before the first request
  std::atomic<bool> held{false};
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
  const Owned<Steered> worker(new Steered(-1));
  EXPECT_EQ(worker->AwaitThreadState(PT_state_idle, kNoLimit), 0);
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

TEST_F(PreemptiveThreads, AnEndAskedForInAnyStateIsNeverPutOff) {
  const struct {
    char during;  ///< what the thread is held in meanwhile; 0 for idle
    const char* want;
  } cases[] = {{0, "PT"}, {'P', "PT"}, {'S', "PST"}, {'R', "PSRAAAT"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.want);
    const Owned<Steered> worker(new Steered);
    worker->hold(c.during);
    if (c.during) {
      worker->Start();
      worker->awaitNote(c.during);
    }
    worker->Pause();
    worker->Stop();
    worker->Start();
    worker->Pause();
    worker->held = false;
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
  for (const std::string whole = "PSRT"; const char where : whole) {
    SCOPED_TRACE(where);
    const Owned<Steered> worker(new Steered);
    worker->todo['R'] = [&] { worker->Stop(); };
    worker->todo[where] = [] { +XError("WORKER_BROKE", 0); };
    worker->Start();
    EXPECT_EQ(worker->AwaitThreadState(PT_state_idle, kNoLimit), -1);
    EXPECT_EQ(ended(*worker), whole.substr(0, whole.find(where) + 1));
  }
}

TEST_F(PreemptiveThreads, AThreadThatDoesNotEndIsLeftRunningWithItsObject) {
  Steered* const worker = new Steered;
  worker->hold('R');
  worker->Start();
  worker->awaitNote('R');
  SleptClock::runs = true;
  worker->Dispose();
  EXPECT_EQ(Steered::alive, 1);
  EXPECT_TRUE(PreemptiveThread::cDestructorTimedOut);
  worker->held = false;
  EXPECT_EQ(ended(*worker), "PSRAT");
  worker->Dispose();
}

TEST_F(PreemptiveThreads, MisuseFromTheWrongThreadIsFatal) {
  const Owned<Steered> worker(new Steered);
  std::string said;
  worker->todo['S'] = [&] {
    said = refusalOf([&] { worker->Dispose(); });
    worker->Stop();
  };
  worker->Start();
  EXPECT_EQ(ended(*worker), "PST");
  EXPECT_EQ(said, "PreemptiveThread::~PreemptiveThread: don't initiate from within thread!!");
  EXPECT_EQ(refusalOf([&] { worker->ThreadSleep(1); }),
            "PreemptiveThread::ThreadSleep: don't call from outside thread!!");
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
  for (int round = 0; round < 150; ++round) {
    const Owned<Steered> worker(new Steered);
    onThreads(3, [&](int asker) {
      std::mt19937 random(static_cast<unsigned>(round * 3 + asker));
      for (int i = 0; i < 10; ++i) {
        const unsigned what = random() % 3;
        if (what == 0) worker->Pause();
        if (what == 1) worker->Start();
        if (what == 2) std::this_thread::yield();
        if (asker == 0 && i == round % 10) worker->Stop();
      }
    });
    const std::string notes = ended(*worker);
    EXPECT_EQ(notes.find('T'), notes.rfind('T')) << notes;
    EXPECT_EQ(notes.find_last_not_of('A'), notes.find('T')) << notes;
  }
}

}  // namespace
