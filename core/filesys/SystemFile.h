// What stands behind an open file, for the disk routines themselves.
#pragma once

#include "core/base/KyTypes.h"
#include "core/filesys/FileRecord.h"
#include "core/filesys/OSVolID.h"
#include "platform/Files.h"
#include "platform/Locks.h"

namespace ky {

/// Where the locks of open files lie, so that they keep nobody from the contents.
inline constexpr Int64 kLockBegin = 0x7FFFFFF0;

struct SystemFile {
  platform::File file;
  platform::RecursiveLock busy;  ///< for a transfer from finding its place to leaving the position behind it
  Int64 position = 0;
};

/// The list is asked before the record is touched: a stale one is gone.
bool isOpen(fileRec_t** fileHdl);

/// Returns:  null, with the check failed, for what is no open file.
SystemFile* opened(fileRec_t** fileHdl);

OSVolID volumeOf(fileRec_t** fileHdl);

/// Sleeps for what was added to the latency of the volume.
void delayTransfer(const OSVolID& volume, bool isWrite, Long size);

/// Tells the read transfer callback.
void tellRead(ULong length);

}  // namespace ky
