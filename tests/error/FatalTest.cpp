#include "core/error/Fatal.h"

#include "tests/support/Test.h"

using namespace ky::test;

namespace {

std::string sLogged;
int sCalls = 0;

unsigned char goOn(const char*, const char*, int) {
  ++sCalls;
  FtlClearFatalError();
  return false;
}
unsigned char clearAndAbort(const char*, const char*, int) { return FtlClearFatalError(), true; }
unsigned char leaveSet(const char*, const char*, int) { return false; }
unsigned char failAgain(const char*, const char*, int) { return ky::fatal("second"), false; }

}  // namespace

TEST(Fatal, IsLoggedBeforeTheHandlerRunsAndNamesThePlace) {
  const ky::FatalLog before =
      ky::setFatalLog([](const char* tag, const char* text) { sLogged += std::string(tag) + ": " + text + "\n"; });
  const XError error = errorRaisedBy([] { ky::check(false, "p != NULL", "/home/x/core/lists/AArray.cpp", 12); });
  ky::setFatalLog(before);
  EXPECT_EQ(sLogged, "FatalAbort: Assertion failed: p != NULL, file core/lists/AArray, line 12\n");
  EXPECT_EQ(wordsOf(error), "Exception: FATAL_ERROR, msg:Assertion failed: p != NULL, file:core/lists/AArray, line:12");
}

TEST(Fatal, ALongConditionIsCutAndEndsInDots) {
  const std::string longest(237, 'c');
  EXPECT_EQ(refusalOf([&] { ky::check(false, longest.c_str()); }), longest);
  EXPECT_EQ(refusalOf([&] { ky::check(false, (longest + "c").c_str()); }), longest.substr(3) + "...");
}

TEST(Fatal, ItsHandlerDecidesWhetherTheProgramGoesOn) {
  const FtlProc before = FtlInstall(goOn);
  EXPECT_FALSE(ky::check(false, "first"));
  EXPECT_FALSE(ky::check(false, "second"));
  EXPECT_TRUE(ky::check(true, "third"));
  EXPECT_EQ(sCalls, 2);
  FtlInstall(clearAndAbort);
  EXPECT_TRUE(__FtlAbortm("broken", "core/x", 1));
  EXPECT_DEATH(ky::check(false, "broken"), "");
  EXPECT_DEATH(ky::fatal("broken"), "");
  for (const FtlProc handler : {FtlProc{leaveSet}, FtlProc{failAgain}, FtlProc{nullptr}}) {
    FtlInstall(handler);
    EXPECT_DEATH(ky::fatal("broken"),
                 "FatalAbort: broken, file .*FatalTest, line [0-9]+\n(.*\n)*.*Shutdown: Shutdown in __FtlAbortm");
  }
  FtlInstall(before);
}

TEST(SourcePath, StartsAtTheLastSourceFolderAndHasNoExtension) {
  EXPECT_STREQ(ky::sourcePath("/apps/core/old/core/mem/KyHandles.h"), "core/mem/KyHandles");
  EXPECT_STREQ(ky::sourcePath("/x/score/Song.cpp"), "/x/score/Song");
  EXPECT_STREQ(ky::sourcePath("/x.y/Makefile"), "/x.y/Makefile");
  EXPECT_EQ(ky::sourcePath("a/core/x.h"), ky::sourcePath("b/core/x.cpp"));
}
