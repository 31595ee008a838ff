#include "core/mem/KyMemory.h"

#include "tests/support/Test.h"

using namespace ky::test;

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
      {"ptr != NULL", [] { KyCopyPtr(nullptr); }},
  });
}

TEST(KyMemory, BytesAreFilledMovedAndTurnedInPlace) {
  char bytes[] = "abcdef";
  BLOCKMOVE(bytes, bytes + 1, 4);
  KySetBlock(bytes, 2, 0x1234);
  KyClearBlock(bytes, -1);
  EXPECT_STREQ(bytes, "44bcdf");
  ULong words[] = {0x01020304, 0xAABBCCDD};
  KyInplace32bitReordering(words, 1);
  KyInplace16bitReordering(reinterpret_cast<unsigned short*>(&words[1]), 2);
  EXPECT_TRUE(words[0] == 0x04030201 && words[1] == 0xBBAADDCC);
}
