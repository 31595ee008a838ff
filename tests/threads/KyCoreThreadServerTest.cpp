#include "core/threads/KyCoreThreadServer.h"

#include <memory>
#include <set>

#include "tests/threads/CoreThreads.h"

using namespace ky;
using namespace ky::test;

namespace {

class Server : public CoreThreadTest {
 protected:
  /// Cooperative threads in line for their turn that, once told to go, write their letter and yield.
  std::vector<std::unique_ptr<Worker>> writers(int count, int rounds) {
    go = false;
    written.clear();
    std::vector<std::unique_ptr<Worker>> made;
    for (int i = 0; i < count; ++i) {
      const char letter = static_cast<char>('a' + i);
      made.push_back(std::make_unique<Worker>([this, letter, rounds](Worker& it) {
        while (!go) server().YieldTo(nullptr, false);
        for (int round = 0; round < rounds; ++round) {
          written += letter;
          server().YieldTo(nullptr, false);
        }
        it.Terminate();
      }));
      bringUp(*made.back());
    }
    go = true;
    return made;
  }

  bool go = false;
  std::string written;
};

}  // namespace

TEST_F(Server, ADirectedYieldGoesToItsTargetFirst) {
  for (const bool inSection : {false, true}) {
    SCOPED_TRACE(inSection);
    const auto threads = writers(4, 1);
    if (inSection) server().BeginServerCriticalSection();
    server().YieldTo(threads[2].get(), false);
    EXPECT_EQ(written.empty(), inSection) << "there it waits for the section's end";
    if (inSection) server().EndServerCriticalSection();
    EXPECT_TRUE(written.starts_with('c')) << written;
    EXPECT_TRUE(runUntil([&] { return written.size() == 4; }));
  }
}

TEST_F(Server, TwoWhoYieldToEachOtherStarveNobody) {
  Worker* two[2] = {};
  const auto yieldsTo = [&](int other) {
    return [this, &two, other](Worker& it) {
      while (!it.IsDone()) {
        written += '-';
        server().YieldTo(two[other], false);
      }
    };
  };
  Worker first(yieldsTo(1));
  Worker second(yieldsTo(0));
  bringUp(first);
  bringUp(second);
  two[0] = &first;
  two[1] = &second;
  const auto threads = writers(1, 100);
  ASSERT_TRUE(runUntil([&] { return !threads[0]->IsThreadAlive(); }));
  for (Worker* const each : two) each->Terminate();  // or one would yield to the other behind its end
  const std::size_t from = written.find('a');
  EXPECT_EQ(written.substr(from, written.rfind('a') - from).find("----"), std::string::npos)
      << "between two turns lie those of the others, and one of them once more for its jump ahead";
}

TEST_F(Server, ComeBackSendsTheNextYieldToWhoAsked) {
  const auto threads = writers(3, 2);
  server().YieldTo(nullptr, false);
  ASSERT_EQ(written.size(), 3U);
  const char first = written[0];
  server().YieldTo(threads[static_cast<std::size_t>(first - 'a')].get(), true);
  EXPECT_EQ(written.substr(3), std::string(1, first));
  EXPECT_TRUE(runUntil([&] { return written.size() == 6; }));
}

TEST_F(Server, TurnsGoRoundInTheOrderOfAskingAndAYieldToAllIsOneToEachThatCanRun) {
  constexpr std::size_t kThreads = 8, kRounds = 200;
  const SleptClock clock;
  const Worker suspended([](Worker&) {});
  const auto threads = writers(kThreads, 2 * kRounds);
  ASSERT_TRUE(runUntil([&] { return written.size() >= kThreads * kRounds; }));
  const std::string rounds = written;
  EXPECT_EQ(std::set(rounds.begin(), rounds.begin() + kThreads).size(), kThreads);
  EXPECT_EQ(rounds.substr(kThreads), rounds.substr(0, rounds.size() - kThreads)) << "each like the one before";
  EXPECT_EQ(SleptClock::slept, 0);
  server().YieldToAllThreads();
  EXPECT_EQ(written.size(), rounds.size() + kThreads * kThreads) << "each of them lets the whole line pass";
  ASSERT_TRUE(runUntil([&] { return written.size() == 2 * kThreads * kRounds; }));
}

TEST_F(Server, NobodyRunsTheOthersFromItsSection) {
  server().BeginServerCriticalSection();
  const std::function<void()> ways[] = {[] { server().YieldToOthers(); }, [] { server().YieldToAllThreads(); },
                                        [] { server().RunCooperativeThreads(1, false); }};
  for (const auto& way : ways) EXPECT_EQ(refusalOf(way), "!IsInServerCriticalSection()");
  server().EndServerCriticalSection();
}

TEST_F(Server, ReleasesNest) {
  Worker other([](Worker& it) { it.idle = true; });
  other.Resume();
  KyCoreThreadServer::AboutToBlock();
  KyCoreThreadServer::AboutToBlock();
  EXPECT_FALSE(self().IsRunnable());
  KyCoreThreadServer::DoneBlocking();
  while (!other.IsParking()) std::this_thread::yield();
  EXPECT_NE(server().GetCurrentCoopThread(), &self());
  KyCoreThreadServer::DoneBlocking();
  EXPECT_EQ(server().GetCurrentCoopThread(), &self());
}

TEST_F(Server, SleepsCountInWholeMilliseconds) {
  const SleptClock clock;
  self().Sleep(2'500'999);
  self().Sleep(999);
  EXPECT_EQ(SleptClock::slept, 2'500);
  self().Sleep(Int64{2'147'483'648} * 1000);
  EXPECT_EQ(SleptClock::slept, 2'500 + Int64{2'147'483'648});
}

TEST_F(Server, RunsTheOthersForATime) {
  int ran = 0;
  Worker other([&](Worker&) {
    ++ran;
    SleptClock::now += 300;
    SafeThreadYield();
  });
  bringUp(other);
  const SleptClock clock;
  const Int64 over = server().RunCooperativeThreads(10'000, false);
  EXPECT_EQ(over, SleptClock::now - 10'000);
  EXPECT_GE(ran, 33);
  EXPECT_EQ(server().RunCooperativeThreads(600, true), 0);
}
