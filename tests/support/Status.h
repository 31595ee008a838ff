// What the system knows of the process.
#pragma once

#include <fstream>
#include <string>

#include "core/base/KyTypes.h"

namespace ky::test {

/// Returns:  the bytes behind a key such as "VmRSS:".
inline Int64 statusBytes(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(key)) return std::stoll(line.substr(key.size())) * 1024;
  }
  return 0;
}

}  // namespace ky::test
