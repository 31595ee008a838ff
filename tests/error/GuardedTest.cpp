#include "core/error/Guarded.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <stdexcept>
#include <string>

#include "core/threads/ThreadContext.h"
#include "tests/support/Raised.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string logged;

int keepLog(const char* line) {
  logged += line;
  return 0;
}

std::string currentWords() {
  char text[256];
  ESExpandString(text, sizeof text, nullptr);
  return text;
}

}  // namespace

TEST(Guarded, HandlesWhateverIsRaisedAsTheCurrentError) {
  const struct {
    const char* name;
    void (*body)();
    const char* words;
    const char* log;
  } rows[] = {
      {"nothing", [] {}, "not called", ""},
      {"own", [] { throw XError("CODE", "int n", 1, 0); }, "Exception: CODE, n:1", ""},
      {"standard", [] { throw std::runtime_error("disk on fire"); }, "Exception: std::exception, what:disk on fire",
       "Caught non-xraise exception!\n"},
      {"other", [] { throw 7; },
       "Exception: A serious error has occurred!\nIt is recommended that you restart the application immediately.",
       "Caught non-xraise exception!\n"},
  };
  xSetLogFunc(keepLog);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    logged.clear();
    std::string words = "not called";
    guarded(row.body, [&](XError& caught) {
      words = currentWords();
      EXPECT_EQ(ESGetCode(), caught.GetCode());
    });
    EXPECT_EQ(words, row.words);
    EXPECT_EQ(logged, row.log);
    EXPECT_TRUE(ESStackEmpty());
  }
  xSetLogFunc(nullptr);
}

TEST(Guarded, NestedHandlersEachSeeTheirOwnError) {
  guarded([] { +XError("OUTER"); },
          [] {
            guarded([] { +XError("INNER", "int n", 5, 0); },
                    [] {
                      Long n = 0;
                      EXPECT_STREQ(ESGetLevelCode(ESFindLevel("INNER")), "INNER");
                      EXPECT_TRUE(ESGetParm(&n, 1, "n"));
                      EXPECT_EQ(n, 5);
                    });
            EXPECT_STREQ(ESGetCode(), "OUTER");
            const xContext_t saved = XNewContext();
            EXPECT_TRUE(ESStackEmpty());
            XSetContext(saved);
            EXPECT_STREQ(ESGetCode(), "OUTER");
            EXPECT_EQ(codeRaisedBy([] { guarded([] { +XError("A"); }, [](XError& e) { xreraise(e, "B"); }); }), "B");
            EXPECT_STREQ(ESGetCode(), "OUTER") << "also after a handler that raised";
          });
  EXPECT_TRUE(ESStackEmpty());
}

TEST(Guarded, EndsOfThreadsAreNoErrors) {
  struct Seen {
    bool handled = false;
    bool unwound = false;
  } seen;
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    auto& told = *static_cast<Seen*>(argument);
    struct AtEnd {
      bool& flag;
      ~AtEnd() { flag = true; }
    } atEnd{told.unwound};
    guarded([] { pthread_exit(nullptr); }, [&] { told.handled = true; });
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, nullptr, run, &seen), 0);
  pthread_join(thread, nullptr);
  EXPECT_FALSE(seen.handled);
  EXPECT_TRUE(seen.unwound);
}

TEST(Guarded, FormsCleanUpAsTheyPromise) {
  std::string steps;
  EXPECT_EQ(codeRaisedBy([&] { guardedReraise([] { +XError("A"); }, [&] { steps += ESGetCode(); }); }), "A");
  EXPECT_EQ(codeRaisedBy([&] { always([] { +XError("B"); }, [&] { steps += "b"; }); }), "B");
  always([&] { steps += "c"; }, [&] { steps += "d"; });
  guardedReraise([&] { steps += "e"; }, [&] { steps += "not reached"; });
  EXPECT_FALSE(succeeds([] { +XError("F"); }));
  EXPECT_TRUE(succeeds([&] { steps += "f"; }));
  EXPECT_EQ(steps, "Abcdef");
  const XError high = errorRaisedBy([] {
    reraisedAs(
        "HIGH", [] { +XError("LOW"); }, "int n", 3, 0);
  });
  EXPECT_STREQ(high.GetLevelCode(1), "LOW");
  EXPECT_EQ(parm(high, "n"), "3");
}
