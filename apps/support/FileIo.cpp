#include "apps/support/FileIo.h"

#include <algorithm>
#include <filesystem>

#include "core/error/Guarded.h"
#include "core/error/SystemErrors.h"
#include "core/error/XError.h"
#include "platform/Files.h"

namespace support {
namespace {

using ky::platform::File;

constexpr std::size_t kPiece = 1 << 20;
constexpr std::size_t kLargest = 0x7FFFFFFF;

void raiseIf(int error, const std::string& path) {
  if (error != 0) xraiseWinFileError(error, path.c_str());
}

constexpr int kNoFile = 2;

/// Errors name the file that the user asked for, not the one beside it.
void writeNew(const std::string& beside, const std::string& path, std::span<const std::uint8_t> bytes) {
  File file;
  const int error = file.createNew(beside.c_str(), path.c_str());
  if (error == kNoFile)
    +XError("DISK_DIR_NOT_FOUND", "str filename", std::filesystem::path(path).parent_path().c_str(), 0);
  raiseIf(error, path);
  raiseIf(file.write(bytes.data(), bytes.size()), path);
  raiseIf(file.flushToDisk(), path);
  raiseIf(file.close(), path);
}

}  // namespace

std::vector<std::uint8_t> readFile(const std::string& path) {
  File file;
  raiseIf(file.openToRead(path.c_str()), path);
  std::vector<std::uint8_t> bytes;
  std::size_t got = 0;
  // By pieces and not by the file's length: pipes have none, and a file may grow meanwhile.
  do {
    const std::size_t have = bytes.size();
    if (have > kLargest) +XError("FILE_OTHER", "str filename", path.c_str(), 0);
    bytes.resize(have + std::max(kPiece, have / 2));
    raiseIf(file.read(bytes.data() + have, bytes.size() - have, &got), path);
    bytes.resize(have + got);
  } while (got > 0);
  return bytes;
}

void replaceFile(const std::string& path, std::span<const std::uint8_t> bytes) {
  const std::string beside = ky::platform::nameBeside(path);
  ky::guarded(
      [&] {
        writeNew(beside, path, bytes);
        raiseIf(ky::platform::renameFile(beside.c_str(), path.c_str()), path);
      },
      [&](XError& caught) {
        (void)ky::platform::removeFile(beside.c_str());
        xraisexerror(caught);
      });
}

}  // namespace support
