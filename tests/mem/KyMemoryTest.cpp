#include "core/mem/KyMemory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "core/error/DumpTable.h"
#include "tests/support/Printed.h"
#include "tests/support/Raised.h"

using namespace ky;
using namespace ky::test;

namespace {

bool isAligned(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % 16 == 0; }

struct Figures {
  Int64 bytes;
  Int64 blocks;
  bool operator==(const Figures&) const = default;
};

// What `body` changes in the totals of pointers.
template <class Body>
Figures changeBy(Body&& body) {
  const MemoryTotals before = memoryTotals();
  body();
  const MemoryTotals after = memoryTotals();
  return {after.totalPtr - before.totalPtr, after.numPtrs - before.numPtrs};
}

}  // namespace

TEST(KyMemory, PointersKnowTheirSizeAndSuitAnyType) {
  for (const Long size : {0, 1, 15, 16, 17, 1007, 1008, 1009, 70000}) {
    SCOPED_TRACE(size);
    void* const p = KyNewPtrClear(size);
    EXPECT_TRUE(isAligned(p));
    EXPECT_EQ(KyGetPtrSize(p), size);
    for (Long i = 0; i < size; ++i) ASSERT_EQ(static_cast<char*>(p)[i], 0);
    std::memset(p, 0xEE, static_cast<std::size_t>(size));
    KyDisposePtr(p);
  }
}

TEST(KyMemory, WhatCannotBeHadRaises) {
  EXPECT_EQ(codeRaisedBy([] { KyNewPtr(-1); }), "MEM_OUT_OF_MEMORY");
  EXPECT_EQ(codeRaisedBy([] { KyNewPtrClear(-5); }), "MEM_OUT_OF_MEMORY");
  EXPECT_EQ(checkFailedBy([] { KyNewMaxPtr(0, 0, 0); }), "maxSze > 0");
  EXPECT_EQ(checkFailedBy([] { KyDispose(nullptr); }), "p != NULL");
  EXPECT_EQ(checkFailedBy([] { KyReallocPtr(nullptr, 1); }), "ptr != NULL");
}

TEST(KyMemory, TotalsCountTheCallersBytes) {
  void* p = nullptr;
  EXPECT_EQ(changeBy([&] { p = KyNewPtr(100); }), (Figures{100, 1}));
  EXPECT_EQ(changeBy([&] { KyReallocPtr(&p, 104); }), (Figures{4, 0}));
  EXPECT_EQ(changeBy([&] { KyReallocPtr(&p, 5000); }), (Figures{4896, 0}));
  EXPECT_EQ(changeBy([&] { KyReallocPtr(&p, 90000); }), (Figures{85000, 0}));
  EXPECT_EQ(changeBy([&] { KyReallocPtr(&p, 3); }), (Figures{-89997, 0}));
  EXPECT_EQ(changeBy([&] { KyDisposePtr(p); }), (Figures{-3, -1}));
}

TEST(KyMemory, ClearedTotalsBeginAtZero) {
  void* const p = KyNewPtr(100);
  KyMemClearTotals();
  const MemoryTotals cleared = memoryTotals();
  EXPECT_EQ(cleared.numHdls, 0);
  KyDisposePtr(p);
  EXPECT_EQ(memoryTotals().numPtrs, cleared.numPtrs - 1);
}

TEST(KyMemory, PointersKeepTheirContentsThroughAnyHistory) {
  std::mt19937 random(7);
  std::vector<std::pair<void*, std::string>> live;
  const auto randomSize = [&] { return static_cast<Long>(random() % (random() % 4 ? 200 : 4000)); };
  const auto fill = [&](void* p, Long size) {
    std::string content(static_cast<std::size_t>(size), static_cast<char>(random()));
    std::memcpy(p, content.data(), content.size());
    return content;
  };
  for (int step = 0; step < 20000; ++step) {
    const std::size_t at = live.empty() ? 0 : random() % live.size();
    if (live.size() < 300 && random() % 2) {
      const Long size = randomSize();
      void* const p = KyNewPtr(size);
      live.emplace_back(p, fill(p, size));
    } else if (!live.empty() && random() % 2) {
      auto& [p, content] = live[at];
      const Long size = randomSize();
      KyReallocPtr(&p, size);
      const auto kept = std::min(content.size(), static_cast<std::size_t>(size));
      ASSERT_EQ(std::memcmp(p, content.data(), kept), 0);
      content = fill(p, size);
    } else if (!live.empty()) {
      auto& [p, content] = live[at];
      ASSERT_EQ(KyGetPtrSize(p), static_cast<Long>(content.size()));
      ASSERT_EQ(std::memcmp(p, content.data(), content.size()), 0);
      KyDisposePtr(p);
      live.erase(live.begin() + static_cast<std::ptrdiff_t>(at));
    }
  }
  for (auto& [p, content] : live) KyDisposePtr(p);
}

TEST(KyMemory, CopiesAreFresh) {
  char* p = static_cast<char*>(KyNewPtr(3));
  std::memcpy(p, "abc", 3);
  char* const copy = static_cast<char*>(KyCopy(p));
  char* const old = p;
  KyPtrToPtr(&p);
  EXPECT_NE(p, old);
  EXPECT_EQ(std::string(p, 3) + std::string(copy, 3), "abcabc");
  EXPECT_EQ(KySize(copy), 3);
  for (char* each : {p, old, copy}) KyDispose(each);
}

