// Open files and locators for tests.
#pragma once

#include <sys/resource.h>

#include <csignal>
#include <numeric>

#include "core/filesys/CoreWinLocators.h"
#include "core/filesys/DiskRtns.h"
#include "core/filesys/SafeSave.h"
#include "core/utils/AStream.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Test.h"
#include "tests/support/Waits.h"

namespace ky::test {

inline fileRec_t** open(const std::string& path, unsigned short flags) {
  return openFile(path.c_str(), flags, 0, OSVolID());
}

/// An open file, closed with its scope.
class Opened {
 public:
  Opened(const std::string& path, unsigned short flags) : file(open(path, flags)) {}
  ~Opened() { KYCloseFile(file); }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  operator fileRec_t**() const { return file; }

 private:
  fileRec_t** const file;
};

inline std::vector<std::uint8_t> counted(std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

inline void write(fileRec_t** file, const std::vector<std::uint8_t>& bytes) {
  KYWriteFile(file, 0, kFromPosition, Long(bytes.size()), bytes.data());
}

/// A limit of the process for a scope.
class Limit {
 public:
  Limit(decltype(RLIMIT_FSIZE) which, rlim_t most) : resource(which), signalBefore(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(resource, &before);
    const rlimit limit = {most, before.rlim_max};
    setrlimit(resource, &limit);
  }
  ~Limit() {
    setrlimit(resource, &before);
    std::signal(SIGXFSZ, signalBefore);
  }

 private:
  const decltype(RLIMIT_FSIZE) resource;
  rlimit before;
  void (*const signalBefore)(int);
};

/// A folder of its own, and locators of what lies in it.
struct Place {
  explicit Place(const std::filesystem::path& where = std::filesystem::temp_directory_path()) : folder(where) {}

  Owned<CoreWinFileLocator> file(const char* name) const {
    return Owned<CoreWinFileLocator>(CoreWinFileLocator::New(folder.path.c_str(), name));
  }
  Owned<CoreWinDirLocator> dir(const char* name = nullptr) const {
    return Owned<CoreWinDirLocator>(CoreWinDirLocator::New(folder.path.c_str(), name));
  }

  const TempFolder folder;
};

/// More than a buffer, so that the disk is written to while the document is.
inline const std::string longText(300'000, 'n');

inline void saveLong(AFileLocator* locator) {
  safeSave(locator, [](AStream* stream) { stream->Write(longText.data(), Long(longText.size())); });
}

class DiskTest : public testing::Test {
 protected:
  const TempFolder folder;
  const std::string path = folder / "Reel.kyb";
};

}  // namespace ky::test
