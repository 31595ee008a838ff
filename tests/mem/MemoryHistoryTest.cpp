// Every kind of block through random histories, on one thread and on several at once; most of the latter is found when
// the thread sanitizer watches.
#include <array>
#include <atomic>
#include <thread>

#include "core/mem/AltMemory.h"
#include "core/mem/MemoryTracer.h"
#include "tests/support/Printed.h"
#include "tests/support/Status.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr int kThreads = 4;
constexpr int kSteps = 20000;

struct Pointers {
  static char* make(Long size) { return static_cast<char*>(KyNewPtr(size)); }
  static char* bytes(char* p) { return p; }
  static Long size(char* p) { return KyGetPtrSize(p); }
  static void resize(char*& p, Long size) {
    void* moved = p;
    KyReallocPtr(&moved, size);
    p = static_cast<char*>(moved);
  }
  static void end(char* p) { KyDisposePtr(p); }
};
struct Handles {
  static char** make(Long size) { return KyNewHandle(size); }
  static char* bytes(char** h) { return *h; }
  static Long size(char** h) { return KyGetHandleSize(h); }
  static void resize(char** h, Long size) { KySetHandleSize(h, size); }
  static void end(char** h) { KyDisposeHandle(h); }
};
struct Alt {
  static char* make(Long size) { return static_cast<char*>(AltMalloc(size)); }
  static char* bytes(char* p) { return p; }
  static Long size(char* p) { return AltGetBlockSize(p); }
  /// These cannot; instead what is dead goes back in between.
  static void resize(char*, Long size) {
    if (size % 16) return AltFreshen();
    AltReturnMemToMac(size * 64);
  }
  static void end(char* p) { AltFree(p); }
};

/// Blocks that live, each with what it must hold.
template <class Kind>
class History {
 public:
  History(unsigned least, unsigned most, std::size_t mostLive) : least_(least), most_(most), mostLive_(mostLive) {}

  void run(int steps) {
    for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
      if (live_.empty() || (live_.size() < mostLive_ && random_() % 2)) {
        live_.emplace_back(Kind::make(anySize()), "");
        fill(live_.back());
        continue;
      }
      std::swap(live_[random_() % live_.size()], live_.back());
      random_() % 2 ? end() : resize(live_.back());
    }
    while (!live_.empty()) end();
  }

 private:
  using Block = std::pair<decltype(Kind::make(0)), std::string>;

  Long anySize() { return static_cast<Long>(least_ + random_() % (most_ - least_)); }
  void fill(Block& block) {
    block.second.assign(std::size_t(Kind::size(block.first)), static_cast<char>(random_()));
    std::memcpy(Kind::bytes(block.first), block.second.data(), block.second.size());
  }
  void expectKept(const Block& block, std::size_t bytes) {
    ASSERT_EQ(std::memcmp(Kind::bytes(block.first), block.second.data(), bytes), 0);
  }
  void resize(Block& block) {
    Kind::resize(block.first, anySize());
    expectKept(block, std::min(block.second.size(), std::size_t(Kind::size(block.first))));
    fill(block);
  }
  void end() {
    const Block block = live_.back();
    live_.pop_back();
    ASSERT_EQ(Kind::size(block.first), static_cast<Long>(block.second.size()));
    expectKept(block, block.second.size());
    Kind::end(block.first);
  }

  std::mt19937 random_{7};
  const unsigned least_, most_;
  const std::size_t mostLive_;
  std::vector<Block> live_;
};

template <class Kind>
class MemoryHistory : public testing::Test {};
using Kinds = testing::Types<Pointers, Handles, Alt>;
TYPED_TEST_SUITE(MemoryHistory, Kinds);

/// Fails unless as much of the sub-allocator is in use at its end as at its start.
class NothingSubAllocated {
 public:
  ~NothingSubAllocated() {
    EXPECT_EQ(AltGetTotalBytes() - AltGetFreeBytes(), bytes);
    EXPECT_EQ(AltGetNumBlocks(), blocks);
  }

 private:
  const Long bytes = AltGetTotalBytes() - AltGetFreeBytes(), blocks = AltGetNumBlocks();
};
template <class Kind>
using NothingUsed = std::conditional_t<std::is_same_v<Kind, Alt>, NothingSubAllocated, NothingStays>;

}  // namespace

TYPED_TEST(MemoryHistory, KeepsContentsAndTotals) {
  const NothingUsed<TypeParam> used;
  History<TypeParam>(0, 200, 300).run(20000);
  History<TypeParam>(0, 4000, 300).run(20000);
}

// Each lies in pages of its own.
TEST(MemoryHistory, KeepsContentsOfLargePointers) {
  const NothingStays memory;
  History<Pointers>(0x80000, 0x600000, 5).run(150);
}

#if !defined(KY_SANITIZED)  // whose own memory would be measured
TEST(MemoryHistory, WhatOneSizeGaveBackServesAnother) {
  const Int64 before = statusBytes("VmSize:");
  for (Long size = 16; size <= 1008; size += 16) {
    std::vector<void*> blocks;
    for (Long bytes = 0; bytes < 4 << 20; bytes += size) blocks.push_back(KyNewPtr(size));
    for (void* p : blocks) KyDisposePtr(p);
  }
  EXPECT_LT(statusBytes("VmSize:") - before, 64 << 20);
}
#endif

// Half of what a thread makes is ended by another, and master blocks go back in between.
TYPED_TEST(MemoryHistory, BlocksMayEndOnAnotherThread) {
  using Block = decltype(TypeParam::make(0));
  const NothingUsed<TypeParam> used;              // what threads counted that have ended by then
  std::array<std::atomic<Block>, 16> exchange{};  // so few that master blocks drain
  std::atomic<int> wrong{0};
  const auto checkAndEnd = [&](Block block) {
    if (!block) return;
    const std::string_view bytes(TypeParam::bytes(block), TypeParam::size(block));
    if (bytes.find_first_not_of(char(bytes.size())) != bytes.npos) ++wrong;
    TypeParam::end(block);
  };
  onThreads(kThreads, [&](int thread) {
    std::mt19937 random(static_cast<unsigned>(thread));
    for (int step = 0; step < kSteps; ++step) {
      const Long size = static_cast<Long>(1 + random() % 1500);
      Block block = TypeParam::make(size);
      std::memset(TypeParam::bytes(block), static_cast<int>(size), static_cast<std::size_t>(size));
      checkAndEnd(exchange[random() % exchange.size()].exchange(block));
      if (step % 200 == 0) AltReturnMemToMac(1 << 20);
    }
  });
  for (auto& left : exchange) checkAndEnd(left);
  EXPECT_EQ(wrong, 0);
}

TEST(MemoryTracer, ListsWhatIsInUseWhileOthersAllocate) {
  std::jthread other([](const std::stop_token& end) {
    while (!end.stop_requested()) KyDisposePtr(KyNewPtr(24));
  });
  const auto isListed = [] {
    Printed out;
    KySlotsPrintState(Printed::print);
    return out.text().find("  size: 00000111  ") != std::string::npos;
  };
  for (int round = 0; round < 3; ++round) {
    KyAllocDebugToggle();
    void* const block = KyNewPtr(0x111);
    EXPECT_TRUE(isListed());
    KyDisposePtr(block);
    EXPECT_FALSE(isListed());
    KyAllocDebugToggle();
  }
}
