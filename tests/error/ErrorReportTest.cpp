#include "core/error/ErrorReport.h"

#include "core/error/Guarded.h"
#include "tests/support/Test.h"
#include "tests/support/ToyToolbox.h"

using namespace ky;
using namespace ky::test;

namespace {

/// The report on what `raise` raises, from `level` or the top.
template <class Raise>
std::string report(Raise raise, int level = 0, int size = 256) {
  std::string text(static_cast<std::size_t>(size), '#');
  guarded(raise, [&] { level ? EMGetErrorMsgLevel(text.data(), size, level) : EMGetErrorMsg(text.data(), size); });
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
  EXPECT_EQ(refusalOf([] { report(raiseTwoLevels, 3); }), "codePtr != NULL");
}

TEST(ErrorReport, TemplatesFromTheLookUpSeeTheOutermostParameters) {
  installTemplateLookup([](const char* code) -> const char* {
    return std::string(code) == "DISK_EOF" ? "The file <filename> is too short." : "<filename>: <status>";
  });
  EXPECT_EQ(report(raiseTwoLevels), "The file reel.bin is too short.");
  EXPECT_EQ(report(raiseTwoLevels, 1), "reel.bin: <status>");
  installTemplateLookup(nullptr);
}

TEST(ErrorReport, ResourcesHoldTemplatesAndTheTableOfOldSystemErrors) {
  ToyToolbox box;
  box.resources = {{"DISK_EOF", "\x0A<filename>!and no more"},
                   {"SYS_ERROR", "\7trouble"},
                   {"-15392", "-42 tmfoErr File too many files open\r-43  fnfErr   no such file\r-44 wPrErr"}};
  EXPECT_EQ(report(raiseTwoLevels), "reel.bin");
  EXPECT_EQ(report(raiseTwoLevels, 1), "trouble") << "those of the file routines have a template";
  const std::pair<int, const char*> rows[] = {
      {-43, "System Error -43 (no such file)"}, {-44, "System Error -44 ()"}, {-4, "trouble"}};
  for (const auto& [number, want] : rows) {
    EXPECT_EQ(report([number = number] { +XError("SYS_ERROR", "int OSErr", number, 0); }), want);
  }
  EXPECT_TRUE(box.blocks.empty()) << "each resource was released";
}
