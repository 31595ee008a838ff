// The record of an open file, and the flags of opens and positions.
#pragma once

#include "core/base/KyTypes.h"
#include "core/filesys/Paths.h"

namespace ky {
struct SystemFile;
}  // namespace ky

inline constexpr ULong DISK_MAGIC = MakeChar4("DISK");

/// An open file, in a handle. Opens of one path with the same flags share one.
struct fileRec_t {
  ULong magic = DISK_MAGIC;  ///< 0 once closed
  Long reserved = -1;
  unsigned short flags = 0;
  ULong perms = 0;  ///< as given at the open; for traces only
  char path[ky::kPathSize] = {};
  ky::SystemFile* file = nullptr;
  short volume = -1;
};

/// What an open asks for. Without kFileRead and kFileCreate the file is made if it is not there and kept if it is. The
/// others join: kFileCreate alone only writes, and with kFileReadWrite reads too.
enum : unsigned short {
  kFileRead = 1,  ///< and the file must be there
  kFileWrite = 2,
  kFileReadWrite = 4,
  kFileCreate = 8,        ///< made, or emptied if it is there; opened for writing
  kFileNoBuffering = 16,  ///< asks the system to keep little of the file in memory
};

/// Where an offset counts from.
enum : unsigned short { kFromStart = 1, kFromPosition = 2, kFromEnd = 4 };
