// The locators of this host's files and folders.
#pragma once

#include "core/filesys/AWinFileSystemObject.h"
#include "core/mem/Owned.h"

namespace ky {

/// A locator whose work on the file system is AWinFileSystemObject's. Every change of the path is one that undo
/// follows.
template <class Locator>
class HostLocator : public Locator, public AWinFileSystemObject {
 public:
  using Locator::Set;
  using Locator::operator=;

  Boolean Exists() override { return AWinFileSystemObject::Exists(); }
  Boolean FileExists() override { return AWinFileSystemObject::FileExists(); }
  Boolean DirExists() override { return AWinFileSystemObject::DirExists(); }
  char* GetPrintName(char* buffer, Long size) override { return AWinFileSystemObject::GetPrintName(buffer, size); }
  void GetModDate(std::tm* date) override { AWinFileSystemObject::GetModDate(date); }
  void GetCreateDate(std::tm* date) override { AWinFileSystemObject::GetCreateDate(date); }
  char* GetName(char* buffer, Long size) override { return AWinFileSystemObject::GetName(buffer, size); }
  void Move(ADirLocator* newParent, Boolean replace) override { AWinFileSystemObject::Move(newParent, replace); }
  void Rename(const char* newName, Boolean replace) override { AWinFileSystemObject::Rename(newName, replace); }
  char* GetFullPath(char* buffer, Long size) override { return AWinFileSystemObject::GetFullPath(buffer, size); }
  void SetFileLock(Boolean lock) override { AWinFileSystemObject::SetFileLock(lock); }
  Boolean GetFileLock() override { return AWinFileSystemObject::GetFileLock(); }
  ADirLocator* GetParentDir(ADirLocator* parent) override { return AWinFileSystemObject::GetParentDir(parent); }
  void SetName(const char* name) override { AWinFileSystemObject::SetName(name); }
  OSVolID GetOSVolID() override { return AWinFileSystemObject::GetOSVolID(); }
  void Set(const char* folder, const char* name) override { IWinFileSystemObject(folder, name); }
  void SetPath(const char* newPath) override {
    this->SaveUndoState();
    AWinFileSystemObject::SetPath(newPath);
  }

 protected:
  /// Has a new locator name a place.
  template <class Own, class... Place>
  static Own* placed(Own* locator, Place... place) {
    Owned<Own> made(locator);
    made->ILocator();
    made->Set(place...);
    return made.release();
  }
};

}  // namespace ky

class KY_API CoreWinFileLocator : public ky::HostLocator<AFileLocator> {
  KY_PORTABLE(CoreWinFileLocator, AFileLocator, "CWFL", 1, 1, 1)

 public:
  static CoreWinFileLocator* New(const char* folder, const char* name);

  /// The type that a file's extension stands for.
  ///
  /// Returns:  'ZVrf' for an extension that is not in the table; `*found`, which may be null, tells.
  static ULong GetFileTypeBasedOnExtension(const char* path, Boolean* found);

  void Put(AStream* stream, AIODesc* desc) override;
  void Get(AStream* stream, AIODesc* desc) override;
  /// Names the place that the other one names.
  using AFileLocator::operator=;
  CoreWinFileLocator& operator=(const CoreWinFileLocator& other);

  void Delete() override;
  Boolean IsEqual(ALocator* other) override;
  char* GetFullPathCanonical(char* buffer, Long size) override;
  void SetUniversalPath() override;
  fileRec_t** Open(unsigned short flags, ULong perms) override;
  AFileStream* OpenStream(unsigned short flags, ULong perms) override;
  /// Puts the extension of the type behind the name, unless it is there, and renames the file if there is one. An
  /// extension that is there already stays in front of it.
  void SetFileType(ULong type) override;
  /// The type that the extension stands for, else the one that a document of this library carries inside.
  ///
  /// Raises:   DISK_EOF for a file too short to tell, DOMAIN_BAD_STRM_DATA for a damaged header.
  ULong GetFileType() override;
  Long GetLength() override;
  AFileLocator* CopyAFile(ADirLocator* folder, const char* name, Boolean replace) override;

  // Virtual operations behind AFileLocator's, in slot order.
  /// Opens the part of the file that the host knows as "<path>:<domain>"; where it knows no such parts, a file of that
  /// name.
  virtual AFileStream* OpenStream(const char* domain, unsigned short flags, ULong perms);
  virtual fileRec_t** OpenFile(const char* path, unsigned short flags, ULong perms);

 protected:
  CoreWinFileLocator() = default;
  ~CoreWinFileLocator() override = default;
};

class KY_API CoreWinDirLocator : public ky::HostLocator<ADirLocator> {
  KY_PORTABLE(CoreWinDirLocator, ADirLocator, "CWDL", 1, 1, 1)

 public:
  static CoreWinDirLocator* New(const char* folder, const char* name);
  static CoreWinDirLocator* New(short volume, Long folder, const char* name);

  void Put(AStream* stream, AIODesc* desc) override;
  void Get(AStream* stream, AIODesc* desc) override;

  void Delete() override;
  void Create(ULong perms) override;
  using ADirLocator::IsEqual;
  Boolean IsEqual(ALocator* other) override;
  CKyList* ReadDir() override;
  ADirLocator* GetDir(const char* name, ADirLocator* entry) override;
  AFileLocator* GetFile(const char* name, AFileLocator* entry) override;
  void MakeFileNameValid(char* name) override;
  ALocator* ConvertToMacLocator() override;
  Boolean IsTop() override;
  void TouchDir() override;
  Boolean TouchDirIfNeeded() override;
  using HostLocator<ADirLocator>::Set;
  void Set(short volume, Long folder, const char* name) override;
  /// A path that ends in separators is taken without them.
  void SetPath(const char* newPath) override;

  // Virtual operations behind ADirLocator's, in slot order.

  /// Remembers the folder as it stands now; TouchDirIfNeeded then finds changes.
  virtual void InitFileIndex();

  void ClearFileIndex();

 protected:
  CoreWinDirLocator() = default;
  ~CoreWinDirLocator() override = default;

 private:
  /// Units:    when the folder was last changed as the index was set up; 0 without an index.
  Int64 indexedChange = 0;
};
