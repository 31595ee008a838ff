#include "core/filesys/CoreWinLocators.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/error/Guarded.h"
#include "core/error/SystemErrors.h"
#include "core/filesys/DiskRtns.h"
#include "core/filesys/SafeSave.h"
#include "core/filesys/SystemFile.h"
#include "core/lists/CKyList.h"
#include "core/math/CUtils.h"
#include "core/mem/Owned.h"
#include "core/objsys/AFileStream.h"
#include "core/objsys/TypedRead.h"
#include "core/threads/Blocking.h"
#include "platform/Errors.h"
#include "platform/Files.h"
#include "platform/Folders.h"

using namespace ky;

namespace {

constexpr Char4 kUnknownType = MakeChar4("ZVrf");
constexpr std::size_t kExtensionLength = 4;

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

void raiseIf(int error, const char* path) {
  if (error != 0) xraiseWinFileError(error, path);
}

Boolean samePath(AWinFileSystemObject& self, ALocator* other, Loc_t kind) {
  if (!other || other->GetLocatorType() != kind) return 0;
  char path[kPathSize];
  static_cast<AFileSystemLocator*>(other)->GetFullPath(path, sizeof path);
  return std::strcmp(path, self.GetPath()) == 0;
}

template <class Locator>
Locator* made(Locator* locator, auto&& name) {
  guardedReraise([&] { name(locator); }, [&] { locator->Dispose(); });
  return locator;
}

// ---- what a document tells about its type

/// The start of an object document, as far as its type; every number lies in the order of the host that wrote it.
struct DocumentStart {
  static constexpr Long kSize = 71;
  unsigned char bytes[kSize];

  Char4 code(std::size_t at, bool isSwapped) const {
    Char4 word;
    std::memcpy(&word, bytes + at, sizeof word);
    return isSwapped ? __builtin_bswap32(word) : word;
  }

  bool isSwapped() const {
    if (bytes[0] == 0 && bytes[1] == 6) return true;
    if (bytes[0] != 6 || bytes[1] != 0) raiseBadStreamData("Unexpected domain header");
    return false;
  }

  /// A second mark, for the fields behind the prologue.
  bool areFieldsSwapped() const {
    const Char4 key = code(51, false);
    if (key != MakeChar4("IIII") && key != MakeChar4("MMMM")) raiseBadStreamData("Unexpected domain swap key");
    return key == MakeChar4("MMMM");
  }

  ULong type() const {
    constexpr unsigned char kFirstWithType = 4;
    if (std::memcmp(bytes + 2, "Domain", 6) != 0 || code(8, isSwapped()) != MakeChar4("OBJD")) return kUnknownType;
    if (bytes[21] < kFirstWithType) return MakeChar4("ZVxx");
    return code(63, areFieldsSwapped());
  }
};

AFileStream* streamOver(fileRec_t** file) {
  AFileStream* stream = nullptr;
  guardedReraise([&] { stream = AFileStream::New(file, 1, nullptr); }, [&] { KYCloseFile(file); });
  return stream;
}

// ---- copying

void copyContents(const char* fromPath, fileRec_t** toFile, const char* toPath) {
  platform::File from;
  int error = GetForceDiskOpenErr();
  raiseIf(error ? error : from.openToRead(fromPath), fromPath);
  platform::File& to = (*toFile)->file->file;
  constexpr std::size_t kPiece = 0x80000;
  const OwnedHandle buffer = OwnedHandle::ofSize(kPiece);
  for (std::size_t got = kPiece; got == kPiece;) {
    const Blocking blocking;
    error = GetForceDiskReadErr();
    raiseIf(error ? error : from.read(buffer.data(), kPiece, &got), fromPath);
    error = GetForceDiskWriteErr();
    raiseIf(error ? error : to.write(buffer.data(), got), toPath);
  }
}

}  // namespace

// ---- CoreWinFileLocator

CoreWinFileLocator* CoreWinFileLocator::New(const char* folder, const char* name) {
  return made(new CoreWinFileLocator, [&](CoreWinFileLocator* file) {
    file->IFileLocator();
    file->Set(folder, name);
  });
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

void CoreWinFileLocator::Delete() { raiseIf(removeFile(GetPath()), GetPath()); }

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
  static const struct {
    const char* extension;
    Char4 type;
  } rows[] = {
      {".kyb", MakeChar4("ZVob")}, {".kyp", MakeChar4("ZVpj")}, {".kys", MakeChar4("ZVpf")},
      {".kye", MakeChar4("ZVe8")}, {".kyx", MakeChar4("ZVpi")}, {".kyc", MakeChar4("ZVsc")},
      {".txt", MakeChar4("TEXT")}, {".edl", MakeChar4("TEXT")}, {".htm", MakeChar4("TEXT")},
      {".omf", MakeChar4("OMFI")}, {".aaf", MakeChar4("AAFf")}, {".pct", MakeChar4("PICT")},
      {".wav", MakeChar4("WAVE")}, {".ctl", MakeChar4("FMSf")}, {".aif", MakeChar4("AIFF")},
      {".mov", MakeChar4("MooV")},
  };
  const std::string extension(partsOf(path).extension);
  const auto* const row = std::find_if(std::begin(rows), std::end(rows), [&](const auto& candidate) {
    return CIstrcmp(extension.c_str(), candidate.extension) == 0;
  });
  if (found) *found = row != std::end(rows);
  return row != std::end(rows) ? row->type : kUnknownType;
}

ULong CoreWinFileLocator::GetFileType() {
  Boolean found = 0;
  const ULong type = GetFileTypeBasedOnExtension(GetPath(), &found);
  if (found) return type;
  fileRec_t** file = nullptr;
  if (!succeeds([&] { file = Open(kFileRead, 0); })) return kUnknownType;
  DocumentStart start;
  always([&] { KYReadFile(file, start.bytes, 0, kFromStart, DocumentStart::kSize); }, [&] { KYCloseFile(file); });
  return start.type();
}

