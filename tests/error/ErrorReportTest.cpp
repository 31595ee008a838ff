#include "core/error/ErrorReport.h"

#include "core/error/Guarded.h"
#include "core/mem/Toolbox.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

/// The report on what `raise` raises, from `level` or the top.
std::string report(void (*raise)(), int level = 0, int size = 256) {
  std::string text(static_cast<std::size_t>(size), '#');
  guarded(raise, [&] {
    if (level) {
      EMGetErrorMsgLevel(text.data(), size, level);
    } else {
      EMGetErrorMsg(text.data(), size);
    }
  });
  return text.c_str();
}

void raiseTwoLevels() {
  reraisedAs(
      "DISK_EOF", [] { +XError("SYS_ERROR", "int status", 38, "str msg", "End of file", 0); }, "str filename",
      "reel.bin", 0);
}

}  // namespace

TEST(ErrorReport, WithoutTemplatesEachLevelHasItsDefaultLine) {
  EXPECT_EQ(report(raiseTwoLevels), "Exception: DISK_EOF, filename:reel.bin");
  EXPECT_EQ(report(raiseTwoLevels, 1), "Exception: SYS_ERROR, status:38, msg:End of file");
  EXPECT_EQ(report(raiseTwoLevels, 0, 12), "Exception: ");
}

TEST(ErrorReport, TemplatesFromTheLookUpSeeTheOutermostParameters) {
  installTemplateLookup([](const char* code) -> const char* {
    return std::string(code) == "DISK_EOF" ? "The file <filename> is too short." : "<filename>: <status>";
  });
  EXPECT_EQ(report(raiseTwoLevels), "The file reel.bin is too short.");
  EXPECT_EQ(report(raiseTwoLevels, 1), "reel.bin: <status>");
  installTemplateLookup(nullptr);
}
