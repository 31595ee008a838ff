#include "core/error/ErrorStack.h"

#include <limits>

#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

TEST(ErrorStack, ListsAreReadAndPrintedByTheirLabels) {
  const std::pair<XError, const char*> rows[] = {
      {XError("CODE", "str file", "a.bin", "int n", -2, "u_int u", 255u, "long l", Long(70000), "u_long ul", ULong(16),
              "float f", 0.5, "double d", 2.25, "Boolean b", true, "Byte y", 300, "Char4 pcid", MakeChar4("OBJD"),
              "char c", 'x', "u_char uc", 200, "short s", -1, "u_short us", 65535, 0),
       "Exception: CODE, file:a.bin, n:-2, u:ff, l:70000, ul:0x10, f:0.5, d:2.25, b:TRUE, y:44, pcid:OBJD, c:x, uc:c8, "
       "s:-1, us:0xffff"},
      // Arguments take the type of their label.
      {XError("C", "double whole", 3, "int cut", 2.9, "float single", 1e300, "Boolean word", 256, "long huge",
              std::numeric_limits<double>::infinity(), 0),
       "Exception: C, whole:3, cut:2, single:inf, word:FALSE, huge:0"},
      // A null label, an unknown type and a label without a value end the list.
      {XError("C", "int a", 1, 0, "int b", 2), "Exception: C, a:1"},
      {XError("C", "int a", 1, "widget w", 2, "int b", 3, 0), "Exception: C, a:1"},
      {XError("C", "int a", 1, "int b"), "Exception: C, a:1"},
      // Null texts are dropped, and unnamed parameters get their position.
      {XError("C", "str a", 0, "str b", nullptr, "int c", 3, 0), "Exception: C, c:3"},
      {XError("C", "int x", 1, "int", 2, "str  ", "z", 0), "Exception: C, x:1, 2:2, 3:z"},
  };
  for (const auto& [error, want] : rows) EXPECT_EQ(wordsOf(error), want);
}

TEST(ErrorStack, ParametersBelongToTheirLevelAlone) {
  XError error("LOW", "int n", 1, "int n", 2, 0);
  error.Push("HIGH", "str s", "text", 0);
  Long n = 0;
  for (const int level : {0, 2, 3}) EXPECT_FALSE(error.GetParm(&n, level, "n"));
  ASSERT_TRUE(error.GetParm(&n, 1, "n"));
  EXPECT_EQ(n, 1) << "the first of a name wins";
  EXPECT_EQ(error.FindLevel("LOW"), 1);
  EXPECT_EQ(error.FindLevel("NONE"), 0);
  EXPECT_EQ(error.GetLevelCode(3), nullptr);
}

TEST(ErrorStack, WhatDoesNotFitIsDropped) {
  const std::string longest(512 - 5 - 1 - 1, 'x');
  XError error("CODE", "str a", (longest + "x").c_str(), "int b", 1, 0);
  EXPECT_EQ(wordsOf(error, "<a> <b>"), "<a> 1") << "a text one byte too long is left out, the next is taken";
  XError full("CODE", "str a", longest.c_str(), "str b", "y", 0);
  EXPECT_EQ(wordsOf(full, "<a>", 600), longest) << "a text that just fits lies up to four bytes beyond the area";
  EXPECT_EQ(wordsOf(full, "<b>"), "<b>");
  EXPECT_EQ(full.GetTopLevel(), 1) << "which does no harm to what lies behind it";
}

TEST(ErrorStack, KeepsTheOldestTwentyLevelsAndNoParametersOnTheLast) {
  static std::string codes[22];
  XError error("L1");
  for (int i = 2; i <= 21; ++i) error.Push((codes[i] = "L" + std::to_string(i)).c_str(), "int n", i, 0);
  EXPECT_EQ(error.GetTopLevel(), 20);
  EXPECT_STREQ(error.GetLevelCode(20), "L20");
  EXPECT_STREQ(error.GetCode(), "L21") << "the code travels all the same";
  Long n = 0;
  EXPECT_TRUE(error.GetParm(&n, 19, "n"));
  EXPECT_FALSE(error.GetParm(&n, 20, "n"));
}

TEST(ErrorStack, TemplatesAreFilledFromTheLevel) {
  const XError error("CODE", "str x", "value", "int n", -42, "Char4 id", MakeChar4("abcd"), "double d", 0.5, 0);
  const std::string eighty(79, 'k');
  const std::string tooLong = "<" + eighty + "k>!";
  const struct {
    const char* text;
    const char* want;
    int size = 256;
  } rows[] = {
      {"a<<b", "a<b"},
      {"<missing>", "", 3},
      {tooLong.c_str(), "<OVERFLOW>!"},
      {"[<x>]", "[val", 5},
      {"<n:%05ld> <n:%x> <n:%hhd> <n:about %d%%>", "-0042 ffffffd6 -42 about -42%"},
      {"<id:%c/%c/%c/%c> <d:%.2f>", "a/b/c/d 0.50"},
      // A format that does not suit the type could read what is not there.
      {"<n:%s><x:%d><x:%s%s><n:%n><d:%*f><id:%s><n:%>", "-42valuevalue-420.5abcd-42"},
  };
  for (const auto& row : rows) EXPECT_EQ(wordsOf(error, row.text, row.size), row.want);
  EXPECT_EQ(refusalOf([&] { wordsOf(error, "<n:%600d>"); }), "count < dim(buf)");
}

TEST(ErrorStack, BlocksGoBackToTheAllocatorThatMadeThem) {
  ErrorStackObj::InterruptAllocator pool;
  CustomAllocator* const heap = ErrorStackObj::SetAllocator(&pool);
  {
    std::vector<XError> errors;
    for (int i = 0; i < 20; ++i) errors.emplace_back("CODE", "int n", i, 0);
    EXPECT_EQ(errors[19].GetTopLevel(), 1);
    const XError poor = errorRaisedBy([] { +XError("POOR", "int n", 1, 0); });
    EXPECT_STREQ(poor.GetCode(), "POOR") << "without a stack the code still travels";
    EXPECT_TRUE(poor.IsStackEmpty());
    EXPECT_EQ(wordsOf(poor), "");
    EXPECT_EQ(ErrorStackObj::SetAllocator(heap), &pool);
  }
  ErrorStackObj::SetAllocator(&pool);
  EXPECT_EQ(XError("CODE").GetTopLevel(), 1) << "all twenty came back, though the heap was in force by then";
  ErrorStackObj::SetAllocator(nullptr);
  EXPECT_TRUE(XError("CODE").IsStackEmpty());
  ErrorStackObj::SetAllocator(heap);
}
