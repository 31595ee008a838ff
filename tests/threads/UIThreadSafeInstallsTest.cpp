#include "core/threads/UIThreadSafeInstalls.h"

#include "core/error/Fatal.h"
#include "core/error/UIHooks.h"
#include "tests/support/Printed.h"
#include "tests/support/Test.h"

namespace {

using namespace ky::test;

std::string sShown;

void showMsg(const char* msg, short, short) { sShown += msg; }

TEST(UIThreadSafeInstalls, AWorkerNeitherCallsNorChangesTheMainThreadsHooks) {
  const UImsgProc before = InstallUImsg(showMsg);
  sShown.clear();
  const DebugOutput traces;
  std::thread([] {
    UImsg("hello", 1, 2);
    EXPECT_EQ(InstallUImsg(nullptr), nullptr);
  }).join();
  EXPECT_NE(traces.text().find("hello"), std::string::npos);
  EXPECT_EQ(sShown, "");
  EXPECT_EQ(InstallUImsg(before), showMsg);
}

TEST(UIHooks, ProgressGoesToTheInstalledSetAndNoneIsShownWithoutOne) {
  const auto wait = [](Boolean, Long delay) -> Boolean { return delay == 7; };
  const UIrtns before = InstallUIrtns(wait, nullptr, nullptr, [] { sShown = "closed"; });
  EXPECT_TRUE(DisplayWait(0, 7) && !DisplayTherm("reel", 1, 2, 0));
  UIstatReset();
  UIstatClose();
  EXPECT_EQ(sShown, "closed");
  EXPECT_EQ(InstallUIrtns(UIrtns()).GetWaitingProc(), +wait);
  EXPECT_FALSE(DisplayWait(0, 7));
  InstallUIrtns(before);
}

TEST(UIThreadSafeInstalls, WorkersHaveHooksOfTheirOwnAndCanGoBackToTheDefault) {
  const UImsgProc before = UIThreadSafeInstalls::InstallNonMainUImsg(showMsg);
  const FtlProc fatalBefore = UIThreadSafeInstalls::InstallNonMainFtl([](const char*, const char*, int) -> Boolean {
    FtlClearFatalError();
    return false;
  });
  sShown.clear();
  std::thread([&] {
    UImsg("own", 0, 0);
    EXPECT_FALSE(ky::check(false, "broken on a worker"));
    EXPECT_EQ(UIThreadSafeInstalls::InstallDefaultUImsg(), showMsg);
    EXPECT_EQ(UIThreadSafeInstalls::GetUImsg(), before);
  }).join();
  UIThreadSafeInstalls::InstallNonMainFtl(fatalBefore);
  EXPECT_EQ(sShown, "own");
}

TEST(UIThreadSafeInstallsDeath, AWorkersFatalWithoutAHandlerIsTracedAndEndsTheProcess) {
  EXPECT_DEATH(std::thread([] {
                 UIThreadSafeInstalls::InstallDefaultFtl();
                 __FtlAbortm("broken", "core/x", 7);
               }).join(),
               "FATAL ERROR in thread: msg \\(broken\\), file \\(core/x\\), line \\(7\\)");
}

}  // namespace
