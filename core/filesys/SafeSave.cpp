#include "core/filesys/SafeSave.h"

#include <string>
#include <vector>

#include "core/error/Guarded.h"
#include "core/error/SystemErrors.h"
#include "core/filesys/ALocator.h"
#include "core/filesys/DiskRtns.h"
#include "core/filesys/Folders.h"
#include "core/filesys/Paths.h"
#include "core/filesys/SystemFile.h"
#include "core/mem/Owned.h"
#include "core/objsys/AFileStream.h"
#include "platform/Errors.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Host.h"

using namespace ky;

namespace {

constexpr Long kStreamBuffer = 0x40000;

/// Long names leave room for the numbers.
std::string prefixOf(std::string_view name) { return std::string(name.substr(0, 200)) + '~'; }

/// With the process in it, a name that another save took for abandoned and removed is never one that this other makes.
std::string ownPrefixOf(std::string_view name) {
  return prefixOf(name) + std::to_string(platform::processNumber()) + '-';
}

bool isNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Other names are somebody else's, however alike.
bool isOfPattern(std::string_view name, std::string_view prefix) {
  if (!name.starts_with(prefix)) return false;
  name.remove_prefix(prefix.size());
  const std::size_t dash = name.find('-');
  return dash != std::string_view::npos && isNumber(name.substr(0, dash)) && isNumber(name.substr(dash + 1));
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
    if (error == 0 && file.lock(kLockBegin, platform::LockKind::exclusive) == 0) (void)removeFile(path.c_str());
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
          (void)removeFile(fullPathOf(temporary).c_str());
        });
    if (temporary->Exists()) return file;
    KYCloseFile(file);
  }
}

/// Has `fill` write the temporary file, and puts that in the document's place.
void replaceDocument(const std::string& document, bool replace, const std::string& accessOf,
                     const std::function<void(fileRec_t** file)>& fill) {
  removeAbandoned(document);
  const Owned<AFileLocator> temporary(AFileLocator::New());
  fileRec_t** const file = openTemporary(temporary.get(), document);
  // Kept as it is now: the locator follows its file into the document's place.
  char temporaryPath[kPathSize];
  temporary->GetFullPath(temporaryPath, sizeof temporaryPath);
  guardedReraise(
      [&] {
        always(
            [&] {
              fill(file);
              flushToDisk(file);
              (void)platform::copyAccess(accessOf.c_str(), temporaryPath);
              temporary->Rename(std::string(partsOf(document).name).c_str(), replace);
            },
            [&] { KYCloseFile(file); });
      },
      [&] { (void)removeFile(temporaryPath); });
}

}  // namespace

void ky::safeReplace(AFileLocator* document, bool replace, const char* accessOf,
                     const std::function<void(fileRec_t** file)>& fill) {
  const std::string given = fullPathOf(document);
  platform::EntryFacts facts;
  const bool isThere = platform::entryFacts(given.c_str(), &facts) == 0;
  if (isThere && !replace) xraiseWinFileError(platform::kFileExists, given.c_str());
  if (facts.isFolder || facts.isReadOnly) xraiseWinFileError(platform::kAccessDenied, given.c_str());
  if (!isThere || facts.isPlain) {
    std::string path = given;
    raiseFileErrorIf(platform::followLinks(&path), given.c_str());
    replaceDocument(path, replace, accessOf ? accessOf : path, fill);
    stopSharing(given.c_str());
  } else {
    fileRec_t** const file = document->Open(kFileWrite, 0);
    always([&] { fill(file); }, [&] { KYCloseFile(file); });
  }
}

void ky::safeSave(AFileLocator* document, const std::function<void(AStream*)>& write) {
  safeReplace(document, true, nullptr, [&](fileRec_t** file) {
    Owned<AFileStream> stream(AFileStream::New(file, 0, nullptr));
    stream->SetSeqBuf(kStreamBuffer, 1);
    write(stream.get());
    stream.release()->Dispose();  // which raises what its last flush does
  });
}
