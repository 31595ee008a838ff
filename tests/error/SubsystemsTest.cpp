#include "core/error/Subsystems.h"

#include "tests/support/Bare.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {
using namespace std::string_literals;

BARE_TEST(Subsystems, TheTableHoldsFifty) {
  raiseFatals();
  for (int id = 1; id <= 50; ++id) EXPECT_EQ(dbgRegSubSystem(("s" + std::to_string(id)).c_str()), id);
  EXPECT_EQ(dbgGetSubSystemID("S50"), 50);
  EXPECT_STREQ(dbgGetSubsysName(50), "s50");
  EXPECT_EQ(dbgGetSubSystemID("one more"), 0);
  EXPECT_EQ(checkFailedBy([] { dbgRegSubSystem("one more"); }), "nextID < dim(dbgFlags)");
  EXPECT_EQ(dbgRegSubSystem("S50"), 50);

  ky::restoreSubsystems("\1\0more\0\x02\0s7\0\x04\0", 2 + 7 + 5);
  EXPECT_EQ(dbgNumSubSystems(), 50);
  EXPECT_EQ(dbgTestFlag(7, 15), 4);
}

BARE_TEST(Subsystems, TheNamesShareOneArea) {
  raiseFatals();
  EXPECT_EQ(checkFailedBy([] { dbgRegSubSystem(std::string(800, 'n').c_str()); }),
            "nextName + nameLen < MAX_SUBSYSTEMS * SUBSYS_NAMESIZE");
  EXPECT_EQ(dbgRegSubSystem(std::string(797, 'n').c_str()), 1);
  EXPECT_EQ(dbgRegSubSystem("o"), 2);
  EXPECT_EQ(checkFailedBy([] { dbgRegSubSystem(""); }), "nextName + nameLen < MAX_SUBSYSTEMS * SUBSYS_NAMESIZE");
}

const std::string kSaved = "\1\0Undo\0\2\0DL\0\x0F\0"s;

BARE_TEST(Subsystems, TheSavedFormHoldsThoseWithAFlag) {
  raiseFatals();
  dbgSetFlag(dbgRegSubSystem("Undo"), kDbgPrint);
  dbgRegSubSystem("Domain");
  dbgSetFlag(dbgRegSubSystem("DL"), 15);
  ASSERT_EQ(ky::savedSubsystemsLength(), 14);
  char buffer[32];
  EXPECT_EQ(checkFailedBy([&] { ky::saveSubsystems(buffer, 13); }), "bufLen >= totalLen");
  EXPECT_EQ(ky::saveSubsystems(buffer, sizeof buffer), 14);
  EXPECT_EQ(std::string(buffer, 14), kSaved);
}

BARE_TEST(Subsystems, ASavedFormSetsFlagsAsFarAsItIsWhole) {
  for (std::size_t length = 0; length <= kSaved.size(); ++length) {
    SCOPED_TRACE(length);
    const std::string cut = kSaved.substr(0, length);
    ky::restoreSubsystems(cut.data(), static_cast<Long>(length));
    EXPECT_EQ(dbgGetSubSystemID("Undo") != 0, length >= 9);
    EXPECT_EQ(dbgGetSubSystemID("DL") != 0, length >= 14);
  }
  EXPECT_EQ(dbgTestFlag(dbgGetSubSystemID("undo"), 15), 2);
  EXPECT_EQ(dbgTestFlag(dbgGetSubSystemID("dl"), 15), 15);
  ky::restoreSubsystems("\2\0Undo\0\x0F\0", 9);
  EXPECT_EQ(dbgTestFlag(dbgGetSubSystemID("undo"), 15), 2);
}

}  // namespace
