#include "core/utils/MetaBase.h"

#include "tests/support/Bare.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

unsigned char idOf(const char* name) {
  unsigned char tid = 99;
  MBFind(name, &tid);
  return tid;
}

std::string printed(unsigned char tid, const void* value, const char* format = nullptr) {
  char text[MBPrintRoom];
  MBGetPrintProc(tid)(text, format, value);
  return text;
}

}  // namespace

TEST(MetaBase, ScannedValuesSurviveAPackedFrame) {
  const char* const rows[][3] = {
      {"str", "reel 7", "reel 7"},  {"ptr", "1f", "0x1f"},         {"int", "-12", "-12"},    {"u_int", "ff", "ff"},
      {"long", " 70000x", "70000"}, {"u_long", "10", "0x10"},      {"float", "0.5", "0.5"},  {"double", "2.25", "2.25"},
      {"Boolean", "true", "TRUE"},  {"Boolean", "yes", "FALSE"},   {"Boolean", "1", "TRUE"}, {"Byte", "200", "-56"},
      {"Char4", "  OBJD", "OBJD"},  {"Char4", "ab", "ab"},         {"char", "q", "q"},       {"u_char", "A", "41"},
      {"short", "-3", "-3"},        {"u_short", "ffff", "0xffff"}, {"int", "", "0"},         {"Char4", "", ""},
  };
  for (const auto& [type, text, want] : rows) {
    SCOPED_TRACE(std::string(type) + " " + text);
    const unsigned char tid = idOf(type);
    alignas(8) char frame[16];
    std::memset(frame, 0x5A, sizeof frame);
    const short used = MBGetPushProc(tid)(frame, MBGetScanProc(tid)(text));
    EXPECT_EQ(used, 8);
    char* cursor = frame;
    const void* const pulled = MBGetPullProc(tid)(&cursor);
    EXPECT_EQ(cursor, frame + used);
    EXPECT_EQ(printed(tid, pulled), want);
  }
}

TEST(MetaBase, RefusesTextThatIsNoNumberAndTypesThatItDoesNotKnow) {
  for (const char* type : {"ptr", "int", "u_int", "long", "u_long", "float", "double", "Byte", "short", "u_short"}) {
    EXPECT_EQ(codeRaisedBy([&] { MBGetScanProc(idOf(type))("reel"); }), "MB_SCAN_MISMATCM") << type;
  }
  EXPECT_EQ(refusalOf([] { MBGetPushProc(255); }), "tid > TIDunknown && tid < NextInstall");
}

// Fills the table for good, so it has a process of its own.
BARE_TEST(MetaBase, SynonymsAreTypesOfTheirOwnUntilTheTableIsFull) {
  MBInit();
  MBInstallSynonym("enum", "Byte");
  EXPECT_FALSE(MBIsType(idOf("enum"), "Byte"));
  EXPECT_EQ(MBGetScanProc(idOf("enum")), MBGetScanProc(idOf("Byte")));
  EXPECT_EQ(codeRaisedBy([] {
              while (true) MBInstallSynonym("more", "int");
            }),
            "MB_TYPE_TABLE_FULL");
}
