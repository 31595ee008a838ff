#include "core/error/XError.h"

#include "platform/Threads.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string logged;

/// The raise log's line while `body` runs, without the thread that it tells first.
template <class Body>
std::string lineOf(Body&& body) {
  logged.clear();
  xSetLogFunc([](const char* line) -> int { return logged += line, 0; });
  errorRaisedBy(body);
  xSetLogFunc(nullptr);
  char thread[32];
  std::snprintf(thread, sizeof thread, "[%x] ", static_cast<unsigned>(platform::currentThreadId()));
  return logged.starts_with(thread) ? logged.substr(std::strlen(thread)) : logged;
}

}  // namespace

TEST(XError, OnlyAnErrorWithACodeIsRaisedAndLogged) {
  XError error("LOW", "int n", 1, 0);
  static const std::string equal = "LOW";
  const struct {
    std::function<void()> raise;
    const char* code;
    const char* line;
  } rows[] = {
      {[] { +XError(0); }, "", ""},
      {[] { +XError(); }, "", ""},
      {[] { +XError("CODE", "str s", "x", 0); }, "CODE", "xraise Exception: CODE, s:x"},
      {[&] { +error; }, "LOW", "xraise Exception: LOW, n:1"},
      {[&] { xraisexerror(error); }, "LOW", "xpropagate Exception: LOW, n:1"},
      {[=]() mutable { xreraise(error, "HIGH", "int m", 2, 0); }, "HIGH", "xreraise Exception: HIGH, m:2"},
      {[=]() mutable {
         XError::FileLine{"reel.cpp", 12} + error;
       },
       "LOW", "xraisefileline Exception: LOW, n:1, fname:reel.cpp, fline:12"},
      {[=]() mutable { xreraise(error, equal.c_str(), "int n", 2, 0); }, "LOW", "xreraise Exception: LOW, n:1"},
      {[=]() mutable { xreraise(error, nullptr); }, "", ""},
      {[none = XError()]() mutable { xreraise(none, "CODE"); }, "", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(lineOf(row.raise), row.line);
    EXPECT_EQ(codeRaisedBy(row.raise), row.code);
  }
  EXPECT_THROW(xraisexerror(XError()), XError) << "what was caught is passed on, whatever it is";
}

TEST(XError, TheFirstPlaceTravels) {
  XError error("CODE");
  const XError raised = errorRaisedBy([&] { XError::FileLine{"reel.cpp", 12} + error; });
  EXPECT_STREQ(error.GetFile(), "reel.cpp");
  EXPECT_EQ(error.GetLine(), 12);
  EXPECT_EQ(errorRaisedBy([&] { +XError(error); }).GetLine(), 12);
  EXPECT_EQ(errorRaisedBy([&] { xreraise(error, "HIGH"); }).GetLine(), 12);
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
  XError bare;
  bare.Push("CODE", "int n", 1, 0);
  EXPECT_STREQ(bare.GetCode(), "CODE");
  EXPECT_TRUE(bare.IsStackEmpty()) << "without a stack only the code changes";
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
