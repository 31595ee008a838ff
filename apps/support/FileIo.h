// Files for the programs, through locators: read, and saved without harm to the old one.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/mem/Owned.h"
#include "core/utils/AStream.h"

namespace support {

// Each raises the DISK_... code with "str filename", the name being the one given.

/// A buffered stream that reads the file. What tells no length, a pipe say, is read whole first.
ky::Owned<AStream> openFile(const std::string& path);

/// The bytes of the file, or of a pipe up to its end.
///
/// Raises:   DISK_SEEK_ERROR for a file of 2 GB or more.
std::vector<std::uint8_t> readFile(const std::string& path);

/// Saves what `write` writes, as ky::safeSave does. An error of the disk names `path`.
void saveFile(const std::string& path, const std::function<void(AStream*)>& write);

void writeAll(AStream* stream, std::string_view text);

}  // namespace support
