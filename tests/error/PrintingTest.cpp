#include "core/error/Printing.h"

#include "core/error/UnitTestBase.h"
#include "platform/Clock.h"
#include "tests/support/Printed.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

TEST(OsPrintf, PrefixesSecondsAndEndsTheLineOnce) {
  const auto before = ky::platform::setClockHooks({[] { return Int64{12'345'678}; }, nullptr});
  const DebugOutput out;
  EXPECT_EQ(OsPrintf("frame %d", 9), 21);
  EXPECT_EQ(OsLog("a\nb"), 16);
  EXPECT_EQ(OsLog(std::string(5'000, 'x').c_str()), 13 + 2046 + 1);
  ky::platform::setClockHooks(before);
  EXPECT_EQ(out.text(), "   12.345678\tframe 9\n   12.345678\ta\nb   12.345678\t" + std::string(2046, 'x') + "\n");
}

TEST(Console, ShowsAndLogsLinesByTheirLevel) {
  static std::string shown;
  const TempFolder folder;
  const auto before =
      UnitTestBase::SetLineSink([](const char* line, int level) { shown += char('0' + level), shown += line; });
  ASSERT_TRUE(UnitTestBase::LogOn("session.log", (folder / "new").c_str(), 4));
  EXPECT_EQ(cprintf("%s %d\n", "take", 2), 7);
  UnitTestBase::AddComment("five", 5);
  UnitTestBase::LogOff();
  UnitTestBase::SetVerbose(0);
  cprintf("unseen");
  UnitTestBase::AddProblem("seen");
  UnitTestBase::SetVerbose(4);
  UnitTestBase::SetLineSink(before);
  EXPECT_EQ(shown, "1take 2\n0seen");
  EXPECT_EQ(bytesOf(folder / "new/session.log").size(), 7u);
}

TEST(DbgCstring, QuotesEscapesAndCuts) {
  const struct {
    const char* text;
    int size;
    const char* want;
  } cases[] = {
      {"'\"\\\n\r", 80, R"("\'\"\\\n\r")"},
      {"\x01\x1f\x7f\xe9", 80, "\"\\x01\\x1F\x7f\xe9\""},
      {"abc\x01", 9, R"("abc...")"},
      {"abcdefg", 6, R"("...")"},
      {"abcdefg", 5, R"("ab)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.want);
    char buffer[81];
    std::fill(std::begin(buffer), std::end(buffer), '#');
    EXPECT_STREQ(dbgCstring(c.text, buffer, c.size), c.want);
    EXPECT_EQ(buffer[c.size], '#');
  }
}
