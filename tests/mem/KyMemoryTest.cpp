#include "core/mem/KyMemory.h"

#include <gtest/gtest.h>

#include <cstring>
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

// Small blocks, and blocks so large that each lies in pages of its own.
TEST(KyMemory, PointersKeepTheirContentsThroughAnyHistory) {
  const struct {
    unsigned least, most, live;
    int steps;
  } rows[] = {{0, 200, 300, 20000}, {0, 4000, 300, 20000}, {0x80000, 0x600000, 5, 150}};
  const Int64 before = memoryTotals().totalPtr;
  for (const auto& row : rows) {
    std::mt19937 random(7);
    std::vector<std::pair<void*, std::string>> live;
    const auto randomSize = [&] { return static_cast<Long>(row.least + random() % (row.most - row.least)); };
    const auto fill = [&](void* p, Long size) {
      std::string content(static_cast<std::size_t>(size), static_cast<char>(random()));
      std::memcpy(p, content.data(), content.size());
      return content;
    };
    for (int step = 0; step < row.steps || !live.empty(); ++step) {
      const bool ends = step >= row.steps;
      if (!ends && live.size() < row.live && (live.empty() || random() % 2)) {
        const Long size = randomSize();
        void* const p = KyNewPtr(size);
        live.emplace_back(p, fill(p, size));
        continue;
      }
      const std::size_t at = random() % live.size();
      auto& [p, content] = live[at];
      if (!ends && random() % 2) {
        const Long size = randomSize();
        KyReallocPtr(&p, size);
        const auto kept = std::min(content.size(), static_cast<std::size_t>(size));
        ASSERT_EQ(std::memcmp(p, content.data(), kept), 0);
        content = fill(p, size);
      } else {
        ASSERT_EQ(KyGetPtrSize(p), static_cast<Long>(content.size()));
        ASSERT_EQ(std::memcmp(p, content.data(), content.size()), 0);
        KyDisposePtr(p);
        live.erase(live.begin() + static_cast<std::ptrdiff_t>(at));
      }
    }
  }
  EXPECT_EQ(memoryTotals().totalPtr, before);
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
