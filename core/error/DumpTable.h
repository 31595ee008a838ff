// Named sections of state that a dump writes out.
#pragma once

#include "core/base/KyTypes.h"

typedef void (*DmpProc)(KyPrint print);

/// Appends a section. `brief` sections run in a brief dump as well.
///
/// Borrows:  `name`, for as long as the section is installed.
/// Raises:   DMP_TABLE_FULL with 50 sections installed.
KY_API void DmpInstall(DmpProc proc, const char* name, Boolean brief);

/// Removes the first section with that routine; does nothing if there is none.
KY_API void DmpRemove(DmpProc proc);

/// Runs the sections in order, all or only the brief ones. A section that raises is reported and the next one runs.
KY_API void DmpDump(KyPrint print, Boolean briefOnly);

/// Runs the first section of that name; does nothing if there is none.
KY_API void DmpDumpOne(KyPrint print, const char* name);

KY_API void DmpListSections(KyPrint print);

/// Sets the text that starts the names of dump files, at most 255 characters of it.
KY_API void DmpSetPrefix(const char* prefix);

namespace ky {
KY_API const char* dumpPrefix();
}
