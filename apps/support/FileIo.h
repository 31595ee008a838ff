// Whole files for the programs: read at once, replaced without harm to the old one.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace support {

/// The file's bytes.
///
/// Raises:   the DISK_... code with "str filename"; a file of 2 GB or more is "FILE_OTHER".
std::vector<std::uint8_t> readFile(const std::string& path);

/// Writes `bytes` beside `path`, flushes them to disk and renames: whatever fails, the old file is whole and nothing
/// else is left behind.
///
/// Raises:   the DISK_... code with "str filename".
void replaceFile(const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace support
