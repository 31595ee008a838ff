#include "core/error/Fatal.h"

#include "tests/support/Bare.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string sLogged;
int sCalls = 0;

void collectLog(const char* tag, const char* text) { sLogged += std::string(tag) + ": " + text + "\n"; }

/// A handler and a log of the test's own, for a scope.
class Handler {
 public:
  explicit Handler(FtlProc handler) : before(FtlInstall(handler)), logBefore(ky::setFatalLog(collectLog)) {
    sLogged.clear();
    sCalls = 0;
  }
  ~Handler() {
    ky::setFatalLog(logBefore);
    FtlInstall(before);
  }

 private:
  FtlProc before;
  ky::FatalLog logBefore;
};

unsigned char goOn(const char*, const char*, int) {
  ++sCalls;
  FtlClearFatalError();
  return false;
}

unsigned char clearAndAbort(const char*, const char*, int) {
  FtlClearFatalError();
  return true;
}

unsigned char leaveSet(const char*, const char*, int) { return false; }

unsigned char failAgain(const char*, const char*, int) {
  ky::fatal("second");
  return false;
}

TEST(Fatal, IsLoggedBeforeTheHandlerRunsAndNamesThePlace) {
  const Handler handler(raiseFatal);
  const XError error = errorRaisedBy([] { ky::check(false, "p != NULL", "/home/x/core/lists/AArray.cpp", 12); });
  EXPECT_EQ(sLogged, "FatalAbort: Assertion failed: p != NULL, file core/lists/AArray, line 12\n");
  EXPECT_STREQ(error.GetCode(), "FATAL_ERROR");
  EXPECT_EQ(parm(error, "msg"), "Assertion failed: p != NULL");
  EXPECT_EQ(parm(error, "file"), "core/lists/AArray");
  EXPECT_EQ(parm(error, "line"), "12");
}

TEST(Fatal, ALongConditionIsCutAndEndsInDots) {
  const std::string longest(237, 'c');
  EXPECT_EQ(checkFailedBy([&] { ky::check(false, longest.c_str()); }), longest);
  const std::string cut = checkFailedBy([] { ky::check(false, std::string(300, 'c').c_str()); });
  EXPECT_EQ(cut, std::string(234, 'c') + "...");
}

TEST(Fatal, AHandlerThatClearsLetsTheProgramGoOnEachTime) {
  const Handler handler(goOn);
  EXPECT_FALSE(ky::check(false, "first"));
  EXPECT_FALSE(ky::check(false, "second"));
  EXPECT_EQ(sCalls, 2);
  EXPECT_TRUE(ky::check(true, "third"));
  EXPECT_EQ(sCalls, 2);
}

TEST(Fatal, TheCallerOfTheFatalPathLearnsWhetherToAbort) {
  const Handler handler(clearAndAbort);
  EXPECT_TRUE(__FtlAbortm("broken", "core/x", 1));
  EXPECT_DEATH(ky::check(false, "broken"), "");
  EXPECT_DEATH(ky::fatal("broken"), "");
}

TEST(FatalDeath, EndsTheProcessUnlessTheHandlerClears) {
  const struct {
    const char* name;
    FtlProc handler;
  } cases[] = {{"state left set", leaveSet}, {"fatal inside a fatal", failAgain}, {"no handler", nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_DEATH(
        {
          FtlInstall(c.handler);
          ky::fatal("broken");
        },
        "FatalAbort: broken, file .*FatalTest, line [0-9]+\n(.*\n)*.*Shutdown: Shutdown in __FtlAbortm");
  }
}

BARE_TEST(FatalDeath, BeforeTheFirstInstallThereIsNoHandler) {
  EXPECT_DEATH(ky::fatal("early"), "Shutdown in __FtlAbortm");
  EXPECT_EQ(FtlInstall(goOn), nullptr);
  EXPECT_EQ(FtlInstall(nullptr), goOn);
}

BARE_TEST(FatalDeath, TheConsoleHandlerShowsTheFatalAndWaitsForALine) {
  ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);
  testing::internal::CaptureStdout();
  EXPECT_FALSE(FtlErrProc("broken", "core/x", 7));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "**********\n"
            "*** FATAL ERROR: \"broken\", file=\"core/x\", line=7\n"
            "*** hit <return> to exit\n"
            "**********\n");
}

TEST(SourcePath, StartsAtTheLastSourceFolderAndHasNoExtension) {
  const struct {
    const char* file;
    const char* path;
  } cases[] = {
      {"/home/x/core/lists/AArray.cpp", "core/lists/AArray"},
      {"/apps/core/old/core/mem/KyHandles.h", "core/mem/KyHandles"},
      {"/core/apps/reel/Main.cpp", "apps/reel/Main"},
      {"/x/score/Song.cpp", "/x/score/Song"},
      {"/x.y/Makefile", "/x.y/Makefile"},
  };
  for (const auto& c : cases) EXPECT_STREQ(ky::sourcePath(c.file), c.path);
  EXPECT_EQ(ky::sourcePath("a/core/x.h"), ky::sourcePath("b/core/x.cpp"));
}

}  // namespace
