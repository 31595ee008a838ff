#include "core/threads/UIThreadSafeInstalls.h"

#include <atomic>

#include "core/error/OsPrintf.h"
#include "core/threads/ThreadContext.h"

namespace {

const char* truth(Boolean value) { return value ? "TRUE" : "FALSE"; }
const char* shown(const char* text) { return text ? text : "(null)"; }

// What threads other than the main one have from the start: nothing is shown, a trace line tells of it.

void ThreadSafeUImsg(const char* msg, short soundKind, short flashKind) {
  OsPrintf("ThreadSafeUImsg: msg(%s), soundKind(%d), flashKind(%d)\n", shown(msg), soundKind, flashKind);
}

short ThreadSafeUIdialog(const char* msg, const char* buttons, short defbut, UIicon_t, const char* filename,
                         Boolean doCleanup, const char* QAPid) {
  OsPrintf(
      "ThreadSafeUIdialog: msg(%s)\n"
      "\tbuttons(%s), defbut(%d)\n"
      "\tfilename(%s)\n"
      "\tQAPid(%s)\n"
      "\tdoCleanup(%s)\n",
      shown(msg), shown(buttons), defbut, shown(filename), shown(QAPid), truth(doCleanup));
  return defbut;
}

Boolean ThreadSafeWaitingUI(Boolean checkUserAbort, Long delay) {
  OsPrintf("ThreadSafeWaitingUI...checkUserAbort(%s), delay(%d)", truth(checkUserAbort), delay);
  return false;
}

Boolean ThreadSafeThermUI(const char* msg, Long newsofar, Long newtotal, Boolean checkUserAbort) {
  OsPrintf("ThreadSafeThermUI...msg(%s), newsofar(%d), newtotal(%d), checkUserAbort(%s)", shown(msg), newsofar,
           newtotal, truth(checkUserAbort));
  return false;
}

void ThreadSafeUIstatReset() { OsPrintf("ThreadSafeUIstatReset"); }
void ThreadSafeUIstatClose() { OsPrintf("ThreadSafeUIstatClose"); }

int ThreadSafePrintf(const char* format, KyVaList args) { return OsVPrintf(format, args); }

unsigned char ThreadSafeFatal(const char* msg, const char* file, int line) {
  OsPrintf("FATAL ERROR in thread: msg (%s), file (%s), line (%d)", shown(msg), shown(file), line);
  return false;
}

struct Defaults {
  UImsgProc message;
  UIdialogProc dialog;
  UIwaitingProc waiting;
  UIthermProc therm;
  UIstatProc reset;
  UIstatProc close;
  DbgPrintfProc print;
  FtlProc fatal;
};

constexpr Defaults kMainDefaults = {NullRoutines::NullUImsg,       NullRoutines::NullUIdialog,
                                    NullRoutines::NullWaitingUI,   NullRoutines::NullThermUI,
                                    NullRoutines::NullUIstatReset, NullRoutines::NullUIstatClose,
                                    NullRoutines::NullDrintfRtn,   NullRoutines::NullFatalErrHandler};

constexpr Defaults kNonMainDefaults = {ThreadSafeUImsg,   ThreadSafeUIdialog,    ThreadSafeWaitingUI,
                                       ThreadSafeThermUI, ThreadSafeUIstatReset, ThreadSafeUIstatClose,
                                       ThreadSafePrintf,  ThreadSafeFatal};

}  // namespace

/// One routine of each kind, each an atomic of its own, so that a get needs no lock beside an install.
class UIThreadSafeRoutinesContainer {
 public:
  explicit constexpr UIThreadSafeRoutinesContainer(const Defaults& defaults)
      : defaults(defaults),
        message(defaults.message),
        dialog(defaults.dialog),
        waiting(defaults.waiting),
        therm(defaults.therm),
        reset(defaults.reset),
        close(defaults.close),
        print(defaults.print),
        fatal(defaults.fatal) {}

  UIrtns progress() const { return UIrtns(waiting, therm, reset, close); }
  UIrtns exchangeProgress(const UIrtns& with) {
    return UIrtns(waiting.exchange(with.GetWaitingProc()), therm.exchange(with.GetThermProc()),
                  reset.exchange(with.GetUIResetProc()), close.exchange(with.GetUICloseProc()));
  }

  const Defaults& defaults;
  std::atomic<UImsgProc> message;
  std::atomic<UIdialogProc> dialog;
  std::atomic<UIwaitingProc> waiting;
  std::atomic<UIthermProc> therm;
  std::atomic<UIstatProc> reset;
  std::atomic<UIstatProc> close;
  std::atomic<DbgPrintfProc> print;
  std::atomic<FtlProc> fatal;
};

namespace {

enum { kMain, kNonMain };

constinit UIThreadSafeRoutinesContainer sMainHooks(kMainDefaults);
constinit UIThreadSafeRoutinesContainer sNonMainHooks(kNonMainDefaults);

using Hooks = UIThreadSafeRoutinesContainer;

template <class Routine>
Routine refuse(const char* install) {
  OsPrintf("WARNING: Attempt to %s for non-main thread!\n", install);
  return Routine();
}

/// A kind of hook: where it is kept, and what a refused install of it is called.
template <class Routine>
struct Kind {
  std::atomic<Routine> Hooks::*hook;
  Routine Defaults::*byDefault;
  const char* install;

