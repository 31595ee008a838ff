// Small services over locators: free names, temporary files, well-known folders, walks.
#pragma once

#include "core/base/KyTypes.h"

class ADirLocator;
class AFileLocator;
class ALocator;

/// Finds a name under which neither folder holds anything: `name` itself, or its first 24 characters with a number
/// behind them, in front of an extension of three letters. The name without that extension must be free in `dir` too.
///
/// Borrows:  `otherDir` may be null. `out` has room for `name`, and for 32 characters at least.
/// Returns:  true if `out` is `name`, which is so too once 999 numbers are taken.
KY_API Boolean MakeUniqueName(ADirLocator* dir, char* out, const char* name, ADirLocator* otherDir);

/// Where a temporary file lies.
enum : short {
  kTempInFolder = 0,   ///< the folder of SetFSTempDir
  kTempOfSystem = 1,   ///< and so any number but 0 and 2
  kTempBesideOut = 2,  ///< the folder that `out` names, or that the file it names lies in
};

/// Names a temporary file, "tmp" and a number if `prefix` is empty. With `unique` the name has a number and the file is
/// made, empty, which nobody else did or can do under that name.
///
/// Requires: "sTempFileDir != NULL".
/// Returns:  `out`, or if that is null a new locator, which the caller owns.
KY_API AFileLocator* GetTempFile(const char* prefix, Boolean unique, short kind, AFileLocator* out);

/// Owns:     `dir`.
KY_API void SetFSTempDir(ADirLocator* dir);
KY_API void DisposeFSTempDir();

/// Makes `dir` name the folder that the program was started from.
KY_API void GetStartupDirInfo(ADirLocator* dir);
/// Makes that folder the one that incomplete paths count from.
KY_API void DefaultToStartupDir();

/// A walk calls the routine with each item, which ends behind the call, until that returns false.
///
/// Returns:  false if the routine ended the walk.
typedef Boolean (*KyWalkProc)(ALocator* item, LongPtr data);
KY_API Boolean ForEachFile(ADirLocator* dir, KyWalkProc visit, LongPtr data);
KY_API Boolean ForEachSubDir(ADirLocator* dir, KyWalkProc visit, LongPtr data);
KY_API Boolean ForEachItemInDir(ADirLocator* dir, KyWalkProc visit, LongPtr data);
/// The folder, the one that it lies in, and so on up to the root.
KY_API Boolean ForEachDirInChain(ADirLocator* dir, KyWalkProc visit, LongPtr data);

/// Looks for a file by name in the folder, then in the folders in it, `levels` deep (0 for 64, which is also the most).
/// A folder that may not be read counts as empty.
///
/// Returns:  a new locator, which the caller owns; null if there is no such file.
KY_API AFileLocator* KYSearchFile(ADirLocator* dir, const char* name, ULong levels);

/// Tells the user that changes to the file will be lost.
KY_API void AccessDeniedExcMsg(AFileLocator* file);

/// Folders by a four-character id. 'APPL' is where the program was started from, 'TEMP' the system's folder of
/// temporary files.
class KY_API SpecialFolders {
 public:
  /// Returns:  false, with an empty text, for an id that is not known.
  static bool Get(Long id, char* buffer, Long length);

  /// Files `path` under the id. With a `base`, another id, it counts from that folder.
  ///
  /// Returns:  false, with nothing changed, if `base` is not known, or if `id` is and `replace` is false.
  static bool Register(Long id, Long base, const char* path, bool replace);

  /// Forgets all but what the table begins with.
  static void Dispose();

 private:
  static void InitSpecialFolders();
};
