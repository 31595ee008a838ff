// The file-error numbers: the common language for failures of the host's file calls.
#pragma once

#include <cstddef>

#include "core/base/KyTypes.h"

namespace ky::platform {

/// The numbers that have a disk code of their own.
enum FileError : int {
  kFileNotFound = 2,
  kPathNotFound = 3,
  kTooManyOpen = 4,
  kAccessDenied = 5,
  kCannotSeek = 25,
  kSharingViolation = 32,
  kFileLocked = 33,
  kEndOfFile = 38,
  kFileExists = 80,
  kDiskFull = 112,
  kInvalidName = 123,
  kBadSeek = 132,
  kDirNotEmpty = 145,
  kAlreadyExists = 183,
  kDirNotFound = 267,
  kDeviceError = 1117,
};

/// The number that an errno stands for; a private one, which has no disk code, if the table has none.
KY_API int fileErrorOf(int hostError);

/// The calling thread's last failure, as a number of the table.
KY_API int lastFileError();
KY_API void setLastFileError(int number);

/// The host's words for a number, without line breaks; always ended.
KY_API void errorText(int number, char* buffer, std::size_t size);

}  // namespace ky::platform