  Routine exchange(Hooks* hooks, Routine with) const {
    return hooks ? (hooks->*hook).exchange(with) : refuse<Routine>(install);
  }
  Routine restore(Hooks* hooks) const { return exchange(hooks, hooks->defaults.*byDefault); }
  Routine of(const Hooks* hooks) const { return hooks->*hook; }
};

constexpr Kind<UImsgProc> kMessage = {&Hooks::message, &Defaults::message, "InstallUImsg"};
constexpr Kind<UIdialogProc> kDialog = {&Hooks::dialog, &Defaults::dialog, "InstallUIdialog"};
constexpr Kind<DbgPrintfProc> kPrint = {&Hooks::print, &Defaults::print, "dbgInstallPrintf"};
constexpr Kind<FtlProc> kFatal = {&Hooks::fatal, &Defaults::fatal, "FtlInstall"};

FtlProc noneIfNull(FtlProc handler) { return handler == NullRoutines::NullFatalErrHandler ? nullptr : handler; }

}  // namespace

UIThreadSafeRoutinesContainer* const UIThreadSafeInstalls::cContainerArray[2] = {&sMainHooks, &sNonMainHooks};

UIThreadSafeRoutinesContainer* UIThreadSafeInstalls::GetCallContainer() {
  const ThreadContext* const context = ThreadContext::Find();
  return cContainerArray[context && context->IsMainThread() ? kMain : kNonMain];
}

UIThreadSafeRoutinesContainer* UIThreadSafeInstalls::GetMainContainer() {
  UIThreadSafeRoutinesContainer* const own = GetCallContainer();
  return own == cContainerArray[kMain] ? own : nullptr;
}

UIThreadSafeRoutinesContainer* UIThreadSafeInstalls::GetNonMainContainer() { return cContainerArray[kNonMain]; }

UImsgProc UIThreadSafeInstalls::InstallUImsg(UImsgProc routine) {
  return kMessage.exchange(GetMainContainer(), routine);
}
UImsgProc UIThreadSafeInstalls::InstallNonMainUImsg(UImsgProc routine) {
  return kMessage.exchange(GetNonMainContainer(), routine);
}
UImsgProc UIThreadSafeInstalls::InstallDefaultUImsg() { return kMessage.restore(GetCallContainer()); }
UImsgProc UIThreadSafeInstalls::GetUImsg() { return kMessage.of(GetCallContainer()); }

UIdialogProc UIThreadSafeInstalls::InstallUIdialog(UIdialogProc routine) {
  return kDialog.exchange(GetMainContainer(), routine);
}
UIdialogProc UIThreadSafeInstalls::InstallNonMainUIdialog(UIdialogProc routine) {
  return kDialog.exchange(GetNonMainContainer(), routine);
}
UIdialogProc UIThreadSafeInstalls::InstallDefaultUIdialog() { return kDialog.restore(GetCallContainer()); }
UIdialogProc UIThreadSafeInstalls::GetUIdialog() { return kDialog.of(GetCallContainer()); }

DbgPrintfProc UIThreadSafeInstalls::dbgInstallPrintf(DbgPrintfProc routine) {
  return kPrint.exchange(GetMainContainer(), routine);
}
DbgPrintfProc UIThreadSafeInstalls::InstallNonMainPrintf(DbgPrintfProc routine) {
  return kPrint.exchange(GetNonMainContainer(), routine);
}
DbgPrintfProc UIThreadSafeInstalls::InstallDefaultPrintf() { return kPrint.restore(GetCallContainer()); }
DbgPrintfProc UIThreadSafeInstalls::dbgGetPrintf() { return kPrint.of(GetCallContainer()); }

FtlProc UIThreadSafeInstalls::FtlInstall(FtlProc handler) {
  return noneIfNull(kFatal.exchange(GetMainContainer(), handler));
}
FtlProc UIThreadSafeInstalls::InstallNonMainFtl(FtlProc handler) {
  return kFatal.exchange(GetNonMainContainer(), handler);
}
FtlProc UIThreadSafeInstalls::InstallDefaultFtl() { return noneIfNull(kFatal.restore(GetCallContainer())); }
FtlProc UIThreadSafeInstalls::GetFtlProc() { return kFatal.of(GetCallContainer()); }

UIrtns UIThreadSafeInstalls::InstallUIrtns(const UIrtns& routines) {
  auto* const hooks = GetMainContainer();
  return hooks ? hooks->exchangeProgress(routines) : refuse<UIrtns>("InstallUIrtns");
}

UIrtns UIThreadSafeInstalls::InstallNonMainUIrtns(const UIrtns& routines) {
  return GetNonMainContainer()->exchangeProgress(routines);
}

UIrtns UIThreadSafeInstalls::InstallDefaultUIrtns() {
  auto* const hooks = GetCallContainer();
  const Defaults& fresh = hooks->defaults;
  return hooks->exchangeProgress(UIrtns(fresh.waiting, fresh.therm, fresh.reset, fresh.close));
}

UIrtns UIThreadSafeInstalls::GetUIrtns() { return GetCallContainer()->progress(); }
