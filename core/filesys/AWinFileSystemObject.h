// A full path, and the work on what stands there: what the concrete locators have in common.
#pragma once

#include <ctime>
#include <string>

#include "core/filesys/ALocator.h"
#include "core/filesys/Paths.h"
#include "core/mem/Owned.h"

class KY_API AFileSystemObject {
 public:
  static Boolean GetWinFileNamesMode() { return _windowsCompatibleFilenames; }
  static void SetWinFileNamesMode(Boolean on) { _windowsCompatibleFilenames = on; }

 protected:
  static Boolean _windowsCompatibleFilenames;
};

/// Every operation is told where the locator classes declare it.
class KY_API AWinFileSystemObject : public AFileSystemObject {
 public:
  // Virtual operations, in slot order.
  virtual Boolean Exists();
  virtual Boolean FileExists();
  virtual Boolean DirExists();
  virtual char* GetPrintName(char* buffer, Long size);
  virtual void GetModDate(std::tm* date);
  virtual void GetCreateDate(std::tm* date);
  virtual char* GetName(char* buffer, Long size);
  virtual void Move(ADirLocator* newParent, Boolean replace);
  virtual void Rename(const char* newName, Boolean replace);
  virtual char* GetFullPath(char* buffer, Long size);
  virtual char* GetFullPathCanonical(char* buffer, Long size);
  virtual void SetFileLock(Boolean lock);
  virtual Boolean GetFileLock();
  virtual ADirLocator* GetParentDir(ADirLocator* parent);
  virtual void SetUniversalPath();
  virtual void SetName(const char* name);
  /// Returns:  the path itself.
  virtual const char* GetPath() const;
  /// Takes any path, cut to what fits. Unlike a name to be made, it may hold what the host allows.
  virtual void SetPath(const char* newPath);
  virtual OSVolID GetOSVolID();
  virtual ~AWinFileSystemObject() = default;

 protected:
  AWinFileSystemObject() = default;

  /// Names `name` in the folder of that path; a null or empty name leaves the folder's path.
  ///
  /// Raises:   DISK_INVALID_FILENAME_SYNTAX for a name with one of "*/:<>?\|.
  void IWinFileSystemObject(const char* folder, const char* name);

  /// The path as documents keep it, and back.
  void putPath(AStream* stream, AIODesc* desc);
  void getPath(AStream* stream, AIODesc* desc);

 private:
  void moveTo(const std::string& newPath, Boolean replace);

  char path[ky::kPathSize] = {};
};

namespace ky {

/// Has `locator`, or a new one if that is null, name `name` in the folder, or the folder.
template <class Locator>
Locator* named(Locator* locator, const char* folder, const char* name) {
  Owned<Locator> made(locator ? nullptr : Locator::New());
  Locator* const result = locator ? locator : made.get();
  result->Set(folder, name);
  made.release();
  return result;
}

/// Tells whether the folder that `path` lies in is the root of its tree.
KY_API bool liesAtTop(std::string_view path, PathStyle style = hostPathStyle());

/// A network name as a path: two separators in front of server and share.
KY_API std::string asNetworkPath(std::string_view name, PathStyle style = hostPathStyle());

}  // namespace ky
