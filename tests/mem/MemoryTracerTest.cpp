#include "core/mem/MemoryTracer.h"

#include "tests/support/Printed.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

class MemoryTracer : public testing::Test {
 protected:
  MemoryTracer() { KySlotsDebugInit(); }
  ~MemoryTracer() override {
    if (DebugAllocs()) KyAllocDebugToggle();
  }

  static std::string counts() {
    const Printed out;
    KySlotsPrintCounts(Printed::print);
    return out.text();
  }
  static std::string state() {
    const Printed out;
    KySlotsPrintState(Printed::print);
    return out.text();
  }
  static bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }

  int cells[8] = {};
};

}  // namespace

TEST_F(MemoryTracer, CountsWhatIsRecordedAndWhatIsNot) {
  KySlotAdd(&cells[0], 10, 0);
  KySlotAdd(&cells[1], 20, 0);
  KySlotAdd(&cells[0], 99, 0);
  KySlotDont();
  KySlotRemove(&cells[1]);
  KySlotRemove(&cells[7]);
  EXPECT_EQ(counts(),
            "slots:        00001 (hiWater=00002)\nslotNotFounds:00001\nslotDonts:    00001\nslotRepeats:  00001\n");
  EXPECT_TRUE(contains(state(), "  size: 0000000a  ")) << "the older record stays";
}

TEST_F(MemoryTracer, RecordsStandNewestFirstWithTheirCallers) {
  KyAllocDebugToggle();
  void* const first = KyNewPtr(0x111);
  char** const second = KyNewHandle(0x222);
  const std::string text = state();
  KyDisposeHandle(second);
  KyDisposePtr(first);
  const auto older = text.find("00000001:");
  const auto newer = text.find("00000002:");
  ASSERT_NE(older, std::string::npos) << text;
  EXPECT_LT(newer, older) << text;
  EXPECT_TRUE(contains(text, "  size: 00000222  ")) << text;
  EXPECT_TRUE(contains(text.substr(older), "KyNewPtr               ")) << text;
  EXPECT_TRUE(contains(counts(), "slots:        00000 (hiWater=00002)\nslotNotFounds:00000"));
}
