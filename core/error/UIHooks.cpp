#include "core/error/UIHooks.h"

#include "core/threads/UIThreadSafeInstalls.h"

namespace {

template <class Proc>
Proc orElse(Proc routine, Proc standIn) {
  return routine ? routine : standIn;
}

}  // namespace

Boolean DisplayWait(Boolean checkUserAbort, Long delay) {
  const auto waiting = UIThreadSafeInstalls::GetUIrtns().GetWaitingProc();
  return waiting ? waiting(checkUserAbort, delay) : false;
}

Boolean DisplayTherm(const char* msg, Long newsofar, Long newtotal, Boolean checkUserAbort) {
  const auto therm = UIThreadSafeInstalls::GetUIrtns().GetThermProc();
  return therm ? therm(msg, newsofar, newtotal, checkUserAbort) : false;
}

void UIstatReset() {
  if (const auto reset = UIThreadSafeInstalls::GetUIrtns().GetUIResetProc()) reset();
}

void UIstatClose() {
  if (const auto close = UIThreadSafeInstalls::GetUIrtns().GetUICloseProc()) close();
}

void UImsg(const char* msg, short soundKind, short flashKind) {
  if (const auto show = UIThreadSafeInstalls::GetUImsg()) show(msg, soundKind, flashKind);
}

short UIdialog(const char* msg, const char* buttons, short defbut, UIicon_t icon, const char* filename,
               Boolean doCleanup, const char* QAPid) {
  const auto ask = UIThreadSafeInstalls::GetUIdialog();
  return ask ? ask(msg, buttons, defbut, icon, filename, doCleanup, QAPid) : defbut;
}

UIrtns InstallUIrtns(const UIrtns& routines) { return UIThreadSafeInstalls::InstallUIrtns(routines); }

UIrtns InstallUIrtns(UIwaitingProc waiting, UIthermProc therm, UIstatProc reset, UIstatProc close) {
  return InstallUIrtns(UIrtns(orElse(waiting, NullRoutines::NullWaitingUI), orElse(therm, NullRoutines::NullThermUI),
                              orElse(reset, NullRoutines::NullUIstatReset),
                              orElse(close, NullRoutines::NullUIstatClose)));
}

UImsgProc InstallUImsg(UImsgProc routine) { return UIThreadSafeInstalls::InstallUImsg(routine); }

UIdialogProc InstallUIdialog(UIdialogProc routine) { return UIThreadSafeInstalls::InstallUIdialog(routine); }
