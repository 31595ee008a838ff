#include "core/error/Printing.h"

#include <cstdio>
#include <fstream>
#include <thread>

#include "core/error/UnitTestBase.h"
#include "platform/Clock.h"
#include "tests/support/Printed.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

std::vector<std::string> sPieces;

int collectPieces(const char* format, KyVaList args) {
  char text[256];
  sPieces.emplace_back(text, static_cast<std::size_t>(std::vsnprintf(text, sizeof text, format, args)));
  return 0;
}

std::string sLines;

/// Collects the console's lines, each behind its level.
class Console {
 public:
  Console() : before(UnitTestBase::SetLineSink(collect)) { sLines.clear(); }
  ~Console() {
    UnitTestBase::SetVerbose(4);
    UnitTestBase::SetLineSink(before);
  }

 private:
  static void collect(const char* line, int level) { sLines += std::to_string(level) + line; }

  UnitTestBase::LineSink before;
};

}  // namespace

TEST(DebugPrintf, BelongsToTheMainThread) {
  const DebugPrinted main;
  const DebugOutput traces;
  std::thread([] {
    EXPECT_EQ(dbgInstallPrintf(collectPieces), nullptr);
    dprintf("from a worker");
  }).join();
  EXPECT_EQ(main.text(), "");
  EXPECT_NE(traces.text().find("WARNING: Attempt to dbgInstallPrintf for non-main thread!\n"), std::string::npos);
  EXPECT_NE(traces.text().find("\tfrom a worker\n"), std::string::npos);
}

TEST(DebugPrintf, TextStoredBeforeIsPrintedInPiecesAtTheNextInstall) {
  ky::storeDebugText(std::string(250, 's').c_str());
  for (int round = 0; round < 2; ++round) dbgInstallPrintf(dbgInstallPrintf(collectPieces));
  EXPECT_EQ(sPieces, (std::vector<std::string>{std::string(100, 's'), std::string(100, 's'), std::string(50, 's')}));
}

TEST(Console, VerbosityHidesLinesAndTheLogKeepsThoseUpToItsLevel) {
  const Console console;
  const std::string folder = testing::TempDir() + "ky_console_log";
  std::remove((folder + "/session.log").c_str());
  ASSERT_TRUE(UnitTestBase::LogOn("session.log", folder.c_str(), 4));
  EXPECT_EQ(cprintf("%s %d\n", "take", 2), 7);
  UnitTestBase::AddComment("four\n", 4);
  UnitTestBase::AddComment("five\n", 5);
  UnitTestBase::LogOff();
  UnitTestBase::SetVerbose(0);
  cprintf("unseen");
  UnitTestBase::AddComment("seen", 0);
  EXPECT_EQ(sLines, "1take 2\n4four\n0seen");
  std::string logged;
  std::getline(std::ifstream(folder + "/session.log"), logged, '\0');
  EXPECT_EQ(logged, "take 2\nfour\n");
  EXPECT_FALSE(UnitTestBase::LogOn("x", "/dev/null/nowhere", 4));
}

TEST(OsPrintf, PrefixesSecondsAndEndsTheLineOnce) {
  const auto before = ky::platform::setClockHooks({[] { return Int64{12'345'678}; }, nullptr});
  const DebugOutput out;
  EXPECT_EQ(OsPrintf("frame %d", 9), 21);
  EXPECT_EQ(OsLog("a\nb"), 16);
  EXPECT_EQ(OsLog(std::string(5'000, 'x').c_str()), 13 + 2046 + 1);
  ky::platform::setClockHooks(before);
  EXPECT_EQ(out.text(), "   12.345678\tframe 9\n   12.345678\ta\nb   12.345678\t" + std::string(2046, 'x') + "\n");
}

TEST(DbgCstring, QuotesEscapesAndCuts) {
  const struct {
    const char* text;
    int size;
    const char* want;
  } cases[] = {
      {"a\tb", 80, R"("a\tb")"},
      {"'\"\\\n\r", 80, R"("\'\"\\\n\r")"},
      {"\x01\x1f\x7f\xe9", 80, "\"\\x01\\x1F\x7f\xe9\""},
      {"abc\x01", 9, R"("abc...")"},
      {"ab\tdefg", 9, R"("ab...")"},
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
  EXPECT_STREQ(dbgCstring("own buffer", nullptr, 0), "\"own buffer\"");
  EXPECT_EQ(std::string(dbgCstring(std::string(400, 'x').c_str(), nullptr, 0)).size(), 255u);
}
