#include "core/mem/KyHandles.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "core/mem/ZorvexHandleMgr.h"
#include "tests/mem/ToyToolbox.h"
#include "tests/support/Test.h"

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
  EXPECT_EQ(KyGetHandleSize(zero.get()), 0);

  const OwnedHandle empty(KyNewEmptyHandle());
  EXPECT_EQ(*empty.get(), nullptr);
  EXPECT_EQ(KyGetHandleSize(empty.get()), 0);
  KySetHandleSize(empty.get(), 5);
  EXPECT_NE(*empty.get(), nullptr);
  EXPECT_EQ(KyGetHandleSizeFast(empty.get()), 5);
}

TEST(KyHandles, ResizingKeepsContentsAndReallocLosesThem) {
  const OwnedHandle h(handleWith("0123456789"));
  KySetHandleSize(h.get(), 2000);
  EXPECT_EQ(std::memcmp(h.data(), "0123456789", 10), 0);
  KySetHandleSize(h.get(), 3);
  EXPECT_EQ(text(h.get()), "012");
  char* const before = h.data();
  KyReallocHandle(h.get(), 3);
  EXPECT_NE(h.data(), before);
  EXPECT_EQ(KyResizeHandle(h.get(), 7), h.get());
  EXPECT_EQ(KyGetHandleSize(h.get()), 7);
  EXPECT_EQ(checkFailedBy([&] { KySetHandleSize(h.get(), -1); }), "newSize >= 0");
}

TEST(KyHandles, AFailedResizeLeavesTheHandle) {
  const OwnedHandle h(handleWith("keep"));
  const NothingStays memory;
  for (auto* resize : {KySetHandleSize, KyReallocHandle}) {
    const AllocationFailure failure(1);
    EXPECT_EQ(codeRaisedBy([&] { resize(h.get(), 4000); }), "MEM_OUT_OF_MEMORY");
  }
  EXPECT_EQ(text(h.get()), "keep");
}

TEST(KyHandles, CopyingTakesSourcesInTheHandleItself) {
  const struct {
    const char* name;
    short (*copy)(const void* src, char** h, Long size);
    Long from, size;
    const char* want;
  } cases[] = {
      {"replace by the tail", KyPtrToXHand, 6, 4, "6789"},
      {"replace by the whole", KyPtrToXHand, 0, 10, "0123456789"},
      {"append the head", KyPtrAndHand, 0, 3, "0123456789012"},
      {"append nothing", KyPtrAndHand, 4, 0, "0123456789"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const OwnedHandle h(handleWith("0123456789"));
    EXPECT_EQ(c.copy(*h.get() + c.from, h.get(), c.size), 0);
    EXPECT_EQ(text(h.get()), c.want);
  }
  // Large enough that appending moves the block.
  const std::string large = std::string(50000, 'x') + std::string(50000, 'y');
  const OwnedHandle h(handleWith(large));
  KyPtrAndHand(h.data() + 1, h.get(), 99999);
  EXPECT_EQ(text(h.get()), large + large.substr(1));
}

TEST(KyHandles, WhatIsNoHandleIsNotOperatedOn) {
  void* cell = nullptr;
  expectRefusals({
      {"KyDisposeHandleZorvex: bad fake handle", [&] { KyDisposeHandleZorvex(&cell); }},
      {"KyDisposeHandleZorvex: bad fake handle", [&] { KyGetHandleSizeZorvex(&cell); }},
      {"KySetHandleSizeZorvex: bad fake handle", [&] { KySetHandleSizeZorvex(&cell, 1); }},
      {"KySetHandleSizeZorvex: bad fake handle", [&] { KyReallocHandleZorvex(&cell, 1); }},
      {"MEM_OUT_OF_MEMORY", [] { KyNewMaxHandleMac(5, 5, 5); }},
  });
  EXPECT_NE(refusalOf([&] { KyDisposeHandle(&cell); }).find("KyDisposeHandleMac: Not Mac2Win safe!!!"),
            std::string::npos);
}

TEST(KyHandles, TheThreadDecidesTheKindAtBirthAndTheAddressAfterwards) {
  ToyToolbox box;
  char** const real = KyNewHandle(6);
  EXPECT_TRUE(box.knows(real));
  char** fake = nullptr;
  std::thread([&] { fake = KyNewHandle(6); }).join();
  EXPECT_TRUE(isFake(fake));

  KySetHandleSize(fake, 12);
  char** const copyOfFake = KyCopyHand(fake);
  EXPECT_TRUE(isFake(copyOfFake));
  char** const copyOfReal = KyCopyHand(real);
  EXPECT_TRUE(box.knows(copyOfReal));
  for (char** h : {fake, copyOfFake, copyOfReal}) KyDisposeHandle(h);

  std::thread([&] { EXPECT_NE(refusalOf([&] { KyDisposeHandle(real); }), ""); }).join();
  KyDisposeHandle(real);
  EXPECT_EQ(box.live(), 0u);
}

TEST(KyHandles, RealHandlesAreCountedWithTheirFirstSize) {
  ToyToolbox box;
  const MemoryTotals before = memoryTotals();
  char** const h = KyNewHandle(40);
  char** const empty = KyNewEmptyHandle();
  KySetHandleSize(h, 60);
  KyReallocHandle(empty, 3);
  EXPECT_EQ(std::string(*empty, 3), "???");
  EXPECT_EQ(KyGetHandleSize(empty), 3);
  EXPECT_EQ(memoryTotals().totalHdl, before.totalHdl + 40);
  EXPECT_EQ(memoryTotals().numHdls, before.numHdls + 2);
  KyDisposeHandle(empty);
  KyDisposeHandle(h);
  EXPECT_EQ(memoryTotals().numHdls, before.numHdls);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(box.lastWord), 4), "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(codeRaisedBy([] { KyNewHandle(2 << 20); }), "MEM_OUT_OF_MEMORY");
}

TEST(Toolbox, IsEndedWithTheLibrary) {
  struct Ending : ToyToolbox {
    void finalRoutine() override { std::fprintf(stderr, "final routine\n"); }
  };
  const auto leave = [] {
    new Ending;
    std::exit(0);
  };
  EXPECT_EXIT(leave(), testing::ExitedWithCode(0), "final routine");
}

TEST(Owned, DisposesWhatItHolds) {
  const NothingStays memory;
  OwnedHandle h = OwnedHandle::ofSize(10);
  h = OwnedHandle::ofSize(20);
  OwnedHandle other(std::move(h));
  EXPECT_FALSE(h);
  EXPECT_EQ(other.size(), 20);
  other.reset();
  KyDisposeHandle(OwnedHandle::ofSize(3).release());
}
