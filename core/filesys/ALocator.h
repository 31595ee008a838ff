// Names of files and folders as objects: they persist, they are undone, and they know no file system.
//
// Documents keep locators, not path texts. Clients make them through AFileLocator::New() and ADirLocator::New(), so
// that an application can put classes of its own in.
#pragma once

#include <ctime>
#include <string>

#include "core/filesys/OSVolID.h"
#include "core/utils/AUndoable.h"

class ADirLocator;
class AFileStream;
class CKyList;
struct fileRec_t;

enum Loc_t { LOC_NONE = 0, LOC_FILE = 1, LOC_DIRECTORY = 2 };

/// A name of something. What a class of this tree leaves open is fatal to call on it.
class KY_API ALocator : public AUndoable {
  KY_CLASS(ALocator, AUndoable)

 public:
  static constexpr Char4 portableID = 0;
  static constexpr const char* portableName = "ALocator";

  ULong GetClassID() const override;

  // Virtual operations behind AUndoable's, in slot order.
  virtual void Delete();
  virtual Boolean Exists();
  /// The name as users see it.
  ///
  /// Returns:  `buffer`, cut to `size`; so do all that fill one.
  virtual char* GetPrintName(char* buffer, Long size);
  virtual Loc_t GetLocatorType();

 protected:
  ALocator() = default;
  ~ALocator() override = default;
  void ILocator() { IUndoable(1); }
};

/// A name in a tree of folders.
///
/// Raises:   what the system says of the place, as xraiseWinFileError does; DISK_INVALID_FILENAME_SYNTAX for a name
///           that no file may be given.
class KY_API AFileSystemLocator : public ALocator {
  KY_CLASS(AFileSystemLocator, ALocator)

 public:
  static constexpr const char* portableName = "AFileSystemLocator";

  // Virtual operations behind ALocator's, in slot order.
  virtual void Create(ULong perms);
  virtual Boolean IsEqual(ALocator* other);
  /// The local time.
  virtual void GetModDate(std::tm* date);
  virtual void GetCreateDate(std::tm* date);
  virtual char* GetName(char* buffer, Long size);
  /// Moves what is named into another folder, or renames it where it is; the locator follows. With `replace` a file
  /// that stands there gives way in the same step, so that the name never stands for nothing.
  ///
  /// Raises:   DISK_FILE_ALREADY_EXISTS without `replace`; FILE_OTHER for a folder of another volume, where a copy has
  ///           to do. What fails on the way to the disk leaves the move done, for the locator too.
  virtual void Move(ADirLocator* newParent, Boolean replace);
  virtual void Rename(const char* newName, Boolean replace);
  virtual char* GetFullPath(char* buffer, Long size);
  /// Makes what is named read-only, or writable again for its owner.
  virtual void SetFileLock(Boolean lock);
  virtual Boolean GetFileLock();
  /// Returns:  `parent`, or if that is null a new locator, which the caller owns.
  virtual ADirLocator* GetParentDir(ADirLocator* parent);
  /// Changes the name that the locator holds, and nothing else.
  virtual void SetName(const char* name);
  virtual Boolean FileExists();
  virtual Boolean DirExists();

 protected:
  AFileSystemLocator() = default;
  ~AFileSystemLocator() override = default;
};

class AFileLocatorManufacturer;
class ADirLocatorManufacturer;

class KY_API AFileLocator : public AFileSystemLocator {
  KY_CLASS(AFileLocator, AFileSystemLocator)

 public:
  static constexpr const char* portableName = "AFileLocator";

  /// Returns:  an empty locator of the class that the manufacturer in force makes.
  static AFileLocator* New();
  /// Null restores the default, which is in force at load.
  ///
  /// Borrows:  `manufacturer` until another is set.
  static void SetManufacturer(AFileLocatorManufacturer* manufacturer);

  Loc_t GetLocatorType() override;
  /// Makes the file, or empties it.
  void Create(ULong perms) override;

