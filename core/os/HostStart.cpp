#include "core/os/HostStart.h"

#include <cstdio>
#include <mutex>

#include "core/debug/BogusObject.h"
#include "core/error/CurrentError.h"
#include "core/error/Printing.h"
#include "core/error/UIHooks.h"
#include "core/filesys/CoreWinLocators.h"
#include "core/filesys/FileCreator.h"
#include "core/filesys/Folders.h"
#include "core/mem/KyMemory.h"
#include "core/objsys/ObjectSystem.h"
#include "core/os/AHwOsInfo.h"
#include "core/os/SafeStack.h"
#include "core/threads/KyCoreThreadServer.h"
#include "core/threads/ThreadContext.h"
#include "core/utils/MetaBase.h"
#include "core/utils/TCcore.h"
#include "platform/Folders.h"

namespace {

int printOnStandardOutput(const char* format, KyVaList args) { return std::vprintf(format, args); }

void start(const KyHostSettings& settings) {
  // The first look for a context would settle on a single thread, so the policy comes before all else.
  ThreadContext::Initialize(eMultithreaded);
  dbgInstallPrintf(settings.debugPrintf ? settings.debugPrintf : printOnStandardOutput);
  KyMemInit();
  ESInit();
  xSetLogFunc(settings.raiseLog);
  ky::setFatalLog(settings.fatalLog);
  FtlInstall(settings.fatalHandler);
  MBInit();
  AFileLocator::SetManufacturer(settings.fileLocators);
  ADirLocator::SetManufacturer(settings.dirLocators);
  SetDefaultFileCreator(static_cast<Long>(MakeChar4("TEXT")));
  const UIrtns& ui = settings.uiRoutines;
  InstallUIrtns(ui.GetWaitingProc(), ui.GetThermProc(), ui.GetUIResetProc(), ui.GetUICloseProc());
  if (settings.uiMessage) InstallUImsg(settings.uiMessage);
  if (settings.uiDialog) InstallUIdialog(settings.uiDialog);
  ky::setProgramVersion(settings.version);
  AHwOsInfo::MakeHwOsInfo();
  // Here belongs the commands' developer mode.
  TCSetLoop(settings.timecodeLoops);
  SetFSTempDir(CoreWinDirLocator::New(ky::platform::systemTemporaryFolder().c_str(), nullptr));
  // Here belongs the folder of error reports.

  ObjectSystemClassInit();
  UndoSystemClassInit();
  InitBogusObject();
  if (settings.coreThreads) KyCoreThreadInit();
  // Here belongs the command language with its script commands.
  InitZorvexSafeStack();
}

}  // namespace

void KyStartHost(const KyHostSettings& settings) {
  static std::once_flag once;
  std::call_once(once, start, settings);
}
