// The fifteen built-in types, and how a host adds its own.
#pragma once

#include "core/base/TypeTable.h"

/// Installs the built-in types as ids 1 to 15. Called once at start-up; a second call appends them again.
KY_API void MBInit();

/// Appends a type. `name` is kept, not copied; a `size` of 0 means a text.
///
/// Raises:   MB_TYPE_TABLE_FULL.
KY_API void MBInstall(const char* name, int size, MBPullProc pull, MBPrintProc print, MBScanProc scan, MBPushProc push);

/// Appends a second name for a type, as a type of its own with the same size and procedures.
///
/// An unknown `oldName` gives a row without procedures.
/// Raises:   MB_TYPE_TABLE_FULL.
/// Borrows:  `newName` for good.
KY_API void MBInstallSynonym(const char* newName, const char* oldName);
