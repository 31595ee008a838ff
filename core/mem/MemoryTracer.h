// A record of who allocated each live block, for debugging: slow by design.
#pragma once

#include "core/base/KyTypes.h"

/// Records `address` with five return addresses above the caller, `skip` frames left out. An address that is recorded
/// already keeps its older record. When the records run out, beeps and begins again with none.
KY_API void KySlotAdd(void* address, Long size, short skip);
KY_API void KySlotRemove(void* address);
/// Counts a block that its maker chose not to record.
KY_API void KySlotDont();
/// Forgets all records and counts.
KY_API void KySlotsDebugInit();
KY_API void KySlotsPrintCounts(KyPrint print);

/// Turns the check of what is freed without a record on or off, and says so through dprintf.
KY_API void KyHLockDebugToggle();
/// Turns the recording of each allocation on or off, and says so through dprintf.
KY_API void KyAllocDebugToggle();
KY_API Boolean DebugLocks();
KY_API Boolean DebugAllocs();

namespace ky {

/// Prints a line per live record, newest first.
void printTraceRecords(KyPrint print);

/// The routine that prints the calling thread's stack when an unrecorded block is freed; null prints nothing.
KY_API void installStackPrinter(void (*printStack)(KyPrint print));

}  // namespace ky
