#include "core/threads/UIThreadSafeInstalls.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "core/error/Fatal.h"
#include "core/error/UIHooks.h"
#include "tests/support/Printed.h"

namespace {

using namespace ky::test;

std::string sShown;

void showMsg(const char* msg, short, short) { sShown += msg; }

template <class Body>
std::string tracedOnWorker(Body body) {
  const DebugOutput traces;
  std::thread(body).join();
  const std::string text = traces.text();
  return text.substr(std::min(text.size(), text.find('\t') + 1));
}

TEST(UIThreadSafeInstalls, AWorkerTracesInsteadOfCallingTheMainThreadsHooks) {
  const UImsgProc before = InstallUImsg(showMsg);
  sShown.clear();
  EXPECT_EQ(tracedOnWorker([] { UImsg("hello", 1, 2); }), "ThreadSafeUImsg: msg(hello), soundKind(1), flashKind(2)\n");
  EXPECT_EQ(tracedOnWorker([] { EXPECT_EQ(InstallUImsg(nullptr), nullptr); }),
            "WARNING: Attempt to InstallUImsg for non-main thread!\n");
  EXPECT_EQ(sShown, "");
  EXPECT_EQ(InstallUImsg(before), showMsg);
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
