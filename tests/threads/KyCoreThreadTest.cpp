#include "core/threads/KyCoreThread.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "core/error/ExceptionContainer.h"
#include "core/error/Printing.h"
#include "core/threads/KyCoreThreadMutex.h"
#include "core/threads/ThreadContext.h"
#include "tests/support/Bare.h"
#include "tests/support/Printed.h"
#include "tests/support/Raised.h"
#include "tests/threads/CoreThreads.h"

namespace {

using namespace ky;
using namespace ky::test;

class KyCoreThreads : public testing::Test {
 protected:
  void SetUp() override { KyCoreThreadInit(); }

  KyCoreThreadServer& server() { return *GetCoreThreadServer(); }
  KyCoreThread& self() { return *server().GetRunningThread(); }
};

BARE_TEST(KyCoreThreadStart, TheMainThreadMustBeCooperative) {
  ThreadContext::Initialize(eMultithreaded);
  raiseFatals();
  EXPECT_FALSE(KyCoreThreadRunning());
  KyCoreThreadServer::AboutToBlock();
  KyCoreThreadServer::DoneBlocking();
  YieldOutToOthers();
  SetCoreThreadServer(new KyCoreThreadServer);
  EXPECT_EQ(checkFailedBy([] {
              KyCoreThread wrong(
                  std::make_unique<KyCoreThreadAttr>(KyCoreThreadAttr{0, 0, 50, 50, KyCoreThread_Preemptive, 0}).get());
            }),
            "thread->mAttr.threadType ==KyCoreThread_Cooperative");
  EXPECT_EQ(GetCoreThreadServer()->GetMainThread(), nullptr);
  const auto* const main = new KyCoreMainThread;
  EXPECT_EQ(GetCoreThreadServer()->GetThreadCount(), 1);
  EXPECT_EQ(GetCoreThreadServer()->GetMainThread(), main);
  EXPECT_EQ(GetCoreThreadServer()->GetCurrentCoopThread(), main);
  EXPECT_EQ(checkFailedBy([] { GetCoreThreadServer()->SetMainThread(nullptr); }), "mMainThread == NULL");
}

TEST_F(KyCoreThreads, RunThroughTheirLifeInOrder) {
  for (const KyCoreThreadType type : {KyCoreThread_Cooperative, KyCoreThread_Preemptive}) {
    SCOPED_TRACE(type);
    Worker worker([](Worker& it) { it.idle = true; }, type);
    EXPECT_TRUE(worker.IsSuspended() && worker.IsThreadAlive() && !worker.IsRunnable());
    EXPECT_EQ(server().FindThread(worker.GetID()), &worker);
    EXPECT_TRUE(worker.GetContext()->IsCoopThread() == (type == KyCoreThread_Cooperative));
    worker.Resume();
    ASSERT_TRUE(runUntil([&] { return worker.IsParking() && worker.IsSuspended(); }));
    EXPECT_EQ(worker.story(), "start do park ");
    EXPECT_EQ(worker.GetWorkCount(), 1);
    worker.MarkToWakeUp();
    ASSERT_TRUE(runUntil([&] { return worker.IsParking() && worker.IsSuspended() && worker.GetWorkCount() == 2; }));
    worker.Terminate();
    ASSERT_TRUE(runUntil([&] { return !worker.IsThreadAlive(); }));
    EXPECT_EQ(worker.story(), "start do park unpark do park unpark stop ");
    EXPECT_TRUE(worker.IsDone());
    EXPECT_EQ(server().FindThread(worker.GetID()), nullptr);
    EXPECT_TRUE(worker.KillThead(true));
  }
}

TEST_F(KyCoreThreads, AreKilledWhereverTheyAre) {
  KyCoreThreadEvent never;
  KyCoreThreadMutex taken;
  taken.Lock();
  const struct {
    const char* name;
    bool resumed;
    std::function<void(Worker&)> step;
    const char* story;
    const char* end = "";
  } cases[] = {
      {"before the first resume", false, [](Worker&) {}, ""},
      {"asleep", true, [](Worker& it) { it.Sleep(Int64{3'600} * 1'000'000); }, "start do "},
      {"waiting for an event", true, [&](Worker& it) { it.ListenTo(&never); }, "start do "},
      {"waiting for a mutex", true, [&](Worker&) { taken.Lock(); }, "start do "},
      {"suspended", true, [](Worker& it) { it.Suspend(); }, "start do "},
      {"parked", true, [](Worker& it) { it.idle = true; }, "start do park ", "unpark "},
  };
  for (const auto& c : cases) {
    for (const KyCoreThreadType type : {KyCoreThread_Cooperative, KyCoreThread_Preemptive}) {
      SCOPED_TRACE(std::string(c.name) + (type == KyCoreThread_Cooperative ? ", cooperative" : ", preemptive"));
      Worker worker(c.step, type);
      if (c.resumed) {
        worker.Resume();
        ASSERT_TRUE(runUntil([&] { return worker.story() == c.story; }));
      }
      EXPECT_TRUE(worker.KillThead(false));
      EXPECT_FALSE(worker.IsThreadAlive());
      EXPECT_EQ(worker.story(), std::string(c.story) + c.end);
    }
  }
  taken.Unlock();
}

TEST_F(KyCoreThreads, OneThatBlocksIsKilledOnceTheBlockEnds) {
  std::atomic<bool> blocked{false};
  std::atomic<bool> data{false};
  Worker reader([&](Worker&) {
    KyCoreThreadServer::AboutToBlock();
    blocked = true;
    data.wait(false);
    KyCoreThreadServer::DoneBlocking();
    SafeThreadYield();
    blocked = false;
  });
  reader.Resume();
  ASSERT_TRUE(runUntil([&] { return blocked.load(); }));
  {
    const SleptClock clock;
    EXPECT_FALSE(reader.KillThead(false));
    EXPECT_GE(SleptClock::now, 10'000'000);
    EXPECT_EQ(errorRaisedBy([&] { reader.KillThead(true); }).FindCode("FATAL_ERROR"), 1);
  }
  data = true;
  data.notify_all();
  const DebugPrinted out;
  EXPECT_TRUE(reader.KillThead(true));
  EXPECT_EQ(reader.story(), "start do ");
  EXPECT_TRUE(blocked);
}

// Its thread goes on in an object whose destructor has run, as the test means it to; the sanitizers may not see that.
#ifndef KY_SANITIZED
TEST_F(KyCoreThreads, AThreadThatDoesNotStopKeepsItsMemory) {
  struct Stubborn : KyCoreThread {
    void DoIt() override {
      KyCoreThreadServer::AboutToBlock();
      blocked = true;
      data.wait(false);
      blocked = false;
      blocked.notify_all();
      KyCoreThreadServer::DoneBlocking();
    }
    Boolean HasNothingToDo() override { return false; }
    std::atomic<bool> blocked{false}, data{false};
  };
  auto* const stubborn = new Stubborn;
  stubborn->Resume();
  ASSERT_TRUE(runUntil([&] { return stubborn->blocked.load(); }));
  const Long before = server().GetThreadCount();
  {
    const DebugOutput out;
    const SleptClock clock;
    delete stubborn;
    EXPECT_NE(out.text().find("does not stop"), std::string::npos);
  }
  EXPECT_EQ(server().GetThreadCount(), before - 1);
  stubborn->data = true;
  stubborn->data.notify_all();
  stubborn->blocked.wait(true);
}
#endif

TEST_F(KyCoreThreads, AnErrorIsRaisedInAnotherThreadAtItsNextPoint) {
  std::string heard;
  Worker worker([&](Worker& it) {
    const XError error = errorRaisedBy([&] { it.Suspend(); });
    heard = error.GetCode() ? std::string(error.GetCode()) + parm(error, "name") : "-";
    it.idle = true;
  });
  worker.Resume();
  ASSERT_TRUE(runUntil([&] { return worker.IsSuspended() && worker.story() == "start do "; }));
  EXPECT_EQ(worker.RaiseException(XError("FROM_MAIN", "str name", "reel", 0)), 1);
  ASSERT_TRUE(runUntil([&] { return worker.IsParking(); }));
  EXPECT_EQ(heard, "FROM_MAINreel");
}

TEST_F(KyCoreThreads, DeferredErrorsComeInTheirOrderOrAreCleared) {
  EXPECT_EQ(codeRaisedBy([&] { self().RaiseException(XError("AT_ONCE")); }), "AT_ONCE");
  EXPECT_EQ(codeRaisedBy([&] { self().RaiseException(XError()); }), "");
  const auto defer = [&] {
    for (const char* code : {"FIRST", "SECOND", "THIRD"}) self().DeferException(XError(code));
  };
  defer();
  EXPECT_EQ(self().GetDeferredExceptions(), 3);
  EXPECT_EQ(codeRaisedBy([] { SafeThreadYield(); }), "FIRST");
  EXPECT_EQ(codeRaisedBy([&] { self().Sleep(Int64{3'600} * 1'000'000); }), "SECOND");
  const std::unique_ptr<ExceptionContainer> last(self().GetDeferredException());
  EXPECT_STREQ(last->GetException(), "THIRD");
  EXPECT_FALSE(self().HasDeferredExceptions());
  EXPECT_EQ(codeRaisedBy([] { SafeThreadYield(); }), "");
  defer();
  EXPECT_EQ(codeRaisedBy([&] { self().RaiseDeferredException(true); }), "FIRST");
  EXPECT_FALSE(self().HasDeferredExceptions());
}

TEST_F(KyCoreThreads, ErrorsOfAStepDoNotEndTheLoop) {
  Worker worker([](Worker& it) {
    KyCoreThreadServer::AboutToBlock();
    if (it.GetWorkCount() == 3) it.idle = true;
    it.DeferException(XError("DROPPED"));
    throw XError("STEP_FAILED");
  });
  worker.Resume();
  ASSERT_TRUE(runUntil([&] { return worker.IsParking() && worker.IsSuspended(); }));
  EXPECT_EQ(worker.story(), "start do do do do park ");
  EXPECT_FALSE(worker.HasDeferredExceptions());
  EXPECT_EQ(server().GetCurrentCoopThread(), &self());
}

TEST_F(KyCoreThreads, WakingBetweenTheLookForWorkAndParkingIsNotMissed) {
  struct Late : Worker {
    using Worker::Worker;
    void StartParking() override {
      MarkToWakeUp();
      idle = false;
    }
  };
  Late worker([](Worker& it) {
    it.idle = it.GetWorkCount() < 20;
    if (!it.idle) it.Terminate();
  });
  worker.Resume();
  EXPECT_TRUE(runUntil([&] { return !worker.IsThreadAlive(); }));
  EXPECT_EQ(worker.GetWorkCount(), 21);
}

TEST_F(KyCoreThreads, ResourcesEndWithTheirThread) {
  struct Resource : KyCoreThreadResource {
    ~Resource() override { ++ended(); }
    static int& ended() {
      static int count = 0;
      return count;
    }
  } removed;
  Worker worker([](Worker& it) { it.idle = true; });
  worker.AddThreadResource(new Resource);
  worker.AddThreadResource(&removed);
  worker.RemoveThreadResource(&removed);
  worker.KillThead(false);
  EXPECT_EQ(Resource::ended(), 1);
}

TEST_F(KyCoreThreads, AThreadThatCannotStartRaises) {
  KyCoreThreadAttr attr = attributesOf(KyCoreThread_Cooperative);
  attr.stackSize = -4096;
  const Long before = server().GetThreadCount();
  const XError error = errorRaisedBy([&] { KyCoreThread thread(&attr); });
  EXPECT_STREQ(error.GetCode(), "CORE_OS_ERROR");
  EXPECT_EQ(parm(error, "methodName"), "KyCoreThread(attr)");
  EXPECT_EQ(parm(error, "doingWhat"), "calling _beginthreadex");
  EXPECT_NE(parm(error, "theOSError"), "0");
  EXPECT_EQ(server().GetThreadCount(), before);
  EXPECT_FALSE(server().IsInServerCriticalSection());
}

TEST_F(KyCoreThreads, ForeignThreadsMayKillAndYield) {
  Worker worker([](Worker& it) { it.Sleep(Int64{3'600} * 1'000'000); });
  worker.Resume();
  ASSERT_TRUE(runUntil([&] { return worker.story() == "start do "; }));
  bool stopped = false;
  std::atomic<bool> done{false};
  std::jthread foreign([&] {
    YieldOutToOthers();
    server().YieldTo(&worker, false);
    stopped = worker.KillThead(false);
    server().Join(&worker);
    EXPECT_EQ(checkFailedBy([] { SafeThreadYield(); }), "current");
    done = true;
  });
  EXPECT_TRUE(runUntil([&] { return done.load(); }));
  EXPECT_TRUE(stopped);
}

}  // namespace
