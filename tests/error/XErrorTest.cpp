#include "core/error/XError.h"

#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

TEST(XError, OnlyAnErrorWithACodeIsRaisedAndLogged) {
  static std::string logged;
  xSetLogFunc([](const char* line) -> int { return logged = line, 0; });
  XError error("LOW", "int n", 1, 0);
  static const std::string equal = "LOW";
  const std::pair<std::function<void()>, std::string> rows[] = {
      {[] { +XError(0); }, ""},
      {[] { +XError("CODE", "str s", "x", 0); }, "xraise Exception: CODE, s:x"},
      {[&] { +error; }, "xraise Exception: LOW, n:1"},
      {[&] { xraisexerror(error); }, "xpropagate Exception: LOW, n:1"},
      {[=]() mutable { xreraise(error, "HIGH", "int m", 2, 0); }, "xreraise Exception: HIGH, m:2"},
      {[=]() mutable {
         XError::FileLine{"reel.cpp", 12} + error;
       },
       "xraisefileline Exception: LOW, n:1, fname:reel.cpp, fline:12"},
      {[=]() mutable { xreraise(error, equal.c_str(), "int n", 2, 0); }, "xreraise Exception: LOW, n:1"},
      {[none = XError()]() mutable { xreraise(none, "CODE"); }, ""},
  };
  for (const auto& [raise, want] : rows) {
    logged.clear();
    const std::string words = wordsOf(errorRaisedBy(raise));
    EXPECT_EQ(logged.substr(std::min(logged.find(' '), logged.size())), want.empty() ? "" : " " + want);
    EXPECT_EQ(words, want.substr(std::min(want.find("Exception"), want.size())));
  }
  xSetLogFunc(nullptr);
}

TEST(XError, CopiesShareTheStackUntilOneChanges) {
  XError first("LOW", "int n", 1, 0);
  XError second = first;
  second.Push("HIGH", "str s", "x", 0);
  first.AppendParms("int m", 2, 0);
  EXPECT_EQ(wordsOf(first), "Exception: LOW, n:1, m:2");
  EXPECT_EQ(wordsOf(second), "Exception: HIGH, s:x");
  EXPECT_EQ(second.GetTopLevel(), 2);
  Long n = 0;
  EXPECT_TRUE(second.GetParm(&n, 1, "n"));
  EXPECT_FALSE(second.GetParm(&n, 1, "m")) << "the copy was made before";
}

TEST(XError, PushingAnErrorPutsItsLevelsOnTop) {
  XError low("LOW", "int n", 1, 0), high("MIDDLE", "str s", "x", 0), empty;
  high.Push("HIGH", "double d", 0.5, 0);
  low.Push(high);
  char text[8];
  EXPECT_TRUE(low.GetParmAsString(text, sizeof text, 2, "s"));
  EXPECT_EQ(low.GetTopLevel(), 3);
  low.Push(low);
  EXPECT_EQ(low.GetTopLevel(), 6);
  empty.Push(high);
  empty.Push(XError());
  for (const XError* error : {&low, &empty}) EXPECT_EQ(wordsOf(*error), "Exception: HIGH, d:0.5");
}

TEST(XError, ThreadsMayHoldAndDropOneStackAtOnce) {
  const XError shared("CODE", "int n", 1, 0);
  onThreads(4, [&shared](int thread) {
    for (int i = 0; i < 500; ++i) {
      XError own = shared;
      own.AppendParms("int t", thread, 0);
      const XError raised = errorRaisedBy([&] { xreraise(own, "HIGH", "int i", i, 0); });
      if (parm(raised, "i") != std::to_string(i)) ADD_FAILURE() << "another thread's value";
    }
  });
  EXPECT_EQ(wordsOf(shared), "Exception: CODE, n:1");
}
