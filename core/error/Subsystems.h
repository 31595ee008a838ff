// Debug subsystems: small integers with a name and four flags.
#pragma once

#include "core/base/KyTypes.h"

/// Flag bits of a subsystem.
enum {
  kDbgCheck = 1,  ///< run the extra consistency checks
  kDbgPrint = 2,  ///< print trace lines
  kDbgStats = 4,  ///< gather statistics
  kDbgDebug = 8,  ///< the subsystem's own debug actions
};

/// Ids run from 1 to 50; 0 is no subsystem. Names are compared ignoring case.
///
/// Requires: "nextID < dim(dbgFlags)", "nextName + nameLen < MAX_SUBSYSTEMS * SUBSYS_NAMESIZE".
/// Returns:  the id for `name`, registered if it is new; 0 if the table is full.
/// Threads:  no lock; registration belongs to class initialisation.
KY_API int dbgRegSubSystem(const char* name);

/// Returns:  0 if the name is unknown.
KY_API int dbgGetSubSystemID(const char* name);

/// Requires: "(id < dim(dbgFlags)) && (id >= 1)".
/// Returns:  the name as registered, null if no subsystem has the id.
KY_API const char* dbgGetSubsysName(int id);

KY_API int dbgNumSubSystems();

/// Returns:  the bits of `mask` that are set.
KY_API int dbgTestFlag(int id, int mask);

/// Returns:  the new flags.
KY_API int dbgSetFlag(int id, int mask);
KY_API int dbgClearFlag(int id, int mask);

namespace ky {

/// Prints the heads, a row of dashes, and a row for each subsystem.
KY_API void listSubsystems(KyPrint print);

/// The saved form holds the subsystems that have a flag set.
///
/// Wire:     16-bit version 1; for each, the name, a zero byte and its 16-bit flags; in the host's byte order.
KY_API Long savedSubsystemsLength();

/// Requires: "bufLen >= totalLen".
/// Returns:  the bytes written, 0 if they do not fit.
KY_API Long saveSubsystems(char* buffer, Long bufLen);

/// Registers each name and sets its flags. Another version is ignored, and reading stops where an entry is cut short.
KY_API void restoreSubsystems(const char* buffer, Long length);

}  // namespace ky
