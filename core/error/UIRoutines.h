// The routines that an application installs to show messages and progress, and defaults that do nothing.
#pragma once

#include "core/base/KyTypes.h"

/// Icon of a dialog, passed on to the application unread.
enum UIicon_t : int {};

typedef Boolean (*UIwaitingProc)(Boolean checkUserAbort, Long delay);
typedef Boolean (*UIthermProc)(const char* msg, Long newsofar, Long newtotal, Boolean checkUserAbort);
typedef void (*UIstatProc)();
typedef void (*UImsgProc)(const char* msg, short soundKind, short flashKind);
typedef short (*UIdialogProc)(const char* msg, const char* buttons, short defbut, UIicon_t icon, const char* filename,
                              Boolean doCleanup, const char* QAPid);
typedef int (*DbgPrintfProc)(const char* format, KyVaList args);
typedef unsigned char (*FtlProc)(const char* msg, const char* file, int line);

/// The four progress routines.
class KY_API UIrtns {
 public:
  UIrtns() = default;
  UIrtns(UIwaitingProc waiting, UIthermProc therm, UIstatProc reset, UIstatProc close)
      : waiting(waiting), therm(therm), reset(reset), close(close) {}
  UIrtns(const UIrtns&) = default;
  UIrtns& operator=(const UIrtns&) = default;
  virtual ~UIrtns();

  UIwaitingProc GetWaitingProc() const { return waiting; }
  UIthermProc GetThermProc() const { return therm; }
  UIstatProc GetUIResetProc() const { return reset; }
  UIstatProc GetUICloseProc() const { return close; }

 private:
  UIwaitingProc waiting = nullptr;
  UIthermProc therm = nullptr;
  UIstatProc reset = nullptr;
  UIstatProc close = nullptr;
};

/// What a fresh set of hooks holds.
class KY_API NullRoutines {
 public:
  static unsigned char NullFatalErrHandler(const char* msg, const char* file, int line);
  static int NullDrintfRtn(const char* format, KyVaList args);
  static Boolean NullWaitingUI(Boolean checkUserAbort, Long delay);
  static Boolean NullThermUI(const char* msg, Long newsofar, Long newtotal, Boolean checkUserAbort);
  static void NullUIstatReset();
  static void NullUIstatClose();
  static void NullUImsg(const char* msg, short soundKind, short flashKind);
  static short NullUIdialog(const char* msg, const char* buttons, short defbut, UIicon_t icon, const char* filename,
                            Boolean doCleanup, const char* QAPid);
};