TEST(KyMemory, TheChosenAllocationFails) {
  void* p = KyNewPtr(40);
  {
    const AllocationFailure failure(2);
    void* const first = KyNewPtr(8);
    EXPECT_FALSE(failure.happened());
    EXPECT_EQ(codeRaisedBy([&] { KyReallocPtr(&p, 900); }), "MEM_OUT_OF_MEMORY");
    EXPECT_TRUE(failure.happened());
    EXPECT_EQ(KyGetPtrSize(p), 40);
    KyDisposePtr(first);
    KyReallocPtr(&p, 900);
  }
  EXPECT_EQ(KyGetPtrSize(p), 900);
  KyDisposePtr(p);
}

TEST(KyMemory, BytesInPlace) {
  char bytes[] = "abcdef";
  BLOCKMOVE(bytes, bytes + 1, 4);
  EXPECT_STREQ(bytes, "aabcdf");
  KySetBlock(bytes, 2, 0x1234);
  EXPECT_EQ(bytes[1], 0x34);
  KyClearBlock(bytes, -1);
  EXPECT_EQ(bytes[0], 0x34);
  ULong words[] = {0x01020304, 0xAABBCCDD};
  KyInplace32bitReordering(words, 1);
  EXPECT_EQ(words[0], 0x04030201u);
  EXPECT_EQ(words[1], 0xAABBCCDDu);
  unsigned short halves[] = {0x0102, 0x0304};
  KyInplace16bitReordering(halves, 2);
  EXPECT_EQ(halves[1], 0x0403);
}

TEST(KyMemory, LowMemoryThresholdOnlyRises) {
  const Long base = GetLowMemThreshold();
  RegLowMemThreshold(base + 10);
  RegLowMemThreshold(base + 5);
  EXPECT_EQ(GetLowMemThreshold(), base + 10);
  EXPECT_FALSE(IsMemoryBelowThresh());
  EXPECT_EQ(SwapLowMemMode(lowMemTight), lowMemNormal);
  EXPECT_EQ(SwapLowMemMode(lowMemNormal), lowMemTight);
}

TEST(KyMemory, SystemFiguresFitTheirType) {
  for (const Long figure : {KyFreeMem(), KyMaxBlock(), KyFreeMemPhysical(), KyGetHeapSize()})
    EXPECT_GT(figure, 1 << 20);
}

TEST(KyMemory, StatisticsNameEachFigure) {
  const DebugPrinted out;
  KyMemPrintStats();
  for (const char* text :
       {"\n...KyMemStats...\nnumPtrs:      ", "\n\n--- Win32 Virtual Memory Stats ---\nMemory Load : ",
        "\nProcess Maximum Working Set Size : ", "\n--- -------------------------- ---"}) {
    EXPECT_NE(out.text().find(text), std::string::npos) << text << "\nin:\n" << out.text();
  }
  EXPECT_EQ(out.text().find("slots:"), std::string::npos) << "counts belong to debugging";
}

TEST(KyMemory, EndedAndStartedAgainItHasOneDumpSection) {
  KyMemCleanup();
  KyMemInit();
  KyMemInit();
  Printed sections;
  DmpListSections(Printed::print);
  const auto first = sections.text().find("Memory");
  EXPECT_NE(first, std::string::npos);
  EXPECT_EQ(sections.text().find("Memory", first + 1), std::string::npos);
  EXPECT_EQ(codeRaisedBy([] { KyDisposePtr(KyNewPtr(1)); }), "");
}

TEST(KyMemory, LargeBlocksKeepTheirBytesWhileOthersComeAndGo) {
  struct Block {
    void* p = nullptr;
    Long size = 0;
    unsigned char mark = 0;
  };
  std::mt19937 random(11);
  const auto size = [&] { return Long(0x80000 + random() % 0x1400000); };
  // Every page holds the block's mark: at its first and last byte, and at each four kilobytes between.
  const auto stamp = [](Block& block, Long from) {
    auto* bytes = static_cast<unsigned char*>(block.p);
    for (Long i = from; i < block.size; i += 0x1000) bytes[i] = block.mark;
    bytes[block.size - 1] = block.mark;
  };
  const auto holds = [](const Block& block, Long until) {
    const auto* bytes = static_cast<unsigned char*>(block.p);
    for (Long i = 0; i < until; i += 0x1000) {
      if (bytes[i] != block.mark) return false;
    }
    return true;
  };
  const Int64 before = ky::memoryTotals().totalPtr;
  Block blocks[5];
  for (int step = 0; step < 150; ++step) {
    SCOPED_TRACE(step);
    Block& block = blocks[random() % 5];
    const Long old = block.size;
    if (!block.p || random() % 4 == 0) {
      if (block.p) KyDisposePtr(block.p);
      block = {nullptr, size(), static_cast<unsigned char>(step + 1)};
      block.p = KyNewPtr(block.size);
      stamp(block, 0);
    } else {
      block.size = size();
      KyReallocPtr(&block.p, block.size);
      ASSERT_TRUE(holds(block, std::min(old, block.size)));
      stamp(block, 0);
    }
    ASSERT_EQ(KyGetPtrSize(block.p), block.size);
  }
  for (Block& block : blocks) {
    if (!block.p) continue;
    EXPECT_TRUE(holds(block, block.size));
    KyDisposePtr(block.p);
  }
  EXPECT_EQ(ky::memoryTotals().totalPtr, before);
}
