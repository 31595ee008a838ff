// CRC-32 of IEEE 802.3 (reflected, polynomial 0xEDB88320).
#pragma once

#include <cstddef>

#include "core/base/KyTypes.h"

/// Prepares the tables and picks the fastest way that this processor has. Called once at start-up; a digest taken
/// before prepares them itself.
KY_API void crcInit();

/// The checksum of `length` bytes: "123456789" gives 0xCBF43926, nothing gives 0.
KY_API ULong crcGenerate(const void* data, Long length);

namespace ky {

/// Folds `n` bytes into a running register, which starts at 0xFFFFFFFF; the checksum is the complement of the last
/// register.
KY_API ULong crcUpdate(ULong crc, const void* data, std::size_t n);

}  // namespace ky
