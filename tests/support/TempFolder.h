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

namespace ky::test {

/// Where files are kept in memory, if the host has such a place: for tests that flush to the disk hundreds of times.
inline std::filesystem::path quickPlace() {
  std::error_code none;
  const auto found = std::filesystem::status("/dev/shm", none).permissions();
  const bool isOpen = (found & std::filesystem::perms::others_write) != std::filesystem::perms::none;
  return found != std::filesystem::perms::unknown && isOpen ? "/dev/shm" : std::filesystem::temp_directory_path();
}

inline void writeBytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

inline std::vector<std::uint8_t> bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(std::max<std::streamoff>(file.tellg(), 0)));
  file.seekg(0).read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

/// An empty folder of its own.
class TempFolder {
 public:
  explicit TempFolder(const std::filesystem::path& where = std::filesystem::temp_directory_path())
      : path(::mkdtemp((where / "kytest-XXXXXX").string().data())) {}
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string operator/(const std::string& name) const { return path + "/" + name; }
  void write(const std::string& name, const std::string& text = "") const {
    writeBytes(*this / name, {text.begin(), text.end()});
  }
  std::string read(const std::string& name) const {
    const std::vector<std::uint8_t> bytes = bytesOf(*this / name);
    return {bytes.begin(), bytes.end()};
  }
  /// How many files lie in it whose names start so.
  std::ptrdiff_t files(const std::string& start = "") const {
    const std::filesystem::directory_iterator all(path);
    return std::count_if(begin(all), end(all),
                         [&](const auto& each) { return each.path().filename().string().starts_with(start); });
  }

  const std::string path;
};

/// How many files the process has open.
inline std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

}  // namespace ky::test
