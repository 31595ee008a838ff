#include "core/error/DumpTable.h"

#include <gtest/gtest.h>

#include <string>

#include "core/error/XError.h"
#include "tests/support/Bare.h"
#include "tests/support/Printed.h"
#include "tests/support/Raised.h"

namespace {

using namespace ky::test;

void dumpFirst(KyPrint print) { print("first\n"); }
void dumpSecond(KyPrint print) { print("second\n"); }
void raise(KyPrint print) {
  print("half a");
  +XError("STRM_EOF", 0);
}

std::string heading(const std::string& name) {
  return "________ " + name + " " + std::string(name.size() < 62 ? 62 - name.size() : 0, '_') + "\n";
}

std::string dumped(bool briefOnly) {
  const Printed out;
  DmpDump(Printed::print, briefOnly);
  return out.text();
}

BARE_TEST(DumpTable, SectionsRunInOrderAllOrTheBriefOnes) {
  const std::string longName(70, 'n');
  DmpInstall(dumpFirst, "First", false);
  DmpInstall(dumpSecond, longName.c_str(), true);
  const std::string second = heading(longName) + "second\n\n";
  EXPECT_EQ(dumped(false), heading("First") + "first\n\n" + second);
  EXPECT_EQ(dumped(true), second);
  const Printed out;
  DmpListSections(Printed::print);
  EXPECT_EQ(out.text(), "    First\n    " + longName + "\n");
}

BARE_TEST(DumpTable, ASectionThatRaisesDoesNotStopTheDump) {
  DmpInstall(raise, "Broken", true);
  DmpInstall(dumpFirst, "First", true);
  EXPECT_EQ(dumped(true),
            heading("Broken") + "half a\n*** dump halted by exception: STRM_EOF\n\n" + heading("First") + "first\n\n");
}

BARE_TEST(DumpTable, HoldsFiftyAndRemovesTheFirstOfARoutine) {
  for (int i = 0; i < 50; ++i) DmpInstall(i % 2 ? dumpSecond : dumpFirst, i < 2 ? "early" : "late", false);
  EXPECT_EQ(codeRaisedBy([] { DmpInstall(raise, "one more", false); }), "DMP_TABLE_FULL");
  DmpRemove(dumpSecond);
  DmpRemove(raise);
  EXPECT_EQ(codeRaisedBy([] { DmpInstall(raise, "fits again", false); }), "");
  const Printed out;
  DmpListSections(Printed::print);
  EXPECT_TRUE(out.text().starts_with("    early\n    late\n"));
  EXPECT_TRUE(out.text().ends_with("    late\n    fits again\n"));
}

}  // namespace
