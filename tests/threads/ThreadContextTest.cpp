#include "core/threads/ThreadContext.h"

#include <atomic>

#include "platform/Debugger.h"
#include "platform/Threads.h"
#include "tests/support/Bare.h"
#include "tests/support/Printed.h"
#include "tests/support/Test.h"
#include "tests/support/Waits.h"

namespace {

using namespace ky::test;

/// Counts stops in the debugger and hides what is reported before them.
struct Reports {
  Reports() {
    count = 0;
    ky::platform::setBreakHook([] { ++count; });
  }
  ~Reports() { ky::platform::setBreakHook(nullptr); }

  static inline std::atomic<int> count{0};
  const DebugOutput output;
};

TEST(ThreadContext, IsMadeOnceAndEndsOnce) {
  static int sAlive;
  struct Data : ThreadContextData {
    Data() { ++sAlive; }
    ~Data() override { --sAlive; }
  };
  const Reports reports;
  elsewhere([] {
    ThreadContext* const own = ThreadContext::Register();
    own->SetThreadContextData(new Data);
    own->SetThreadContextData(new Data);
    EXPECT_EQ(sAlive, 1);
    EXPECT_EQ(ThreadContext::Register(ThreadContext::kCoopFlags), own);
    EXPECT_FALSE(own->IsCoopThread());
    ThreadContext::Unregister();
    EXPECT_EQ(sAlive, 0);
    EXPECT_EQ(ThreadContext::Find(GetCurrentOSThreadID()), nullptr);
    ThreadContext::Unregister();
  });
  EXPECT_EQ(Reports::count, 3);
}

BARE_TEST(ThreadContext, TheMainThreadIsMarkedThoughItHadAContext) {
  ThreadContext::Initialize(eMultithreaded);
  ThreadContext::Unregister();
  ThreadContext* const own = ThreadContext::Register();
  const Reports reports;
  ThreadContext::Initialize(eMultithreaded);
  EXPECT_TRUE(own->IsMainThread() && own->IsCoopThread());
  EXPECT_EQ(ThreadContext::GetMainThreadContext(), own);
  EXPECT_EQ(Reports::count, 0);
  ThreadContext::Initialize(eMultithreaded);
  EXPECT_EQ(Reports::count, 1);
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
  const ThreadContext* const main = ThreadContext::GetMainThreadContext();
  onThreads(4, [&](int starter) {
    for (int round = 0; round < kRounds; ++round) {
      if (starter != 0) elsewhere([&] { visit(round); });
      ThreadContext::ThreadContextGC();
      EXPECT_EQ(ThreadContext::Find(main->GetThreadID()), main);
    }
  });
}

TEST(ThreadContext, ACallBehindAThreadsEndGetsAContextOffTheList) {
  ULong id = 0;
  elsewhere([&id] {
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
  for (int i = 0; i < 100; ++i) ThreadContext::ThreadContextGC();
  const Reports reports;
  EXPECT_EQ(ThreadContext::Find(id), nullptr);
}

}  // namespace
