// What stands behind an open file, for the disk routines themselves.
#pragma once

#include "core/base/KyTypes.h"
#include "core/filesys/OSVolID.h"
#include "platform/Files.h"
#include "platform/Locks.h"

namespace ky {

struct SystemFile {
  platform::File file;
  platform::RecursiveLock busy;  ///< for a transfer from finding its place to leaving the position behind it
  Int64 position = 0;
};

/// Sleeps for what was added to the latency of the volume.
void delayTransfer(const OSVolID& volume, bool isWrite, Long size);

/// Tells the read transfer callback.
void tellRead(ULong length);

}  // namespace ky
