#include "core/threads/ThreadContext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "platform/Debugger.h"
#include "platform/Threads.h"
#include "tests/mem/ToyToolbox.h"
#include "tests/support/Bare.h"
#include "tests/support/Printed.h"

namespace {

using namespace ky::test;

std::atomic<int> sBreaks{0};

/// Counts stops in the debugger and collects what was reported before them.
class Reports {
 public:
  Reports() : before(ky::platform::setBreakHook([] { ++sBreaks; })) { sBreaks = 0; }
  ~Reports() { ky::platform::setBreakHook(before); }

  int count() const { return sBreaks; }
  bool tell(const char* text) const { return output.text().find(text) != std::string::npos; }

 private:
  ky::platform::BreakHook before;
  DebugOutput output;
};

template <class Body>
void onThread(Body body) {
  std::thread(body).join();
}

bool isListed(ULong threadID) {
  const Reports reports;
  return ThreadContext::Find(threadID) != nullptr;
}

void collectAll() {
  for (int i = 0; i < 100; ++i) ThreadContext::ThreadContextGC();
}

TEST(ThreadContext, RegisterKeepsTheFlags) {
  for (const ULong flags : {0u, 6u, 8u, 16u}) {
    onThread([flags] {
      const ThreadContext* const own = ThreadContext::Register(flags);
      EXPECT_FALSE(own->IsMainThread());
      EXPECT_FALSE(own->IsMac2WinSafe());
      const ToyToolbox toolbox;
      EXPECT_EQ(own->IsMac2WinSafe(), flags == 6);
      EXPECT_EQ(own->IsCoopThread(), flags == 6);
      EXPECT_EQ(own->IsNonZorvexThread(), flags == 6);
      EXPECT_EQ(own->IsMPsafe(), flags == 8);
      EXPECT_EQ(own->IsFPUnotNeeded(), flags == 16);
      ThreadContext::Unregister();
    });
  }
}

TEST(ThreadContext, IsMadeOnceAndEndsOnce) {
  const Reports reports;
  static int sAlive;
  struct Data : ThreadContextData {
    Data() { ++sAlive; }
    ~Data() override { --sAlive; }
  };
  onThread([] {
    RegisterThreadContext();
    ThreadContext::Find()->SetThreadContextData(new Data);
    ThreadContext::Find()->SetThreadContextData(new Data);
    EXPECT_EQ(sAlive, 1);
    EXPECT_EQ(ThreadContext::Register(ThreadContext::kCoopFlags), ThreadContext::Find());
    EXPECT_FALSE(ThreadContext::Find()->IsCoopThread());
    const ULong id = GetCurrentOSThreadID();
    EXPECT_NE(ThreadContext::Find(id), nullptr);
    ThreadContext::Unregister();
    EXPECT_EQ(sAlive, 0);
    EXPECT_EQ(ThreadContext::Find(id), nullptr);
    ThreadContext::Unregister();
  });
  EXPECT_EQ(reports.count(), 3);
  EXPECT_TRUE(reports.tell("ThreadContext::Register(): Thread context already exists."));
  EXPECT_TRUE(reports.tell("ThreadContext::Find(OSThreadID_t): Thread context not registered."));
  EXPECT_TRUE(reports.tell("ThreadContext::Unregister(): Thread context does not exist."));
}

TEST(ThreadContext, AForeignThreadGetsOneByItselfIfAllowed) {
  const Reports reports;
  onThread([] {
    ThreadContext* const own = ThreadContext::Find();
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(own, ThreadContext::Find());
    EXPECT_EQ(own, ThreadContext::Find(GetCurrentOSThreadID()));
    EXPECT_FALSE(own->IsMainThread());
    EXPECT_FALSE(own->IsCoopThread());
  });
  EXPECT_EQ(reports.count(), 0);
  ThreadContext::SetAutomaticThreadContextCreation(false);
  onThread([] { EXPECT_EQ(ThreadContext::Find(), nullptr); });
  ThreadContext::SetAutomaticThreadContextCreation(true);
  EXPECT_TRUE(reports.tell("ThreadContext::Find(): Thread context not registered."));
}

TEST(ThreadContext, AtMostTenEndedThreadsAreCollectedAtATime) {
  constexpr int kThreads = 13;
  collectAll();
  std::barrier allSeen(kThreads);
  std::vector<ULong> ids(kThreads);
  {
    std::vector<std::jthread> threads;
    for (ULong& id : ids) {
      threads.emplace_back([&] {
        id = ThreadContext::Find()->GetThreadID();
        allSeen.arrive_and_wait();
      });
    }
  }
  for (const long left : {3, 0}) {
    ThreadContext::ThreadContextGC();
    EXPECT_EQ(std::count_if(ids.begin(), ids.end(), isListed), left);
  }
  ThreadContext* killed = nullptr;
  onThread([&] {
    killed = ThreadContext::Register();
    ids[0] = killed->GetThreadID();
  });
  ThreadContext::ThreadTerminated(killed);
  EXPECT_FALSE(isListed(ids[0]));
  EXPECT_TRUE(isListed(GetCurrentOSThreadID()));
}

TEST(ThreadContext, ThreadsComeAndGoWhileOthersAreCollected) {
  constexpr int kRounds = 40;
  const auto visit = [](int round) {
    if (round % 2) ThreadContext::Register(ThreadContext::kMPsafe);
    ThreadContext* const own = ThreadContext::Find();
    EXPECT_EQ(own->IsMPsafe(), round % 2);
    EXPECT_EQ(ThreadContext::Find(GetCurrentOSThreadID()), own);
    if (round % 4 == 1) ThreadContext::Unregister();
  };
  std::vector<std::jthread> starters;
  for (int i = 0; i < 3; ++i) {
    starters.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) onThread([&] { visit(round); });
    });
  }
  for (int round = 0; round < kRounds; ++round) {
    ThreadContext::ThreadContextGC();
    EXPECT_EQ(ThreadContext::Find(GetCurrentOSThreadID()), ThreadContext::GetMainThreadContext());
  }
}

TEST(ThreadContext, ACallBehindAThreadsEndGetsAContextOffTheList) {
  ULong id = 0;
  onThread([&id] {
    ky::platform::atThreadExit(
        [](void* out) {
          ThreadContext* const late = ThreadContext::Find();
          ASSERT_NE(late, nullptr);
          EXPECT_EQ(late, ThreadContext::Find());
          *static_cast<ULong*>(out) = late->GetThreadID();
        },
        &id);
    ThreadContext::Find();
  });
  EXPECT_NE(id, 0u);
  collectAll();
  EXPECT_FALSE(isListed(id));
}

BARE_TEST(ThreadContext, TheFirstFindSettlesOnASingleThread) {
  const Reports reports;
  EXPECT_EQ(ThreadContext::GetManagementPolicy(), eManagementNotSet);
  EXPECT_TRUE(ThreadContext::Find()->IsMainThread());
  EXPECT_EQ(ThreadContext::GetManagementPolicy(), eSingleThreaded);
  onThread([] {
    EXPECT_EQ(ThreadContext::Register(), nullptr);
    ThreadContext::Unregister();
  });
  EXPECT_TRUE(
      reports.tell("ThreadContext::Register(): This application is not initialized as multithreaded. "
                   "Use ThreadContext::Initialize(2) first."));
  EXPECT_TRUE(reports.tell("ThreadContext::Unregister(): This application is not initialized as multithreaded."));
  EXPECT_EQ(reports.count(), 2);
}

}  // namespace
