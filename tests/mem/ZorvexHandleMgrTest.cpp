#include "core/mem/ZorvexHandleMgr.h"

#include <cstdio>
#include <map>

#include "tests/support/Printed.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

Int64 statistic(const char* name) {
  Printed out;
  ZorvexHandleMgr::DumpStatistics(Printed::print);
  const auto at = out.text().find(name);
  return at == std::string::npos ? -1 : std::stoll(out.text().substr(out.text().find('=', at) + 1));
}

TEST(ZorvexHandleMgr, UniqueHandlesAreNotUsedAgain) {
  void** const h = ZorvexHandleMgr::CreateHandle(nullptr);
  const Int64 live = statistic("NumCurrentHandles");
  ZorvexHandleMgr::SetForceUniqueHandles(true);
  EXPECT_TRUE(ZorvexHandleMgr::GetForceUniqueHandles());
  ZorvexHandleMgr::DeleteHandle(h);
  ZorvexHandleMgr::SetForceUniqueHandles(false);
  EXPECT_EQ(*h, nullptr);
  EXPECT_EQ(statistic("NumCurrentHandles"), live - 1);
  void** const next = ZorvexHandleMgr::CreateHandle(nullptr);
  EXPECT_NE(next, h);
  ZorvexHandleMgr::DeleteHandle(next);
}

}  // namespace

TEST(ZorvexHandleMgr, AnyHistoryKeepsContentsOverSeveralBlocks) {
  std::mt19937 random(1);
  std::map<void**, void*> live;
  std::vector<void**> order;
  const Int64 blocks = statistic("NumMasterBlocks"), others = statistic("NumCurrentHandles");
  for (int step = 0; step < 400000; ++step) {
    // Swings between nothing and some three blocks' worth.
    const bool grow = random() % 100 < (step / 100000 % 2 ? 10u : 90u);
    if (grow || order.empty()) {
      void* const content = reinterpret_cast<void*>(std::uintptr_t{random()} | 1);
      void** const h = ZorvexHandleMgr::CreateHandle(content);
      ASSERT_TRUE(live.emplace(h, content).second) << "handed out twice";
      order.push_back(h);
    } else {
      std::swap(order[random() % order.size()], order.back());
      ASSERT_EQ(ZorvexHandleMgr::DeleteHandle(order.back()), live.at(order.back()));
      live.erase(order.back());
      order.pop_back();
    }
  }
  EXPECT_EQ(statistic("NumCurrentHandles") - others, Int64(order.size()));
  for (void** h : order) ZorvexHandleMgr::DeleteHandle(h);
  EXPECT_LE(statistic("NumMasterBlocks") - blocks, 3) << "slots serve again";
}

TEST(ZorvexHandleMgr, KnowsItsHandlesFromOtherAddressesAndFromDeletedOnes) {
  void** const h = ZorvexHandleMgr::CreateHandle(nullptr);
  void* local = nullptr;
  EXPECT_TRUE(ZorvexHandleMgr::IsZorvexHandle(h));
  EXPECT_FALSE(ZorvexHandleMgr::IsZorvexHandle(&local) || ZorvexHandleMgr::IsZorvexHandle(nullptr));
  ZorvexHandleMgr::DeleteHandle(h);
  expectRefusals({
      {"ZorvexHandleMgr::DeleteHandle (not an Zorvex handle)", [&] { ZorvexHandleMgr::DeleteHandle(&local); }},
      {"ZorvexMasterPointerBlock::Contains (can't delete a free handle)", [&] { ZorvexHandleMgr::DeleteHandle(h); }},
  });
}

TEST(ZorvexHandleMgr, AWriteIntoAFreeSlotIsNoticed) {
  const auto wreck = [] {
    void** const h = ZorvexHandleMgr::CreateHandle(nullptr);
    ZorvexHandleMgr::DeleteHandle(h);
    int local = 0;
    *h = &local;
    const std::string code = codeRaisedBy([] { ZorvexHandleMgr::CreateHandle(nullptr); });
    std::fprintf(stderr, "%s", code.c_str());
    std::_Exit(0);
  };
  EXPECT_EXIT(wreck(), testing::ExitedWithCode(0), "CreateHandle .consistency check failed.");
}
