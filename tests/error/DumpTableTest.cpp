#include "core/error/DumpTable.h"

#include "tests/support/Bare.h"
#include "tests/support/Printed.h"
#include "tests/support/Test.h"

using namespace ky::test;

namespace {

void dumpFirst(KyPrint print) { print("first\n"); }
void dumpSecond(KyPrint print) { print("second\n"); }
void raise(KyPrint print) {
  print("half a");
  +XError("STRM_EOF", 0);
}

std::string heading(const std::string& name) {
  return "________ " + name + " " + std::string(name.size() < 62 ? 62 - name.size() : 0, '_') + "\n";
}

template <class Print>
std::string printedBy(Print print) {
  Printed out;
  print();
  return out.text();
}

}  // namespace

BARE_TEST(DumpTable, SectionsRunInOrderAllOrTheBriefOnesEvenIfOneRaises) {
  const std::string longName(70, 'n');
  DmpInstall(dumpFirst, "First", false);
  DmpInstall(raise, "Broken", true);
  DmpInstall(dumpSecond, longName.c_str(), true);
  const std::string brief =
      heading("Broken") + "half a\n*** dump halted by exception: STRM_EOF\n\n" + heading(longName) + "second\n\n";
  EXPECT_EQ(printedBy([] { DmpDump(Printed::print, false); }), heading("First") + "first\n\n" + brief);
  EXPECT_EQ(printedBy([] { DmpDump(Printed::print, true); }), brief);
}

BARE_TEST(DumpTable, HoldsFiftyAndTheMemoryManagerStartsOnceItHasRoom) {
  for (int i = 0; i < 50; ++i) DmpInstall(i % 2 ? dumpSecond : dumpFirst, "one", false);
  EXPECT_EQ(codeRaisedBy(KyMemInit), "DMP_TABLE_FULL") << "it has a section of its own";
  DmpRemove(dumpSecond);
  EXPECT_EQ(codeRaisedBy(KyMemInit), "");
  const ky::OwnedHandle handle(KyNewHandle(1));
}
