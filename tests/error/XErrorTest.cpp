#include "core/error/XError.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/Threads.h"
#include "tests/support/Raised.h"

using namespace ky;
using namespace ky::test;

namespace {

std::vector<std::string> logged;

int keepLine(const char* line) {
  logged.emplace_back(line);
  return 0;
}

/// The raise log's lines while `body` runs.
template <class Body>
std::vector<std::string> linesOf(Body&& body) {
  logged.clear();
  xSetLogFunc(keepLine);
  errorRaisedBy(body);
  xSetLogFunc(nullptr);
  return logged;
}

std::string line(const char* rest) {
  char text[512];
  std::snprintf(text, sizeof text, "[%x] %s", static_cast<unsigned>(platform::currentThreadId()), rest);
  return text;
}

}  // namespace

TEST(XError, OnlyAnErrorWithACodeIsRaisedButAnyIsPassedOn) {
  EXPECT_EQ(codeRaisedBy([] { +XError(0); }), "");
  EXPECT_EQ(codeRaisedBy([] { +XError(); }), "");
  EXPECT_EQ(codeRaisedBy([] { +XError("CODE"); }), "CODE");
  const XError named("NAMED");
  EXPECT_EQ(codeRaisedBy([&] { +named; }), "NAMED");
  EXPECT_THROW(xraisexerror(XError()), XError);
}

TEST(XError, EachRaiseLeavesALineInTheLog) {
  XError error("LOW", "int n", 1, 0);
  EXPECT_EQ(linesOf([] { +XError("CODE", "str s", "x", 0); }), std::vector{line("xraise Exception: CODE, s:x")});
  EXPECT_EQ(linesOf([&] { +error; }), std::vector{line("xraise Exception: LOW, n:1")});
  EXPECT_EQ(linesOf([&] { xraisexerror(error); }), std::vector{line("xpropagate Exception: LOW, n:1")});
  EXPECT_EQ(linesOf([&] { xreraise(error, "HIGH", "int m", 2, 0); }),
            std::vector{line("xreraise Exception: HIGH, m:2")});
  EXPECT_EQ(linesOf([] { +XError(0); }), std::vector<std::string>{});
}

TEST(XError, ARaiseWithPositionTellsFileAndLine) {
  XError error("CODE");
  const auto lines = linesOf([&] { XError::FileLine{"reel.cpp", 12} + error; });
  EXPECT_EQ(lines, std::vector{line("xraisefileline Exception: CODE, fname:reel.cpp, fline:12")});
  EXPECT_STREQ(error.GetFile(), "reel.cpp");
  EXPECT_EQ(error.GetLine(), 12);
  EXPECT_EQ(errorRaisedBy([&] { +XError(error); }).GetLine(), 12) << "the place travels";
  EXPECT_EQ(errorRaisedBy([&] { xreraise(error, "HIGH"); }).GetLine(), 12);
}

TEST(XError, ReraisingTheSameCodeAddsNothing) {
  XError error("CODE", "int n", 1, 0);
  const std::string equal = "CODE";
  const XError raised = errorRaisedBy([&] { xreraise(error, equal.c_str(), "int n", 2, 0); });
  EXPECT_EQ(raised.GetTopLevel(), 1);
  EXPECT_EQ(parm(raised, "n"), "1");
  EXPECT_EQ(raised.GetCode(), equal.c_str()) << "the code field is set all the same";
  XError none;
  EXPECT_EQ(codeRaisedBy([&] {
              xreraise(none, "CODE");
              xreraise(error, nullptr);
            }),
            "");
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
  XError low("LOW", "int n", 1, 0);
  XError high("MIDDLE", "str s", "x", 0);
  high.Push("HIGH", "double d", 0.5, 0);
  low.Push(high);
  EXPECT_EQ(low.GetTopLevel(), 3);
  EXPECT_EQ(wordsOf(low), "Exception: HIGH, d:0.5");
  char text[8];
  EXPECT_TRUE(low.GetParmAsString(text, sizeof text, 2, "s"));
  low.Push(low);
  EXPECT_EQ(low.GetTopLevel(), 6);
  XError empty;
  empty.Push(high);
  EXPECT_EQ(wordsOf(empty), "Exception: HIGH, d:0.5");
  empty.Push(XError());
  EXPECT_STREQ(empty.GetCode(), "HIGH");
  XError bare;
  bare.Push("CODE", "int n", 1, 0);
  EXPECT_STREQ(bare.GetCode(), "CODE");
  EXPECT_TRUE(bare.IsStackEmpty()) << "without a stack only the code changes";
}

TEST(XError, ThreadsMayHoldAndDropOneStackAtOnce) {
  const XError shared("CODE", "int n", 1, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&shared, t] {
      for (int i = 0; i < 500; ++i) {
        XError own = shared;
        own.AppendParms("int t", t, 0);
        const XError raised = errorRaisedBy([&] { xreraise(own, "HIGH", "int i", i, 0); });
        if (parm(raised, "i") != std::to_string(i)) ADD_FAILURE() << "another thread's value";
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wordsOf(shared), "Exception: CODE, n:1");
}
