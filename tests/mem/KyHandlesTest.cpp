#include "core/mem/KyHandles.h"

#include <map>
#include <thread>

#include "core/mem/Toolbox.h"
#include "core/mem/ZorvexHandleMgr.h"
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

/// Real handles, each of which it knows, while it stands.
class ToyToolbox : public Toolbox {
 public:
  ToyToolbox() : before(installToolbox(this)) {}
  ~ToyToolbox() override { installToolbox(before); }

  char** newHandle(Long size) override {
    auto* const handle = new char*;
    setHandleSize(handle, size);
    return handle;
  }
  char** newHandleClear(Long size) override { return newHandle(size); }
  char** newEmptyHandle() override { return newHandle(0); }
  void disposeHandle(char** handle) override {
    blocks.erase(handle);
    delete handle;
  }
  Long handleSize(char** handle) override { return static_cast<Long>(blocks.at(handle).size()); }
  bool setHandleSize(char** handle, Long size) override {
    blocks[handle].resize(static_cast<std::size_t>(size));
    *handle = blocks[handle].data();
    return true;
  }
  bool reallocHandle(char** handle, Long size) override { return setHandleSize(handle, size); }

  std::map<char**, std::vector<char>> blocks;

 private:
  Toolbox* before;
};

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
  char** const real = KyNewHandle(6);
  EXPECT_TRUE(box.blocks.contains(real));
  char** fake = nullptr;
  std::thread([&] { fake = KyNewHandle(6); }).join();
  EXPECT_TRUE(isFake(fake));

  KySetHandleSize(fake, 12);
  char** const copyOfFake = KyCopyHand(fake);
  EXPECT_TRUE(isFake(copyOfFake));
  char** const copyOfReal = KyCopyHand(real);
  EXPECT_TRUE(box.blocks.contains(copyOfReal));
  for (char** h : {fake, copyOfFake, copyOfReal}) KyDisposeHandle(h);

  std::thread([&] { EXPECT_NE(refusalOf([&] { KyDisposeHandle(real); }), ""); }).join();
  KyDisposeHandle(real);
  EXPECT_TRUE(box.blocks.empty());
}