void CoreWinFileLocator::SetFileType(ULong type) {
  static const struct {
    Char4 type;
    const char* extension;
  } rows[] = {
      {MakeChar4("ZVob"), ".kyb"}, {MakeChar4("ZVpj"), ".kyp"}, {MakeChar4("ZVpf"), ".kys"},
      {MakeChar4("ZVe8"), ".kye"}, {MakeChar4("ZVsc"), ".kyc"}, {MakeChar4("WAVE"), ".wav"},
      {MakeChar4("AIFF"), ".aif"}, {MakeChar4("Zvdf"), ".tdf"}, {MakeChar4("Zvsc"), ".tsrc"},
  };
  const auto* const row = std::find_if(std::begin(rows), std::end(rows), [&](auto& r) { return r.type == type; });
  if (row == std::end(rows)) return;
  const PathParts parts = partsOf(GetPath());
  const std::string present(parts.extension);
  if (present.size() == kExtensionLength && CIstrcmp(present.c_str(), row->extension) == 0) return;
  const std::string name = std::string(parts.name) + row->extension;
  if (Exists()) {
    Rename(name.c_str(), 0);
  } else {
    SetName(name.c_str());
  }
}

Long CoreWinFileLocator::GetLength() {
  platform::EntryFacts facts;
  raiseIf(platform::entryFacts(GetPath(), &facts), GetPath());
  return static_cast<Long>(std::min<Int64>(facts.length, 0x7FFFFFFF));
}

AFileLocator* CoreWinFileLocator::CopyAFile(ADirLocator* folder, const char* name, Boolean replace) {
  Owned<AFileLocator> copy(folder->GetFile(name, nullptr));
  char target[kPathSize];
  copy->GetFullPath(target, sizeof target);
  safeReplace(copy.get(), replace != 0, GetPath(), [&](fileRec_t** to) { copyContents(GetPath(), to, target); });
  return copy.release();
}

// ---- CoreWinDirLocator

CoreWinDirLocator* CoreWinDirLocator::New(const char* folder, const char* name) {
  return made(new CoreWinDirLocator, [&](CoreWinDirLocator* dir) {
    dir->ILocator();
    dir->Set(folder, name);
  });
}

CoreWinDirLocator* CoreWinDirLocator::New(short volume, Long folder, const char* name) {
  return made(new CoreWinDirLocator, [&](CoreWinDirLocator* dir) {
    dir->ILocator();
    dir->Set(volume, folder, name);
  });
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
  raiseIf(GetForceDiskDeleteErr(), GetPath());
  raiseIf(platform::removeFolder(GetPath()), GetPath());
  stopSharing(GetPath());
}

void CoreWinDirLocator::Create(ULong) { raiseIf(platform::makeFolder(GetPath()), GetPath()); }

Boolean CoreWinDirLocator::IsEqual(ALocator* other) { return samePath(*this, other, LOC_DIRECTORY); }

CKyList* CoreWinDirLocator::ReadDir() {
  std::vector<platform::FolderEntry> entries;
  raiseIf(platform::readFolder(GetPath(), &entries), GetPath());
  CKyList* const list = CKyList::New();
  const auto add = [&](const platform::FolderEntry& entry) {
    const std::string path = joined(GetPath(), entry.name);
    // Skipped too: what another system's resource forks were put into, and what no locator can name.
    if (entry.name.starts_with(".") || path.size() >= kPathSize) return;
    if (entry.isFolder) {
      Owned<ADirLocator> dir(ADirLocator::New());
      dir->Set(path.c_str(), nullptr);
      list->Add(dir.get());
      dir.release();
    } else {
      Owned<AFileLocator> file(AFileLocator::New());
      file->Set(path.c_str(), nullptr);
      list->Add(file.get());
      file.release();
    }
  };
  guardedReraise([&] { std::for_each(entries.begin(), entries.end(), add); },
                 [&] {
                   list->DisposeItems();
                   list->Dispose();
                 });
  return list;
}

ADirLocator* CoreWinDirLocator::GetDir(const char* name, ADirLocator* entry) {
  if (entry) return entry->Set(GetPath(), name), entry;
  return made(ADirLocator::New(), [&](ADirLocator* dir) { dir->Set(GetPath(), name); });
}

AFileLocator* CoreWinDirLocator::GetFile(const char* name, AFileLocator* entry) {
  if (entry) return entry->Set(GetPath(), name), entry;
  return made(AFileLocator::New(), [&](AFileLocator* file) { file->Set(GetPath(), name); });
}

// A comma may stand in a name and is replaced all the same: names that were mended before must come out as they did.
void CoreWinDirLocator::MakeFileNameValid(char* name) {
  for (; *name; ++name) {
    if (std::strchr("\"*,/:<>?\\|", *name)) *name = '_';
  }
}

ALocator* CoreWinDirLocator::ConvertToMacLocator() { return nullptr; }

Boolean CoreWinDirLocator::IsTop() { return liesAtTop(GetPath()); }

void CoreWinDirLocator::TouchDir() { raiseIf(platform::touch(GetPath()), GetPath()); }

Boolean CoreWinDirLocator::TouchDirIfNeeded() {
  platform::EntryFacts facts;
  raiseIf(platform::entryFacts(GetPath(), &facts), GetPath());
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
  raiseIf(platform::entryFacts(GetPath(), &facts), GetPath());
  indexedChange = facts.changed;
}

void CoreWinDirLocator::ClearFileIndex() { indexedChange = 0; }
