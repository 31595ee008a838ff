// The memory manager under several threads at once; most is found when the thread sanitizer watches.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <deque>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "core/mem/AltMemory.h"
#include "core/mem/KyHandles.h"
#include "core/mem/KyMemory.h"
#include "core/mem/MemoryTracer.h"
#include "core/threads/Blocking.h"
#include "tests/mem/ToyToolbox.h"

using namespace ky;

namespace {

constexpr int kThreads = 4;
constexpr int kSteps = 20000;

template <class Body>
void onThreads(Body&& body) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back([&body, i] { body(static_cast<unsigned>(i)); });
  for (auto& thread : threads) thread.join();
}

struct Pointers {
  static char* make(Long size) { return static_cast<char*>(KyNewPtr(size)); }
  static char* bytes(char* p) { return p; }
  static Long size(char* p) { return KyGetPtrSize(p); }
  static void end(char* p) { KyDisposePtr(p); }
};
struct Handles {
  static char** make(Long size) { return KyNewHandle(size); }
  static char* bytes(char** h) { return *h; }
  static Long size(char** h) { return KyGetHandleSize(h); }
  static void end(char** h) { KyDisposeHandle(h); }
};
struct Alt {
  static char* make(Long size) { return static_cast<char*>(AltMalloc(size)); }
  static char* bytes(char* p) { return p; }
  static Long size(char* p) { return AltGetBlockSize(p); }
  static void end(char* p) { AltFree(p); }
};

template <class Kind>
class MemoryThreads : public testing::Test {};
using Kinds = testing::Types<Pointers, Handles, Alt>;
TYPED_TEST_SUITE(MemoryThreads, Kinds);

}  // namespace

// Half of what a thread makes is ended by another.
TYPED_TEST(MemoryThreads, BlocksMayEndOnAnotherThread) {
  using Block = decltype(TypeParam::make(0));
  const MemoryTotals before = memoryTotals();
  std::array<std::atomic<Block>, 64> exchange{};
  std::atomic<int> wrong{0};
  onThreads([&](unsigned seed) {
    std::mt19937 random(seed);
    const auto checkAndEnd = [&](Block block) {
      const Long size = TypeParam::size(block);
      const char* const bytes = TypeParam::bytes(block);
      if (bytes[0] != static_cast<char>(size) || bytes[size - 1] != static_cast<char>(size)) ++wrong;
      TypeParam::end(block);
    };
    for (int step = 0; step < kSteps; ++step) {
      const Long size = static_cast<Long>(1 + random() % 1500);
      Block block = TypeParam::make(size);
      std::memset(TypeParam::bytes(block), static_cast<int>(size), static_cast<std::size_t>(size));
      if (Block other = exchange[random() % exchange.size()].exchange(block)) checkAndEnd(other);
    }
  });
  for (auto& left : exchange) {
    if (Block block = left.exchange(nullptr)) TypeParam::end(block);
  }
  EXPECT_EQ(wrong, 0);
  if constexpr (!std::is_same_v<TypeParam, Alt>) {
    EXPECT_EQ(memoryTotals().numPtrs, before.numPtrs) << "threads that ended keep their part";
  }
}

TEST(MemoryThreads, MasterBlocksMayGoBackInBetween) {
  onThreads([](unsigned seed) {
    std::mt19937 random(seed);
    std::deque<void*> mine;
    for (int step = 0; step < kSteps; ++step) {
      mine.push_back(AltMalloc(static_cast<Long>(random() % 2000)));
      if (mine.size() > 300 || random() % 2) {
        AltFree(mine.front());
        mine.pop_front();
      }
      if (step % 1000 == 0) AltReturnMemToMac(1 << 20);
    }
    for (void* p : mine) AltFree(p);
  });
}

TEST(MemoryThreads, TracingMayBeTurnedOnWhileOthersAllocate) {
  std::atomic<bool> done{false};
  std::thread other([&] {
    while (!done) KyDisposePtr(KyNewPtr(24));
  });
  for (int i = 0; i < 6; ++i) KyAllocDebugToggle();
  done = true;
  other.join();
  EXPECT_FALSE(DebugAllocs());
}

// A thread that waits for the memory mutex lets others run, one that gets it at once does not.
TEST(MemoryThreads, WaitsForTheMemoryMutexAreFramed) {
  static std::atomic<int> about, done;
  about = done = 0;
  const BlockingHooks before = installBlockingHooks({[]() -> Boolean { return ++about != 0; }, [] { ++done; }});
  struct SlowToolbox : test::ToyToolbox {
    char** newHandle(Long size) override {
      waiter = std::thread([] { memoryTotals(); });
      while (about == 0) std::this_thread::yield();
      return ToyToolbox::newHandle(size);
    }
    std::thread waiter;
  } box;
  memoryTotals();
  EXPECT_EQ(about, 0);
  char** const h = KyNewHandle(10);
  box.waiter.join();
  installBlockingHooks(before);
  EXPECT_EQ(about, 1);
  EXPECT_EQ(done, 1);
  KyDisposeHandle(h);
}