  // Virtual operations behind AFileSystemLocator's, in slot order.
  virtual void IFileLocator();
  /// The full path with '/' as its only separator.
  virtual char* GetFullPathCanonical(char* buffer, Long size);
  virtual OSVolID GetOSVolID();
  /// Replaces the path by the one under which the network knows the file, if it knows one.
  virtual void SetUniversalPath();
  /// Names the place that the other one names.
  virtual AFileLocator& operator=(const AFileLocator& other);
  /// Opens the file: KYCloseFile ends that.
  ///
  /// Units:    `flags` as in DiskRtns.h.
  virtual fileRec_t** Open(unsigned short flags, ULong perms);
  /// The same behind a stream, which closes the file.
  virtual AFileStream* OpenStream(unsigned short flags, ULong perms);
  /// For systems that keep a creator with a file; here nothing.
  virtual void SetCreatorType(ULong creator);
  /// Returns:  0.
  virtual ULong GetCreatorType();
  virtual void SetFileType(ULong type);
  /// Returns:  0.
  virtual ULong GetFileType();
  virtual Long GetLength();
  /// Copies the contents into a file of `folder`, which is there whole or not at all.
  ///
  /// Returns:  the copy's locator, which the caller owns.
  virtual AFileLocator* CopyAFile(ADirLocator* folder, const char* name, Boolean replace);
  /// Names `name` in the folder of that path, or with a null or empty name the path itself.
  virtual void Set(const char* folder, const char* name);

 protected:
  AFileLocator() = default;
  AFileLocator(const AFileLocator&) = default;
  ~AFileLocator() override = default;
};

class KY_API ADirLocator : public AFileSystemLocator {
  KY_CLASS(ADirLocator, AFileSystemLocator)

 public:
  static constexpr const char* portableName = "ADirLocator";

  /// As AFileLocator's.
  static ADirLocator* New();
  static void SetManufacturer(ADirLocatorManufacturer* manufacturer);

  Loc_t GetLocatorType() override;

  // Virtual operations behind AFileSystemLocator's, in slot order.

  using AFileSystemLocator::IsEqual;
  /// The second argument is for classes that know a folder by more than one name; this one does not look at it.
  virtual Boolean IsEqual(ALocator* other, Boolean resolve);
  virtual OSVolID GetOSVolID();
  /// What lies in the folder as it is now, without what begins with a full stop. An entry that vanishes meanwhile, or
  /// that may not be looked at, is left out.
  ///
  /// Returns:  new locators in a new list; the caller owns both.
  virtual CKyList* ReadDir();
  /// Make `entry` name something in this folder.
  ///
  /// Returns:  `entry`, or if that is null a new locator, which the caller owns.
  virtual ADirLocator* GetDir(const char* name, ADirLocator* entry);
  virtual AFileLocator* GetFile(const char* name, AFileLocator* entry);
  /// Replaces in place what a name may not hold.
  virtual void MakeFileNameValid(char* name);
  /// Returns:  null.
  virtual ALocator* ConvertToMacLocator();
  /// Tells whether the folder lies at the top of its tree.
  virtual Boolean IsTop();
  /// Renews the folder's time stamp.
  virtual void TouchDir();
  /// The same if the folder changed since its index was set up.
  ///
  /// Returns:  whether it did.
  virtual Boolean TouchDirIfNeeded();
  /// Names an entry of a volume, by its number; the folder's number is for systems that number them.
  virtual void Set(short volume, Long folder, const char* name);
  /// As AFileLocator's.
  virtual void Set(const char* folder, const char* name);
  /// Changes the name so that nothing stands under it yet.
  ///
  /// Raises:   DISK_INVALID_FILENAME_SYNTAX if the path has no room for such a name.
  virtual void SetUnique();

 protected:
  ADirLocator() = default;
  ~ADirLocator() override = default;
};

/// Decide which classes `New` makes.
class KY_API AFileLocatorManufacturer {
 public:
  virtual AFileLocator* New() = 0;

 protected:
  ~AFileLocatorManufacturer() = default;
};

class KY_API ADirLocatorManufacturer {
 public:
  virtual ADirLocator* New() = 0;

 protected:
  ~ADirLocatorManufacturer() = default;
};

namespace ky {

KY_API std::string fullPathOf(AFileSystemLocator* locator);

/// What SetManufacturer(null) goes back to; called once, as the library is loaded, by whoever owns the concrete
/// classes.
///
/// Borrows:  both for good.
void setDefaultManufacturers(AFileLocatorManufacturer* files, ADirLocatorManufacturer* folders);

}  // namespace ky
