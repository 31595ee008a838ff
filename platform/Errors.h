// The file-error numbers: the common language for failures of the host's file calls.
#pragma once

#include <cstddef>

#include "core/base/KyTypes.h"

namespace ky::platform {

/// The number that an errno stands for: 2 not found, 3 no folder on the way, 4 too many open, 5 denied, 25 cannot seek,
/// 32 in use, 80 exists, 112 full, 123 bad name, 145 folder not empty, 1117 device; anything else a private number.
int fileErrorOf(int hostError);

/// The calling thread's last failure, as a number of the table.
int lastFileError();
void setLastFileError(int number);

/// The host's words for a number, without line breaks; always ended.
void errorText(int number, char* buffer, std::size_t size);

}  // namespace ky::platform
