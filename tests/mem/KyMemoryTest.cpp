#include "core/mem/KyMemory.h"

#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

/// What `body` changes in the totals of pointers: bytes and blocks.
template <class Body>
std::pair<Int64, Int64> changeBy(Body&& body) {
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
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 16, 0u);
    EXPECT_EQ(KyGetPtrSize(p), size);
    for (Long i = 0; i < size; ++i) ASSERT_EQ(static_cast<char*>(p)[i], 0);
    std::memset(p, 0xEE, static_cast<std::size_t>(size));
    KyDisposePtr(p);
  }
}

TEST(KyMemory, WhatCannotBeHadRaises) {
  expectRefusals({
      {"MEM_OUT_OF_MEMORY", [] { KyNewPtr(-1); }},
      {"maxSze > 0", [] { KyNewMaxPtr(0, 0, 0); }},
      {"p != NULL", [] { KyDispose(nullptr); }},
  });
}

// Their sizes lie in each of the allocator's ways, and on both sides of the bounds between them.
TEST(KyMemory, TotalsCountTheCallersBytes) {
  void* p = nullptr;
  Long old = 0;
  for (const Long size : {100, 104, 5000, 90000, 3}) {
    EXPECT_EQ(changeBy([&] { KyReallocPtr(&p, size); }), std::pair(Int64{size - old}, Int64{old == 0}));
    old = size;
  }
  EXPECT_EQ(changeBy([&] { KyDisposePtr(p); }), std::pair(Int64{-3}, Int64{-1}));
}
