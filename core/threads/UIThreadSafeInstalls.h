// The application's hooks: one set for the main thread, one for all others.
#pragma once

#include "core/error/UIRoutines.h"

/// Each install returns the routine that it replaced. The main thread's hooks are set from the main thread only: any
/// other caller gets a warning on the debug output and null. A default install puts back the default for the calling
/// thread's kind: routines that do nothing on the main thread, and ones that write a trace line on the others.
///
/// Threads:  a get is lock-free and may run beside an install; installs are meant for start-up.
class KY_API UIThreadSafeInstalls {
 public:
  static UImsgProc InstallUImsg(UImsgProc routine);
  static UImsgProc InstallNonMainUImsg(UImsgProc routine);
  static UImsgProc InstallDefaultUImsg();
  static UImsgProc GetUImsg();

  static UIdialogProc InstallUIdialog(UIdialogProc routine);
  static UIdialogProc InstallNonMainUIdialog(UIdialogProc routine);
  static UIdialogProc InstallDefaultUIdialog();
  static UIdialogProc GetUIdialog();

  static UIrtns InstallUIrtns(const UIrtns& routines);
  static UIrtns InstallNonMainUIrtns(const UIrtns& routines);
  static UIrtns InstallDefaultUIrtns();
  static UIrtns GetUIrtns();

  static DbgPrintfProc dbgInstallPrintf(DbgPrintfProc routine);
  static DbgPrintfProc InstallNonMainPrintf(DbgPrintfProc routine);
  static DbgPrintfProc InstallDefaultPrintf();
  static DbgPrintfProc dbgGetPrintf();

  /// Returns:  null in place of the handler that does nothing, which a caller takes for none.
  static FtlProc FtlInstall(FtlProc handler);
  static FtlProc InstallNonMainFtl(FtlProc handler);
  static FtlProc InstallDefaultFtl();
  static FtlProc GetFtlProc();

 private:
  static class UIThreadSafeRoutinesContainer* GetMainContainer();
  static class UIThreadSafeRoutinesContainer* GetNonMainContainer();
  static class UIThreadSafeRoutinesContainer* GetCallContainer();

  static class UIThreadSafeRoutinesContainer* const cContainerArray[2];
};
