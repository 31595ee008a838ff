#include "core/threads/KyCoreThreadServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/threads/KyCoreThreadMutex.h"
#include "tests/support/Raised.h"
#include "tests/threads/CoreThreads.h"

namespace {

using namespace ky;
using namespace ky::test;

class Server : public testing::Test {
 protected:
  void SetUp() override { KyCoreThreadInit(); }

  KyCoreThreadServer& server() { return *GetCoreThreadServer(); }
  KyCoreThread* self() { return server().GetRunningThread(); }

  /// Brings a thread up to where it waits for its turn.
  void bringInLine(Worker& worker) {
    worker.Resume();
    ASSERT_TRUE(runUntil([&] { return worker.story().ends_with("do "); }));
  }

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
      bringInLine(*made.back());
    }
    go = true;
    return made;
  }

  bool go = false;
  std::string written;
};

TEST_F(Server, TurnsGoRoundInTheOrderOfAsking) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 200;
  const SleptClock clock;
  const auto threads = writers(kThreads, kRounds);
  ASSERT_TRUE(runUntil([&] { return written.size() == kThreads * kRounds; }));
  const std::string round = written.substr(0, kThreads);
  std::string all = round;
  std::sort(all.begin(), all.end());
  EXPECT_EQ(all, "abcdefgh");
  for (std::size_t at = 0; at < written.size(); at += kThreads) ASSERT_EQ(written.substr(at, kThreads), round) << at;
  EXPECT_EQ(SleptClock::slept, 0);
}

TEST_F(Server, ADirectedYieldGoesToItsTargetFirst) {
  const auto threads = writers(4, 1);
  server().YieldTo(threads[2].get(), false);
  ASSERT_FALSE(written.empty());
  EXPECT_EQ(written[0], 'c');
  EXPECT_TRUE(runUntil([&] { return written.size() == 4; }));
  std::sort(written.begin(), written.end());
  EXPECT_EQ(written, "abcd");
}

TEST_F(Server, TwoWhoYieldToEachOtherStarveNobody) {
  Worker* one = nullptr;
  Worker* other = nullptr;
  const auto yieldsTo = [&](char letter, Worker*& target) {
    return [&target, letter, this](Worker& it) {
      while (!it.IsDone()) {
        written += letter;
        server().YieldTo(target, false);
      }
    };
  };
  Worker first(yieldsTo('1', other));
  Worker second(yieldsTo('2', one));
  Worker third([&](Worker& it) {
    for (int round = 0; round < 100; ++round) {
      written += '3';
      server().YieldTo(nullptr, false);
    }
    it.Terminate();
  });
  one = &first;
  other = &second;
  for (Worker* worker : {&first, &second, &third}) bringInLine(*worker);
  ASSERT_TRUE(runUntil([&] { return !third.IsThreadAlive(); }));
  first.Terminate();
  second.Terminate();
  std::size_t longest = 0;
  std::size_t before = written.find('3');
  for (std::size_t at = before; at != std::string::npos; at = written.find('3', at + 1)) {
    longest = std::max(longest, at - before);
    before = at;
  }
  // The two others, and one of them once more for its jump ahead.
  EXPECT_LE(longest, 4U);
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

TEST_F(Server, YieldsAreRefusedInTheServersCriticalSection) {
  server().BeginServerCriticalSection();
  server().BeginServerCriticalSection();
  server().EndServerCriticalSection();
  EXPECT_TRUE(server().IsInServerCriticalSection());
  EXPECT_EQ(checkFailedBy([&] { server().YieldToOthers(); }), "!IsInServerCriticalSection()");
  EXPECT_EQ(checkFailedBy([&] { server().YieldToAllThreads(); }), "!IsInServerCriticalSection()");
  EXPECT_EQ(checkFailedBy([&] { server().RunCooperativeThreads(1, false); }), "!IsInServerCriticalSection()");
  bool inIt = true;
  std::thread([&] { inIt = server().IsInServerCriticalSection(); }).join();
  EXPECT_FALSE(inIt) << "it is this thread's";
  server().EndServerCriticalSection();
  EXPECT_FALSE(server().IsInServerCriticalSection());
  server().EndServerCriticalSection();
  EXPECT_EQ(codeRaisedBy([&] { server().YieldToOthers(); }), "");
}

TEST_F(Server, ReleasesNest) {
  Worker other([](Worker& it) { it.idle = true; });
  other.Resume();
  KyCoreThreadServer::AboutToBlock();
  KyCoreThreadServer::AboutToBlock();
  EXPECT_FALSE(self()->IsRunnable());
  KyCoreThreadServer::DoneBlocking();
  while (!other.IsParking()) platform::sleepFor(1);
  EXPECT_NE(server().GetCurrentCoopThread(), self());
  KyCoreThreadServer::DoneBlocking();
  EXPECT_EQ(server().GetCurrentCoopThread(), self());
  server().AcquireExclusive(self());
  server().ReleaseExclusive(self());
  EXPECT_EQ(server().GetCurrentCoopThread(), self());
}

TEST_F(Server, APreemptiveThreadLeavesTheHoldersPlaceAlone) {
  std::atomic<int> turns{0};
  Worker busy([&](Worker&) { ++turns; }, KyCoreThread_Preemptive);
  busy.Resume();
  while (turns < 200) {
    EXPECT_EQ(server().GetCurrentCoopThread(), self());
    EXPECT_EQ(codeRaisedBy([&] { server().postconditions(self()); }), "");
  }
}

TEST_F(Server, SleepsLetOthersRunAndCountInMilliseconds) {
  std::atomic<int> ran{0};
  Worker other([&](Worker& it) {
    ++ran;
    it.idle = true;
  });
  other.Resume();
  const SleptClock clock([&] {
    while (ran == 0) std::this_thread::yield();
  });
  self()->Sleep(2'500'999);
  EXPECT_EQ(SleptClock::slept, 2'500);
  EXPECT_EQ(ran, 1);
  self()->Sleep(999);
  EXPECT_EQ(SleptClock::slept, 2'500);
  self()->Sleep(Int64{2'147'483'648} * 1000);
  EXPECT_EQ(SleptClock::slept, 2'500 + Int64{2'147'483'648});
}

TEST_F(Server, RunsTheOthersForATime) {
  int ran = 0;
  Worker other([&](Worker&) {
    ++ran;
    SleptClock::now += 300;
    SafeThreadYield();
  });
  bringInLine(other);
  const SleptClock clock;
  const Int64 over = server().RunCooperativeThreads(10'000, false);
  EXPECT_EQ(over, SleptClock::now - 10'000);
  EXPECT_GE(ran, 33);
  EXPECT_EQ(server().RunCooperativeThreads(600, true), 0);
  other.KillThead(false);
  EXPECT_EQ(server().RunCooperativeThreads(Int64{3'600} * 1'000'000, true), 0);
}

TEST_F(Server, YieldsToAllThreadsOnce) {
  const auto threads = writers(5, 1);
  server().YieldToAllThreads();
  std::sort(written.begin(), written.end());
  EXPECT_EQ(written, "abcde");
}

TEST_F(Server, PrioritiesReadBackByBand) {
  server().SetPriority(self(), 19.5F);
  EXPECT_EQ(server().GetPriority(self()), 10);
  server().RestoreDefaultPriority(self());
  EXPECT_EQ(server().GetPriority(self()), 50);
}

}  // namespace
