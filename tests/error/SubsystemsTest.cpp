#include "core/error/Subsystems.h"

#include "core/error/Fatal.h"
#include "core/utils/MetaBase.h"
#include "tests/support/Bare.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {
using namespace std::string_literals;

BARE_TEST(Subsystems, TheTableHoldsFifty) {
  MBInit();  // the types that an error's parameters need
  FtlInstall(raiseFatal);
  dbgSetFlag(7, kDbgPrint);
  for (int id = 1; id <= 50; ++id) EXPECT_EQ(dbgRegSubSystem(("s" + std::to_string(id)).c_str()), id);
  EXPECT_EQ(dbgTestFlag(7, 15), 0) << "flags start clear";
  EXPECT_EQ(dbgGetSubSystemID("S50"), 50);
  EXPECT_STREQ(dbgGetSubsysName(50), "s50");
  EXPECT_EQ(dbgGetSubSystemID("one more"), 0);
  EXPECT_EQ(refusalOf([] { dbgRegSubSystem("one more"); }), "nextID < dim(dbgFlags)");
  EXPECT_EQ(dbgRegSubSystem("S50"), 50);
}

const std::string kSaved = "\1\0Undo\0\2\0DL\0\x0F\0"s;

BARE_TEST(Subsystems, ASavedFormSetsFlagsAsFarAsItIsWhole) {
  for (std::size_t length = 0; length <= kSaved.size(); ++length) {
    SCOPED_TRACE(length);
    const std::string cut = kSaved.substr(0, length);
    ky::restoreSubsystems(cut.data(), static_cast<Long>(length));
    EXPECT_EQ(dbgGetSubSystemID("Undo") != 0, length >= 9);
    EXPECT_EQ(dbgGetSubSystemID("DL") != 0, length >= 14);
  }
  char saved[32];
  EXPECT_EQ(std::string(saved, static_cast<std::size_t>(ky::saveSubsystems(saved, sizeof saved))), kSaved);
  ky::restoreSubsystems("\2\0Undo\0\x0F\0", 9);
  EXPECT_EQ(dbgTestFlag(dbgGetSubSystemID("undo"), 15), 2);
}

}  // namespace
