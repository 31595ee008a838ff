#include "core/error/Guarded.h"

#include <pthread.h>

#include "core/threads/ThreadContext.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string logged;

}  // namespace

TEST(Guarded, HandlesWhateverIsRaisedAsTheCurrentError) {
  const char* const foreign = "Caught non-xraise exception!\n";
  const struct {
    const char* name;
    void (*body)();
    const char* words;
    const char* log;
  } rows[] = {
      {"nothing", [] {}, "not called", ""},
      {"own", [] { throw XError("CODE", "int n", 1, 0); }, "Exception: CODE, n:1", ""},
      {"standard", [] { throw std::runtime_error("fire"); }, "Exception: std::exception, what:fire", foreign},
      {"other", [] { throw 7; },
       "Exception: A serious error has occurred!\nIt is recommended that you restart the application immediately.",
       foreign},
  };
  xSetLogFunc([](const char* line) -> int { return logged += line, 0; });
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    logged.clear();
    char words[256] = "not called";
    guarded(row.body, [&](XError& caught) {
      ESExpandString(words, sizeof words, nullptr);
      EXPECT_EQ(ESGetCode(), caught.GetCode());
    });
    EXPECT_STREQ(words, row.words);
    EXPECT_EQ(logged, row.log);
    EXPECT_TRUE(ESStackEmpty());
  }
  xSetLogFunc(nullptr);
}

TEST(Guarded, NestedHandlersEachSeeTheirOwnError) {
  const auto inner = [] {
    Long n = 0;
    EXPECT_STREQ(ESGetLevelCode(ESFindLevel("INNER")), "INNER");
    EXPECT_TRUE(ESGetParm(&n, 1, "n"));
    EXPECT_EQ(n, 5);
  };
  const auto outer = [&] {
    guarded([] { +XError("INNER", "int n", 5, 0); }, inner);
    EXPECT_STREQ(ESGetCode(), "OUTER");
    const xContext_t saved = XNewContext();
    EXPECT_TRUE(ESStackEmpty());
    XSetContext(saved);
    EXPECT_STREQ(ESGetCode(), "OUTER");
    EXPECT_EQ(codeRaisedBy([] { guarded([] { +XError("A"); }, [](XError& e) { xreraise(e, "B"); }); }), "B");
    EXPECT_STREQ(ESGetCode(), "OUTER") << "also after a handler that raised";
    EXPECT_EQ(codeRaisedBy([] { always([] { +XError("FIRST"); }, [] { +XError("SECOND"); }); }), "FIRST");
  };
  guarded([] { +XError("OUTER"); }, outer);
  EXPECT_TRUE(ESStackEmpty());
}

TEST(Guarded, EndsOfThreadsAreNoErrors) {
  static bool handled, unwound;
  struct AtEnd {
    ~AtEnd() { unwound = true; }
  };
  const auto run = [](void*) -> void* {
    const AtEnd atEnd;
    guarded([] { pthread_exit(nullptr); }, [] { handled = true; });
    return nullptr;
  };
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, nullptr, run, nullptr), 0);
  pthread_join(thread, nullptr);
  EXPECT_FALSE(handled);
  EXPECT_TRUE(unwound);
}
