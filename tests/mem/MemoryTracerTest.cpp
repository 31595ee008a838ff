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

  static std::string printedBy(void (*report)(KyPrint)) {
    const Printed out;
    report(Printed::print);
    return out.text();
  }
  static std::string counts() { return printedBy(KySlotsPrintCounts); }
  static std::string state() { return printedBy(KySlotsPrintState); }

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
  EXPECT_NE(state().find("  size: 0000000a  "), std::string::npos) << "the older record stays";
}

TEST_F(MemoryTracer, RecordsStandNewestFirstWithTheirCallers) {
  KyAllocDebugToggle();
  void* const first = KyNewPtr(0x111);
  char** const second = KyNewHandle(0x222);
  const std::string text = state();
  KyDisposeHandle(second);
  KyDisposePtr(first);
  const auto newer = text.find("00000002:");
  const auto older = text.find("00000001:", newer);
  ASSERT_NE(older, std::string::npos) << text;
  EXPECT_NE(text.find("  size: 00000222  ", newer), std::string::npos) << text;
  EXPECT_NE(text.find("KyNewPtr               ", older), std::string::npos) << text;
  EXPECT_TRUE(counts().starts_with("slots:        00000 (hiWater=00002)\nslotNotFounds:00000")) << counts();
}
