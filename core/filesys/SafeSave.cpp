#include "core/filesys/SafeSave.h"

#include <algorithm>
#include <string>
#include <vector>

#include "core/error/Guarded.h"
#include "core/filesys/ALocator.h"
#include "core/filesys/DiskRtns.h"
#include "core/filesys/Folders.h"
#include "core/filesys/Paths.h"
#include "core/mem/Owned.h"
#include "core/objsys/AFileStream.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Host.h"

using namespace ky;

namespace {

constexpr Int64 kLockBegin = 0x7FFFFFF0;  // where KYLockFileExclusive locks
constexpr Long kStreamBuffer = 0x40000;

std::string fullPathOf(AFileLocator* file) {
  char path[kPathSize];
  return file->GetFullPath(path, sizeof path);
}

/// Long names leave room for the numbers.
std::string prefixOf(std::string_view name) { return std::string(name.substr(0, 200)) + '~'; }

/// With the process in it, a name that another save took for abandoned and removed is never one that this other makes.
std::string ownPrefixOf(std::string_view name) {
  return prefixOf(name) + std::to_string(platform::processNumber()) + '-';
}

bool isOfPattern(std::string_view name, std::string_view prefix) {
  const auto isOfNumbers = [](char c) { return (c >= '0' && c <= '9') || c == '-'; };
  return name.starts_with(prefix) && name.size() > prefix.size() &&
         std::all_of(name.begin() + static_cast<std::ptrdiff_t>(prefix.size()), name.end(), isOfNumbers);
}

/// Removes what no lock protects. What cannot be removed stays for a later save: this one can do without.
void removeAbandoned(const std::string& document) {
  const PathParts parts = partsOf(document);
  const std::string folder(parts.folder.empty() ? "." : parts.folder), prefix = prefixOf(parts.name);
  std::vector<platform::FolderEntry> entries;
  (void)platform::readFolder(folder.c_str(), &entries);
  for (const platform::FolderEntry& entry : entries) {
    if (entry.isFolder || !isOfPattern(entry.name, prefix)) continue;
    const std::string path = joined(folder, entry.name);
    platform::File file;
    const int error = file.open(path.c_str(), platform::Access::readWrite, platform::Disposition::openExisting);
    if (error == 0 && file.lock(kLockBegin, platform::LockKind::exclusive) == 0)
      (void)platform::removeFile(path.c_str());
  }
}

/// Makes the temporary file and locks it. Between the two another save may have taken it for an abandoned one.
fileRec_t** openTemporary(AFileLocator* temporary, const std::string& document) {
  const std::string prefix = ownPrefixOf(partsOf(document).name);
  for (;;) {
    temporary->Set(document.c_str(), nullptr);
    GetTempFile(prefix.c_str(), 1, kTempBesideOut, temporary);
    fileRec_t** file = nullptr;
    guardedReraise(
        [&] {
          file = temporary->Open(kFileReadWrite, 0);
          KYLockFileExclusive(file);
        },
        [&] {
          if (file) KYCloseFile(file);
          (void)platform::removeFile(fullPathOf(temporary).c_str());
        });
    if (temporary->Exists()) return file;
    KYCloseFile(file);
  }
}

void fill(fileRec_t** file, const std::function<void(AStream*)>& write) {
  Owned<AFileStream> stream(AFileStream::New(file, 0, nullptr));
  stream->SetSeqBuf(kStreamBuffer, 1);
  write(stream.get());
  stream.release()->Dispose();  // which raises what its last flush does
  flushToDisk(file);
}

}  // namespace

void ky::safeSave(AFileLocator* document, const std::function<void(AStream*)>& write) {
  const std::string path = fullPathOf(document);
  removeAbandoned(path);
  const Owned<AFileLocator> temporary(AFileLocator::New());
  fileRec_t** const file = openTemporary(temporary.get(), path);
  bool isReplaced = false;
  guardedReraise(
      [&] {
        always(
            [&] {
              fill(file, write);
              (void)platform::copyAccess(path.c_str(), fullPathOf(temporary.get()).c_str());
              temporary->Rename(std::string(partsOf(path).name).c_str(), 1);
              isReplaced = true;
            },
            [&] { KYCloseFile(file); });
      },
      [&] {
        // The locator follows a rename that came through; the document itself is never removed.
        if (!isReplaced) (void)platform::removeFile(fullPathOf(temporary.get()).c_str());
      });
}
