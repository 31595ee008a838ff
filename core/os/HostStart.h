// The one start-up routine of a host program.
#pragma once

#include "core/error/Fatal.h"
#include "core/error/UIRoutines.h"
#include "core/os/VersionInfo.h"

class ADirLocatorManufacturer;
class AFileLocatorManufacturer;

/// What a host hands to the library as it starts; what it leaves alone is as a console program wants it.
struct KyHostSettings {
  DbgPrintfProc debugPrintf = nullptr;  ///< null prints on the standard output
  FtlProc fatalHandler = FtlErrProc;
  ky::FatalLog fatalLog = nullptr;                   ///< null logs on the debug output
  int (*raiseLog)(const char* line) = nullptr;       ///< a line for each raise; null for none
  const ky::ProgramVersion* version = nullptr;       ///< borrowed for good; null tells nothing
  AFileLocatorManufacturer* fileLocators = nullptr;  ///< borrowed for good; null makes this host's own, as the next
  ADirLocatorManufacturer* dirLocators = nullptr;
  UIrtns uiRoutines;  ///< the main thread's; progress on others goes by UIThreadSafeInstalls, else into trace lines
  UImsgProc uiMessage = nullptr;
  UIdialogProc uiDialog = nullptr;
  bool coreThreads = false;   ///< whether to start the thread server, with the caller as its main thread
  bool timecodeLoops = true;  ///< timecode differences go the nearer way around midnight
};

/// Brings the library up, in the one order in which its parts may start. The first call counts; later ones do nothing.
///
/// Threads:  the caller becomes the main thread.
KY_API void KyStartHost(const KyHostSettings& settings = {});
