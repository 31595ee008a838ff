#include "core/threads/KyCoreThread.h"

#include <semaphore>

#include "core/threads/KyCoreThreadMutex.h"
#include "tests/threads/CoreThreads.h"

using namespace ky;
using namespace ky::test;

using KyCoreThreads = CoreThreadTest;

TEST_F(KyCoreThreads, RunThroughTheirLifeInOrder) {
  for (const KyCoreThreadType type : {KyCoreThread_Cooperative, KyCoreThread_Preemptive}) {
    SCOPED_TRACE(type);
    Worker worker([](Worker& it) { it.idle = true; }, type);
    EXPECT_TRUE(worker.IsSuspended() && worker.IsThreadAlive() && !worker.IsRunnable());
    EXPECT_EQ(server().FindThread(worker.GetID()), &worker);
    worker.Resume();
    ASSERT_TRUE(runUntil([&] { return worker.isParked(); }));
    EXPECT_EQ(worker.story(), "start do park ");
    worker.MarkToWakeUp();
    ASSERT_TRUE(runUntil([&] { return worker.isParked() && worker.GetWorkCount() == 2; }));
    worker.Terminate();
    ASSERT_TRUE(runUntil([&] { return !worker.IsThreadAlive(); }));
    EXPECT_EQ(worker.story(), "start do park unpark do park unpark stop ");
    EXPECT_EQ(server().FindThread(worker.GetID()), nullptr);
  }
}

TEST_F(KyCoreThreads, AreKilledWhereverTheyAre) {
  KyCoreThreadMutex taken;
  taken.Lock();
  const struct {
    const char* name;
    std::function<void(Worker&)> step;
    const char* story;
    const char* end = "";
  } cases[] = {
      {"waiting for a mutex", [&](Worker&) { taken.Lock(); }, "start do "},
      {"suspended", [](Worker& it) { it.Suspend(); }, "start do "},
      {"joining", [&](Worker&) { server().Join(&self()); }, "start do "},
      {"parked", [](Worker& it) { it.idle = true; }, "start do park ", "unpark "},
  };
  for (const auto& c : cases) {
    for (const KyCoreThreadType type : {KyCoreThread_Cooperative, KyCoreThread_Preemptive}) {
      SCOPED_TRACE(testing::Message() << c.name << ", type " << type);
      Worker worker(c.step, type);
      worker.Resume();
      ASSERT_TRUE(runUntil([&] { return worker.story() == c.story; }));
      EXPECT_TRUE(worker.KillThead(false) && !worker.IsThreadAlive());
      EXPECT_EQ(worker.story(), std::string(c.story) + c.end);
    }
  }
  taken.Unlock();
}

TEST_F(KyCoreThreads, AKillIsPatientWithOneThatBlocks) {
  std::binary_semaphore data{0};
  Worker reader([&](Worker&) {
    KyCoreThreadServer::AboutToBlock();
    data.acquire();
    KyCoreThreadServer::DoneBlocking();
    SafeThreadYield();
  });
  bringUp(reader);
  {
    const SleptClock clock;
    EXPECT_FALSE(reader.KillThead(false));
    EXPECT_GE(SleptClock::now, 10'000'000);
  }
  data.release();
  EXPECT_TRUE(reader.KillThead(false));
  EXPECT_EQ(reader.story(), "start do ");
}

TEST_F(KyCoreThreads, ErrorsOfAStepDoNotEndTheLoop) {
  Worker worker([](Worker& it) {
    KyCoreThreadServer::AboutToBlock();
    if (it.GetWorkCount() == 3) it.idle = true;
    it.DeferException(XError("DROPPED"));
    throw XError("STEP_FAILED");
  });
  worker.Resume();
  ASSERT_TRUE(runUntil([&] { return worker.isParked(); }));
  EXPECT_EQ(worker.story(), "start do do do do park ");
  EXPECT_FALSE(worker.HasDeferredExceptions());
  EXPECT_EQ(server().GetCurrentCoopThread(), &self());
}

TEST_F(KyCoreThreads, AnErrorForWhoeverEndsAThreadIsHeardBehindThat) {
  {
    KyCoreThread thread;
    Worker worker([](Worker& it) { it.Sleep(1'000); });
    thread.Resume();
    worker.Resume();
    self().DeferException(XError("LATER"));
  }
  EXPECT_EQ(codeRaisedBy([] { SafeThreadYield(); }), "LATER");
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

TEST_F(KyCoreThreads, WhatOneOwnsEndsWithItUnlessItWasTakenBack) {
  static int sEnded = 0;
  sEnded = 0;
  struct Kept : KyCoreThreadResource {
    ~Kept() override { ++sEnded; }
  };
  Kept back;
  Worker worker([](Worker& it) { it.Terminate(); });
  worker.AddThreadResource(new Kept);
  worker.AddThreadResource(&back);
  worker.RemoveThreadResource(&back);
  worker.Resume();
  EXPECT_TRUE(runUntil([&] { return !worker.IsThreadAlive(); }));
  EXPECT_EQ(sEnded, 1);
}

TEST_F(KyCoreThreads, PrioritiesAreToldByTheirBand) {
  KyCoreThreadAttr attr = attributesOf(KyCoreThread_Preemptive);
  attr.priority = 85;
  KyCoreThread thread(&attr);
  EXPECT_EQ(server().GetPriority(&thread), 90);
  const float rows[][2] = {{0, 10}, {19.9F, 10}, {20, 30}, {40, 50}, {60, 70}, {80, 90}, {100, 90}};
  for (const auto& [given, told] : rows) {
    server().SetPriority(&thread, given);
    EXPECT_EQ(server().GetPriority(&thread), told) << given;
  }
  server().SetDefaultPriority(&thread, 30);
  server().RestoreDefaultPriority(&thread);
  EXPECT_EQ(server().GetPriority(&thread), 30);
}

TEST_F(KyCoreThreads, AThreadThatCannotStartRaises) {
  KyCoreThreadAttr attr = attributesOf(KyCoreThread_Cooperative);
  attr.stackSize = -4096;
  const Long before = server().GetThreadCount();
  const XError error = errorRaisedBy([&] { KyCoreThread thread(&attr); });
  EXPECT_STREQ(error.GetCode(), "CORE_OS_ERROR");
  EXPECT_NE(parm(error, "theOSError"), "0");
  EXPECT_EQ(server().GetThreadCount(), before);
  EXPECT_FALSE(server().IsInServerCriticalSection());
}

TEST_F(KyCoreThreads, ForeignThreadsMayKillAndYield) {
  Worker worker([](Worker& it) { it.Sleep(Int64{3'600} * 1'000'000); });
  bringUp(worker);
  std::atomic<bool> done{false};
  std::jthread foreign([&] {
    YieldOutToOthers();
    server().YieldTo(&worker, false);
    EXPECT_TRUE(worker.KillThead(false));
    server().Join(&worker);
    EXPECT_EQ(refusalOf([] { SafeThreadYield(); }), "current");
    done = true;
  });
  EXPECT_TRUE(runUntil([&] { return done.load(); }));
}
