#include "core/mem/KyHandles.h"

#include <thread>

#include "core/mem/ZorvexHandleMgr.h"
#include "tests/support/Test.h"
#include "tests/support/ToyToolbox.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string text(char** h) { return std::string(*h, static_cast<std::size_t>(KyGetHandleSize(h))); }

char** handleWith(const std::string& content) {
  char** h = nullptr;
  KyPtrToHand(content.data(), &h, static_cast<Long>(content.size()));
  return h;
}

bool isFake(char** h) { return ZorvexHandleMgr::IsZorvexHandle(reinterpret_cast<void**>(h)) != 0; }

}  // namespace

TEST(KyHandles, ZeroBytesAreABlockAndEmptyIsNone) {
  const OwnedHandle zero(KyNewHandle(0));
  EXPECT_NE(*zero.get(), nullptr);
  const OwnedHandle empty(KyNewEmptyHandle());
  EXPECT_EQ(*empty.get(), nullptr);
  EXPECT_EQ(KyGetHandleSize(zero.get()) + KyGetHandleSize(empty.get()), 0);
}

TEST(KyHandles, AFailedResizeLeavesTheHandle) {
  const OwnedHandle h(handleWith("keep"));
  const NothingStays memory;
  for (auto* resize : {KySetHandleSize, KyReallocHandle}) {
    const AllocationFailure failure(1);
    EXPECT_EQ(codeRaisedBy([&] { resize(h.get(), 4000); }), "MEM_OUT_OF_MEMORY");
  }
  expectRefusals({
      {"MEM_OUT_OF_MEMORY", [&] { KyPtrAndHand("x", h.get(), INT_MAX - 3); }},
      {"newSize >= 0", [&] { KyPtrToXHand(h.data(), h.get(), -1); }},
  });
  EXPECT_EQ(text(h.get()), "keep");
}

TEST(KyHandles, CopyingTakesSourcesInTheHandleItself) {
  const OwnedHandle tail(handleWith("0123456789"));
  EXPECT_EQ(KyPtrToXHand(tail.data() + 6, tail.get(), 4), 0);
  EXPECT_EQ(text(tail.get()), "6789");
  // Large enough that appending moves the block.
  const std::string large = std::string(50000, 'x') + std::string(50000, 'y');
  const OwnedHandle h(handleWith(large));
  EXPECT_EQ(KyPtrAndHand(h.data() + 1, h.get(), 99999), 0);
  EXPECT_EQ(text(h.get()), large + large.substr(1));
}

TEST(KyHandles, TheThreadDecidesTheKindAtBirthAndTheAddressAfterwards) {
  ToyToolbox box;
  const MemoryTotals before = memoryTotals();
  char** const real = KyNewHandle(6);
  char** const copyOfReal = KyCopyHand(real);
  EXPECT_TRUE(box.blocks.contains(real) && box.blocks.contains(copyOfReal));
  KySetHandleSize(real, 60);
  EXPECT_EQ(KyGetHandleSize(real), 60);
  EXPECT_EQ(memoryTotals().totalHdl - before.totalHdl, 12) << "a resize is not counted";
  EXPECT_EQ(KyGetNumHdls(), before.numHdls + 2);

  char** fake = nullptr;
  std::thread([&] { fake = KyNewHandle(6); }).join();
  char** const copyOfFake = KyCopyHand(fake);
  EXPECT_TRUE(isFake(fake) && isFake(copyOfFake));
  for (char** h : {fake, copyOfFake, copyOfReal}) KyDisposeHandle(h);
  EXPECT_EQ(box.ended, "\xFF\xFF\xFF\xFF" + std::string(2, '\0')) << "a use after the end is to show";

  std::thread([&] {
    EXPECT_EQ(refusalOf([&] { KyDisposeHandle(real); }), "KyDisposeHandleMac: Not Mac2Win safe!!!");
  }).join();
  KyDisposeHandle(real);
  EXPECT_TRUE(box.blocks.empty());
}
