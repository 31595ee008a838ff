// Files for tests: a folder that goes with the test, and files as vectors of bytes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/Clock.h"

namespace ky::test {

/// An empty folder of its own.
class TempFolder {
 public:
  TempFolder() : path(::mkdtemp((std::filesystem::temp_directory_path() / "kytest-XXXXXX").string().data())) {}
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string operator/(const std::string& name) const { return path + "/" + name; }

  const std::string path;
};

inline void writeBytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

inline std::vector<std::uint8_t> bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// How many files the process has open.
inline std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// Counts the sleeps instead of sleeping.
class HookedSleep {
 public:
  HookedSleep() : before(platform::setClockHooks({nullptr, count})) { sleeps = 0; }
  ~HookedSleep() { platform::setClockHooks(before); }
  HookedSleep(const HookedSleep&) = delete;
  HookedSleep& operator=(const HookedSleep&) = delete;

  static inline int sleeps = 0;
  static inline Int64 last = 0;  ///< milliseconds
  static inline void (*onSleep)() = nullptr;

 private:
  static void count(Int64 milliseconds) {
    ++sleeps;
    last = milliseconds;
    if (onSleep) onSleep();
  }

  const platform::ClockHooks before;
};

}  // namespace ky::test
