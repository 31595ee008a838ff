// Messages, dialogs and progress, shown by the routines installed for the calling thread's kind.
#pragma once

#include "core/error/UIRoutines.h"

/// Keeps a wait indicator alive.
///
/// Returns:  true if the user asked to stop.
KY_API Boolean DisplayWait(Boolean checkUserAbort, Long delay);

/// Moves a progress bar to `newsofar` of `newtotal`.
///
/// Returns:  true if the user asked to stop.
KY_API Boolean DisplayTherm(const char* msg, Long newsofar, Long newtotal, Boolean checkUserAbort);

KY_API void UIstatReset();
KY_API void UIstatClose();

KY_API void UImsg(const char* msg, short soundKind, short flashKind);

/// Returns:  the button chosen. Before any routine is installed, 0 on the main thread and `defbut` on the others; with
///           a null one installed, `defbut`.
KY_API short UIdialog(const char* msg, const char* buttons, short defbut, UIicon_t icon, const char* filename,
                      Boolean doCleanup, const char* QAPid);

/// Returns:  the set that it replaced.
KY_API UIrtns InstallUIrtns(const UIrtns& routines);

/// Puts a routine that does nothing in the place of each null.
///
/// Returns:  the set that it replaced.
KY_API UIrtns InstallUIrtns(UIwaitingProc waiting, UIthermProc therm, UIstatProc reset, UIstatProc close);

KY_API UImsgProc InstallUImsg(UImsgProc routine);
KY_API UIdialogProc InstallUIdialog(UIdialogProc routine);
