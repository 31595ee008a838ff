#include "core/filesys/CoreWinLocators.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/error/Guarded.h"
#include "core/error/SystemErrors.h"
#include "core/filesys/DiskRtns.h"
#include "core/filesys/FileTypes.h"
#include "core/filesys/SafeSave.h"
#include "core/filesys/SystemFile.h"
#include "core/lists/CKyList.h"
#include "core/math/CUtils.h"
#include "core/mem/Owned.h"
#include "core/objsys/AFileStream.h"
#include "core/threads/Blocking.h"
#include "platform/Errors.h"
#include "platform/Files.h"
#include "platform/Folders.h"

using namespace ky;

namespace {

/// Makes the locators of this host for those who ask AFileLocator and ADirLocator for one.
struct HostFiles final : AFileLocatorManufacturer {
  AFileLocator* New() override { return CoreWinFileLocator::New("", nullptr); }
} hostFiles;

struct HostFolders final : ADirLocatorManufacturer {
  ADirLocator* New() override { return CoreWinDirLocator::New("", nullptr); }
} hostFolders;

[[maybe_unused]] const bool sInstalledAtLoad = [] {
  setDefaultManufacturers(&hostFiles, &hostFolders);
  return true;
}();

Boolean samePath(AWinFileSystemObject& self, ALocator* other, Loc_t kind) {
  if (!other || other->GetLocatorType() != kind) return 0;
  return fullPathOf(static_cast<AFileSystemLocator*>(other)) == self.GetPath();
}

AFileStream* streamOver(fileRec_t** file) {
  AFileStream* stream = nullptr;
  guardedReraise([&] { stream = AFileStream::New(file, 1, nullptr); }, [&] { KYCloseFile(file); });
  return stream;
}

// ---- copying

void copyContents(const char* fromPath, fileRec_t** toFile, const char* toPath) {
  platform::File from;
  int error = GetForceDiskOpenErr();
  raiseFileErrorIf(error ? error : from.openToRead(fromPath), fromPath);
  platform::File& to = (*toFile)->file->file;
  constexpr std::size_t kPiece = 0x80000;
  const OwnedHandle buffer = OwnedHandle::ofSize(kPiece);
  for (std::size_t got = kPiece; got == kPiece;) {
    const Blocking blocking;
    error = GetForceDiskReadErr();
    raiseFileErrorIf(error ? error : from.read(buffer.data(), kPiece, &got), fromPath);
    error = GetForceDiskWriteErr();
    raiseFileErrorIf(error ? error : to.write(buffer.data(), got), toPath);
  }
}

}  // namespace

// ---- CoreWinFileLocator

CoreWinFileLocator* CoreWinFileLocator::New(const char* folder, const char* name) {
  return placed(new CoreWinFileLocator, folder, name);
}

CoreWinFileLocator& CoreWinFileLocator::operator=(const CoreWinFileLocator& other) {
  AFileLocator::operator=(other);
  return *this;
}

void CoreWinFileLocator::Put(AStream* stream, AIODesc* desc) {
  AUndoable::Put(stream, desc);
  WriteClassMark(stream);
  putPath(stream, desc);
}

void CoreWinFileLocator::Get(AStream* stream, AIODesc* desc) {
  AUndoable::Get(stream, desc);
  CheckClassMark(stream);
  getPath(stream, desc);
}

void CoreWinFileLocator::Delete() { raiseFileErrorIf(removeFile(GetPath()), GetPath()); }

Boolean CoreWinFileLocator::IsEqual(ALocator* other) { return samePath(*this, other, LOC_FILE); }

char* CoreWinFileLocator::GetFullPathCanonical(char* buffer, Long size) {
  return AWinFileSystemObject::GetFullPathCanonical(buffer, size);
}

void CoreWinFileLocator::SetUniversalPath() { AWinFileSystemObject::SetUniversalPath(); }

fileRec_t** CoreWinFileLocator::Open(unsigned short flags, ULong perms) { return OpenFile(GetPath(), flags, perms); }

fileRec_t** CoreWinFileLocator::OpenFile(const char* path, unsigned short flags, ULong perms) {
  return openFile(path, flags, perms, GetOSVolID());
}

AFileStream* CoreWinFileLocator::OpenStream(unsigned short flags, ULong perms) {
  return streamOver(Open(flags, perms));
}

AFileStream* CoreWinFileLocator::OpenStream(const char* domain, unsigned short flags, ULong perms) {
  const std::string path = std::string(GetPath()) + ':' + domain;
  return streamOver(OpenFile(path.c_str(), flags, perms));
}

ULong CoreWinFileLocator::GetFileTypeBasedOnExtension(const char* path, Boolean* found) {
  const auto type = typeOfExtension(partsOf(path).extension);
  if (found) *found = type.has_value();
  return type.value_or(kUnknownFileType);
}

ULong CoreWinFileLocator::GetFileType() {
  Boolean found = 0;
  const ULong type = GetFileTypeBasedOnExtension(GetPath(), &found);
  if (found) return type;
  fileRec_t** file = nullptr;
  if (!succeeds([&] { file = Open(kFileRead, 0); })) return kUnknownFileType;
  DocumentStart start;
  always([&] { KYReadFile(file, start.bytes, 0, kFromStart, DocumentStart::kSize); }, [&] { KYCloseFile(file); });
  return start.type();
}

