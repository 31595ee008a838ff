// What stands under a path: facts about it, and folders made, read, moved and removed.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "core/base/KyTypes.h"

namespace ky::platform {

struct EntryFacts {
  bool isFolder = false;
  bool isPlain = false;     ///< neither a folder nor a device, a pipe or the like
  bool isReadOnly = false;  ///< nobody may write to it
  Int64 length = 0;
  Int64 changed = 0;  ///< in 100 ns since 1970
  std::tm changedLocal = {};
  std::tm createdLocal = {};  ///< of the last change of the entry where the system keeps no time of creation
};

// Each returns 0 or a number of the file-error table. Links are followed.

KY_API int entryFacts(const char* path, EntryFacts* facts);
/// Leads from a link to where it points, whether or not something is there; other paths stay.
KY_API int followLinks(std::string* path);
KY_API int setReadOnly(const char* path, bool readOnly);
/// Lets the same users do with `to` what they may do with `from`, as far as the caller may grant it.
KY_API int copyAccess(const char* from, const char* to);
KY_API int makeFolder(const char* path);
KY_API int removeFolder(const char* path);
KY_API int touch(const char* path);

/// Gives the entry another name in one step. Without `replace` a name that is taken is kFileExists.
KY_API int moveEntry(const char* from, const char* to, bool replace);
/// Returns once such a move is on the disk. Asks for no memory, so nothing but the disk can fail behind a move.
KY_API int flushMove(const char* from, const char* to);

struct FolderEntry {
  std::string name;
  bool isFolder = false;
};

/// The entries at one moment, in no order, without "." and ".."; those that vanish or cannot be asked are left out.
KY_API int readFolder(const char* path, std::vector<FolderEntry>* entries);

KY_API int setCurrentFolder(const char* path);

/// The system's folder of temporary files, without a separator at its end.
KY_API std::string systemTemporaryFolder();

/// The name of `path` that other hosts can use; "" if the host knows none.
KY_API std::string universalName(const std::string& path);

}  // namespace ky::platform
