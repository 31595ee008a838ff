#include "core/mem/AltMemory.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "core/mem/BiasedLock.h"
#include "platform/Threads.h"
#include "tests/support/Faults.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr Long kMaster = 131072;

class AltMemory : public testing::Test {
 protected:
  AltMemory() {
    AltFree(nullptr);
    AltReturnMemToMac(0x7FFFFFFF);
  }

  static std::vector<void*> blocks(int count, Long size) {
    std::vector<void*> all;
    for (int i = 0; i < count; ++i) all.push_back(AltMalloc(size));
    return all;
  }
  static void end(const std::vector<void*>& all) {
    for (void* p : all) AltFree(p);
  }
};

}  // namespace

TEST_F(AltMemory, BlocksOf4092BytesAreSmallAndLongerOnesLarge) {
  for (const Long size : {0, 1, 4092, 4093, 4096, 65535}) {
    SCOPED_TRACE(size);
    const Long free = AltGetFreeBytes(), total = AltGetTotalBytes();
    void* const p = AltMallocClear(size);
    const Long used = AltGetTotalBytes() - AltGetFreeBytes() - (total - free);
    EXPECT_EQ(used, std::max<Long>((size + 3) / 4 * 4 + 4, 12));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 8, 0u);
    EXPECT_EQ(AltGetBlockSize(p), size);
    EXPECT_EQ(AltIsInAltRange(p) != 0, size <= 4092);
    AltFree(p);
  }
  EXPECT_EQ(AltMalloc(-1), nullptr);
  EXPECT_EQ(refusalOf([] { AltMalloc(65536); }), "sz < MAX_BLK_SIZE");
}

TEST_F(AltMemory, MasterBlocksServeOtherSizesAndGoBackOnlyWhenAskedFor) {
  void* const holder = AltMalloc(4092);  // keeps the first one in use
  end(blocks(200, 4092));
  const Long grown = AltGetTotalBytes();
  end(blocks(3000, 100));
  AltFreshen();
  end(blocks(100, 4000));
  EXPECT_EQ(AltGetTotalBytes(), grown);
  EXPECT_EQ(AltReturnMemToMac(1), kMaster);
  EXPECT_EQ(AltGetTotalBytes(), grown - kMaster);
  EXPECT_GE(AltReturnMemToMac(0x7FFFFFFF), 4 * kMaster);
  EXPECT_EQ(AltReturnMemToMac(0x7FFFFFFF), 0) << "nothing is dead now";
  AltFree(holder);
}

TEST_F(AltMemory, AWriteIntoAFreeBlockIsNoticedWhenItsMasterBlockIsReclaimed) {
  const auto wreck = [] {
    void* const holder = AltMalloc(16);
    const auto all = blocks(200, 4092);
    end(all);
    std::memset(all[100], 0xEE, 8);  // not beside the holder
    const XError error = errorRaisedBy([] { AltReturnMemToMac(kMaster); });
    std::fprintf(stderr, "%s", parm(error, "msg").c_str());
    std::_Exit(holder == nullptr);
  };
  EXPECT_EXIT(wreck(), testing::ExitedWithCode(0), "FtlAbort called.");
}

TEST_F(AltMemory, ExhaustionRaisesAndLeavesTheCounters) {
  const auto filler = blocks(40, 4092);  // the first of its master block to the last
  const Long total = AltGetTotalBytes();
  std::vector<void*> more;
  const auto growOnce = [&] {
    while (AltGetTotalBytes() == total) more.push_back(AltMalloc(4092));
  };
  failEachAllocation({growOnce}, [&] { EXPECT_EQ(AltGetTotalBytes(), total); });
  end(filler);
  end(more);
}

TEST_F(AltMemory, AForkGoesOnWithoutTheThreadThatTheLockFavours) {
  std::thread([] { EXPECT_EXIT(std::_Exit((AltFree(AltMalloc(16)), 0)), testing::ExitedWithCode(0), ""); }).join();
}

TEST(BiasedLock, ExcludesOthersWhileItsBiasIsRevoked) {
  for (int round = 0; round < 100; ++round) {
    BiasedLock lock;
    lock.lock(), lock.favourHolder(), lock.unlock();
    std::atomic<int> count{0}, others{0};
    const auto work = [&] {
      const BiasedTenure held(lock);
      const int before = count;
      platform::pauseProcessor();
      count = before + 1;
    };
    std::thread other([&] {
      for (; others < 20; ++others) work();
    });
    int mine = 0;
    for (; others < 20; ++mine) work();
    other.join();
    ASSERT_EQ(count, mine + others);
  }
}
