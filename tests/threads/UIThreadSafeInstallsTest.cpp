#include "core/threads/UIThreadSafeInstalls.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "core/error/Fatal.h"
#include "core/error/Printing.h"
#include "core/error/UIHooks.h"
#include "tests/support/Bare.h"
#include "tests/support/Printed.h"

namespace {

using namespace ky::test;

std::string sShown;

void showMsg(const char* msg, short, short) { sShown += msg; }
short ask(const char* msg, const char*, short, UIicon_t, const char*, Boolean, const char*) {
  sShown += msg;
  return 3;
}
Boolean wait(Boolean, Long delay) { return delay > 5; }
Boolean therm(const char*, Long newsofar, Long newtotal, Boolean) { return newsofar == newtotal; }
void reset() { sShown += "reset "; }
void close() { sShown += "close "; }
int print(const char* format, KyVaList) {
  sShown += format;
  return 0;
}

template <class Body>
std::string tracedOnWorker(Body body) {
  const DebugOutput traces;
  std::thread(body).join();
  const std::string text = traces.text();
  return text.substr(std::min(text.size(), text.find('\t') + 1));
}

short dialog(const char* msg) { return UIdialog(msg, "OK;Cancel", 2, UIicon_t{1}, "a.txt", true, "Q7"); }

TEST(UIHooks, CallWhatTheMainThreadInstalled) {
  const UImsgProc msgBefore = InstallUImsg(showMsg);
  const UIdialogProc dialogBefore = InstallUIdialog(ask);
  const UIrtns progressBefore = InstallUIrtns(wait, therm, reset, close);
  sShown.clear();
  UImsg("saved ", 0, 0);
  EXPECT_EQ(dialog("sure? "), 3);
  EXPECT_TRUE(DisplayWait(true, 6));
  EXPECT_FALSE(DisplayWait(true, 5));
  EXPECT_TRUE(DisplayTherm("load", 9, 9, true));
  UIstatReset();
  UIstatClose();
  EXPECT_EQ(sShown, "saved sure? reset close ");

  EXPECT_EQ(InstallUIrtns(nullptr, nullptr, nullptr, nullptr).GetThermProc(), therm);
  EXPECT_FALSE(DisplayWait(true, 6) || DisplayTherm("load", 9, 9, true));
  UIstatReset();
  UIstatClose();
  InstallUIrtns(progressBefore);
  EXPECT_EQ(InstallUIdialog(dialogBefore), ask);
  EXPECT_EQ(InstallUImsg(msgBefore), showMsg);
}

TEST(UIThreadSafeInstalls, AWorkerTracesInsteadOfCallingTheMainThreadsHooks) {
  const UImsgProc before = InstallUImsg(showMsg);
  sShown.clear();
  EXPECT_EQ(tracedOnWorker([] { UImsg("hello", 1, 2); }), "ThreadSafeUImsg: msg(hello), soundKind(1), flashKind(2)\n");
  EXPECT_EQ(sShown, "");
  InstallUImsg(before);
  EXPECT_EQ(tracedOnWorker([] { EXPECT_EQ(dialog("sure?"), 2); }),
            "ThreadSafeUIdialog: msg(sure?)\n\tbuttons(OK;Cancel), defbut(2)\n\tfilename(a.txt)\n\tQAPid(Q7)\n"
            "\tdoCleanup(TRUE)\n");
  EXPECT_EQ(tracedOnWorker([] { EXPECT_FALSE(DisplayTherm(nullptr, 1, 4, false)); }),
            "ThreadSafeThermUI...msg((null)), newsofar(1), newtotal(4), checkUserAbort(FALSE)\n");
  EXPECT_EQ(tracedOnWorker([] { EXPECT_FALSE(DisplayWait(true, 9)); }),
            "ThreadSafeWaitingUI...checkUserAbort(TRUE), delay(9)\n");
}

TEST(UIThreadSafeInstalls, TheMainThreadsHooksAreClosedToWorkers) {
  const struct {
    const char* name;
    void (*install)();
  } cases[] = {
      {"InstallUImsg", [] { EXPECT_EQ(InstallUImsg(showMsg), nullptr); }},
      {"InstallUIdialog", [] { EXPECT_EQ(InstallUIdialog(ask), nullptr); }},
      {"InstallUIrtns", [] { EXPECT_EQ(InstallUIrtns(wait, therm, reset, close).GetThermProc(), nullptr); }},
      {"dbgInstallPrintf", [] { EXPECT_EQ(dbgInstallPrintf(print), nullptr); }},
      {"FtlInstall", [] { EXPECT_EQ(FtlInstall(raiseFatal), nullptr); }},
  };
  for (const auto& c : cases) {
    const FtlProc fatal = UIThreadSafeInstalls::GetFtlProc();
    EXPECT_EQ(tracedOnWorker(c.install), std::string("WARNING: Attempt to ") + c.name + " for non-main thread!\n");
    EXPECT_EQ(UIThreadSafeInstalls::GetFtlProc(), fatal);
    EXPECT_NE(UIThreadSafeInstalls::GetUImsg(), showMsg);
  }
}

TEST(UIThreadSafeInstalls, WorkersHaveHooksOfTheirOwnAndCanGoBackToTheDefault) {
  const UImsgProc msgBefore = UIThreadSafeInstalls::InstallNonMainUImsg(showMsg);
  const UIdialogProc dialogBefore = UIThreadSafeInstalls::InstallNonMainUIdialog(ask);
  const UIrtns progressBefore = UIThreadSafeInstalls::InstallNonMainUIrtns(UIrtns(wait, therm, reset, close));
  const DbgPrintfProc printBefore = UIThreadSafeInstalls::InstallNonMainPrintf(print);
  const FtlProc fatalBefore = UIThreadSafeInstalls::InstallNonMainFtl([](const char*, const char*, int) -> Boolean {
    FtlClearFatalError();
    return false;
  });
  sShown.clear();
  std::thread([&] {
    UImsg("msg ", 0, 0);
    EXPECT_EQ(dialog("ask "), 3);
    EXPECT_TRUE(DisplayWait(true, 6));
    dprintf("print");
    EXPECT_FALSE(ky::check(false, "broken on a worker"));
    EXPECT_EQ(UIThreadSafeInstalls::InstallDefaultUImsg(), showMsg);
    EXPECT_EQ(UIThreadSafeInstalls::InstallDefaultUIdialog(), ask);
    EXPECT_EQ(UIThreadSafeInstalls::InstallDefaultUIrtns().GetWaitingProc(), wait);
    EXPECT_EQ(UIThreadSafeInstalls::InstallDefaultPrintf(), print);
    EXPECT_EQ(UIThreadSafeInstalls::GetUImsg(), msgBefore);
    EXPECT_EQ(UIThreadSafeInstalls::GetUIdialog(), dialogBefore);
    EXPECT_EQ(UIThreadSafeInstalls::GetUIrtns().GetWaitingProc(), progressBefore.GetWaitingProc());
    EXPECT_EQ(UIThreadSafeInstalls::dbgGetPrintf(), printBefore);
  }).join();
  UIThreadSafeInstalls::InstallNonMainFtl(fatalBefore);
  EXPECT_EQ(sShown, "msg ask print");
}

TEST(UIThreadSafeInstallsDeath, AWorkersFatalWithoutAHandlerIsTracedAndEndsTheProcess) {
  EXPECT_DEATH(std::thread([] {
                 UIThreadSafeInstalls::InstallDefaultFtl();
                 __FtlAbortm("broken", "core/x", 7);
               }).join(),
               "FATAL ERROR in thread: msg \\(broken\\), file \\(core/x\\), line \\(7\\)");
}

}  // namespace
