#include "apps/support/FileIo.h"

#include <algorithm>
#include <cstring>

#include "core/error/Guarded.h"
#include "core/error/SystemErrors.h"
#include "core/error/UIHooks.h"
#include "core/filesys/ALocator.h"
#include "core/filesys/Paths.h"
#include "core/filesys/SafeSave.h"
#include "core/objsys/AFileStream.h"
#include "core/utils/MemStreams.h"
#include "platform/Errors.h"

using ky::Owned;
using ky::OwnedHandle;

namespace support {
namespace {

constexpr Long kBuffer = 1 << 18;
constexpr Long kLargest = 0x7FFFFFFF;

Owned<AFileLocator> fileAt(const std::string& path) {
  if (path.size() >= ky::kPathSize) xraiseWinFileError(ky::platform::kInvalidName, path.substr(0, 300).c_str());
  Owned<AFileLocator> file(AFileLocator::New());
  file->Set(path.c_str(), nullptr);
  return file;
}

/// Names the file that the user asked for in place of the one beside it, and leaves out what came above the disk: that
/// the disk is full is all there is to tell.
void raiseAbout(const std::string& path, const XError& caught) {
  int status = 0;
  const int level = caught.FindLevel("SYS_ERROR");
  if (level != 0 && caught.GetParm(&status, level, "status")) xraiseWinFileError(status, path.c_str());
  xraisexerror(caught);
}

/// The length is not believed: a file may grow meanwhile, and some tell none.
std::vector<std::uint8_t> bytesOf(AFileStream* stream, const std::string& path) {
  constexpr Long kPiece = 1 << 24;
  fileRec_t** const file = stream->GetFileHdl();
  const Long expected = KYGetLength(file);
  std::vector<std::uint8_t> bytes;
  if (expected < kLargest) bytes.reserve(static_cast<std::size_t>(expected) + 1);
  for (bool ended = false; !ended;) {
    const auto have = static_cast<Long>(bytes.size());
    if (have == kLargest || expected == kLargest) +XError("DISK_SEEK_ERROR", "str filename", path.c_str(), 0);
    DisplayTherm("Reading the file", have, expected, 0);
    const Long more = std::min(std::clamp(expected + 1 - have, kBuffer, kPiece), kLargest - have);
    bytes.resize(bytes.size() + static_cast<std::size_t>(more));
    ky::guarded([&] { KYReadFile(file, bytes.data() + have, have, kFromStart, more); },
                [&](XError& caught) {
                  Long position = 0;
                  KYGetFPos(file, &position);
                  if (std::strcmp(caught.GetCode(), "DISK_EOF") != 0 || position < expected) xraisexerror(caught);
                  bytes.resize(static_cast<std::size_t>(position));
                  ended = true;
                });
  }
  return bytes;
}

}  // namespace

std::vector<std::uint8_t> readFile(const std::string& path) {
  const Owned<AFileStream> stream(fileAt(path)->OpenStream(kFileRead, 0));
  return bytesOf(stream.get(), path);
}

Owned<AStream> openFile(const std::string& path) {
  Owned<AFileStream> stream(fileAt(path)->OpenStream(kFileRead, 0));
  if (stream->GetLength() > 0) {
    stream->SetSeqBuf(kBuffer, 1);
    return stream;
  }
  const std::vector<std::uint8_t> bytes = bytesOf(stream.get(), path);
  OwnedHandle memory = OwnedHandle::ofSize(static_cast<Long>(bytes.size()) + 1);
  std::copy(bytes.begin(), bytes.end(), memory.data());
  Owned<AVariMemStream> whole(AVariMemStream::NewWithEOF(memory.get(), static_cast<Long>(bytes.size())));
  memory.release();
  whole->SetDisposeMem(true);
  return whole;
}

void saveFile(const std::string& path, const std::function<void(AStream*)>& write) {
  const Owned<AFileLocator> file = fileAt(path);
  const Owned<ADirLocator> folder(ADirLocator::New());
  folder->Set(ky::parentOf(path).c_str(), nullptr);
  if (!ky::parentOf(path).empty() && !folder->DirExists())
    +XError("DISK_DIR_NOT_FOUND", "str filename", ky::parentOf(path).c_str(), 0);
  ky::guarded([&] { ky::safeSave(file.get(), write); }, [&](XError& caught) { raiseAbout(path, caught); });
}

void writeAll(AStream* stream, std::string_view text) { stream->Write(text.data(), static_cast<Long>(text.size())); }

}  // namespace support