void CoreWinFileLocator::SetFileType(ULong type) {
  const char* const wanted = extensionOfType(type);
  const PathParts parts = partsOf(GetPath());
  // One of more than three letters is put behind itself: files have such names by now.
  const bool isShort = parts.extension.size() == 4;
  if (!wanted || (isShort && CIstrcmp(std::string(parts.extension).c_str(), wanted) == 0)) return;
  const std::string name = std::string(parts.name) + wanted;
  if (Exists()) {
    Rename(name.c_str(), 0);
  } else {
    SetName(name.c_str());
  }
}

Long CoreWinFileLocator::GetLength() {
  platform::EntryFacts facts;
  raiseFileErrorIf(platform::entryFacts(GetPath(), &facts), GetPath());
  return static_cast<Long>(std::min<Int64>(facts.length, 0x7FFFFFFF));
}

AFileLocator* CoreWinFileLocator::CopyAFile(ADirLocator* folder, const char* name, Boolean replace) {
  Owned<AFileLocator> copy(folder->GetFile(name, nullptr));
  const std::string target = fullPathOf(copy.get());
  safeReplace(copy.get(), replace != 0, GetPath(),
              [&](fileRec_t** to) { copyContents(GetPath(), to, target.c_str()); });
  return copy.release();
}

// ---- CoreWinDirLocator

CoreWinDirLocator* CoreWinDirLocator::New(const char* folder, const char* name) {
  return placed(new CoreWinDirLocator, folder, name);
}

CoreWinDirLocator* CoreWinDirLocator::New(short volume, Long folder, const char* name) {
  return placed(new CoreWinDirLocator, volume, folder, name);
}

void CoreWinDirLocator::Put(AStream* stream, AIODesc* desc) {
  AUndoable::Put(stream, desc);
  WriteClassMark(stream);
  putPath(stream, desc);
}

void CoreWinDirLocator::Get(AStream* stream, AIODesc* desc) {
  AUndoable::Get(stream, desc);
  CheckClassMark(stream);
  getPath(stream, desc);
  ClearFileIndex();
}

void CoreWinDirLocator::Delete() {
  raiseFileErrorIf(GetForceDiskDeleteErr(), GetPath());
  raiseFileErrorIf(platform::removeFolder(GetPath()), GetPath());
  stopSharing(GetPath());
}

void CoreWinDirLocator::Create(ULong) { raiseFileErrorIf(platform::makeFolder(GetPath()), GetPath()); }

Boolean CoreWinDirLocator::IsEqual(ALocator* other) { return samePath(*this, other, LOC_DIRECTORY); }

CKyList* CoreWinDirLocator::ReadDir() {
  std::vector<platform::FolderEntry> entries;
  raiseFileErrorIf(platform::readFolder(GetPath(), &entries), GetPath());
  CKyList* const list = CKyList::New();
  const auto add = [&](const platform::FolderEntry& entry) {
    const std::string path = joined(GetPath(), entry.name);
    // Skipped too: what another system's resource forks were put into, and what no locator can name.
    if (entry.name.starts_with(".") || path.size() >= kPathSize) return;
    AFileSystemLocator* item = nullptr;
    if (entry.isFolder) {
      item = named<ADirLocator>(nullptr, path.c_str(), nullptr);
    } else {
      item = named<AFileLocator>(nullptr, path.c_str(), nullptr);
    }
    Owned<AFileSystemLocator> added(item);
    list->Add(item);
    added.release();
  };
  guardedReraise([&] { std::for_each(entries.begin(), entries.end(), add); },
                 [&] {
                   list->DisposeItems();
                   list->Dispose();
                 });
  return list;
}

ADirLocator* CoreWinDirLocator::GetDir(const char* name, ADirLocator* entry) { return named(entry, GetPath(), name); }

AFileLocator* CoreWinDirLocator::GetFile(const char* name, AFileLocator* entry) {
  return named(entry, GetPath(), name);
}

// A comma may stand in a name and is replaced all the same: names that were mended before must come out as they did.
void CoreWinDirLocator::MakeFileNameValid(char* name) {
  for (; *name; ++name) {
    if (std::strchr("\"*,/:<>?\\|", *name)) *name = '_';
  }
}

ALocator* CoreWinDirLocator::ConvertToMacLocator() { return nullptr; }

Boolean CoreWinDirLocator::IsTop() { return liesAtTop(GetPath()); }

void CoreWinDirLocator::TouchDir() { raiseFileErrorIf(platform::touch(GetPath()), GetPath()); }

Boolean CoreWinDirLocator::TouchDirIfNeeded() {
  platform::EntryFacts facts;
  raiseFileErrorIf(platform::entryFacts(GetPath(), &facts), GetPath());
  if (indexedChange == facts.changed) return 0;
  TouchDir();
  InitFileIndex();
  return 1;
}

void CoreWinDirLocator::Set(short volume, Long, const char* name) {
  char root[kPathSize];
  OSVolID(volume).GetAsString(root, sizeof root);
  Set(root, name);
}

void CoreWinDirLocator::SetPath(const char* newPath) {
  const std::string_view whole(newPath);
  std::size_t length = whole.size();
  const char separator = separatorOf(hostPathStyle());
  // A root is what lies in itself.
  const auto isRoot = [&] { return parentOf(whole.substr(0, length)).size() == length; };
  while (length > 0 && whole[length - 1] == separator && !isRoot()) --length;
  if (length == whole.size()) return HostLocator<ADirLocator>::SetPath(newPath);
  HostLocator<ADirLocator>::SetPath(std::string(whole.substr(0, length)).c_str());
}

void CoreWinDirLocator::InitFileIndex() {
  platform::EntryFacts facts;
  raiseFileErrorIf(platform::entryFacts(GetPath(), &facts), GetPath());
  indexedChange = facts.changed;
}

void CoreWinDirLocator::ClearFileIndex() { indexedChange = 0; }
