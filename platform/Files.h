// Files by descriptor: open, read, write, lock, flush to disk, rename, remove.
#pragma once

#include <cstddef>
#include <ctime>
#include <string>

#include "core/base/KyTypes.h"

namespace ky::platform {

enum class Access { read = 1, write = 2, readWrite = 3 };

/// What becomes of a file that is there, or is not.
enum class Disposition { replace = 2, openExisting = 3, openOrCreate = 4 };

enum class LockKind { shared, exclusive };

/// An open file, closed with its owner. Each operation returns 0 or a number of the file-error table.
///
/// Threads:  `readAt`, `writeAt` and `length` any; the rest one at a time.
class KY_API File {
 public:
  File() = default;
  ~File() { close(); }
  File(File&& other) noexcept;
  File& operator=(File&&) = delete;

  /// A folder is refused with kAccessDenied.
  int open(const char* path, Access access, Disposition disposition);
  int openToRead(const char* path) { return open(path, Access::read, Disposition::openExisting); }

  /// Makes a file that must not be there yet.
  int createNew(const char* path);

  /// Tells the system that what is read or written will not be wanted again soon.
  void keepLittleInMemory();

  int length(Int64* bytes) const;
  /// Cuts the file, or makes it longer by zeros.
  int setLength(Int64 bytes);
  /// Makes the file longer, with room on the disk for what is to come, if the file system can tell so.
  int reserve(Int64 bytes);

  /// Reads up to `count` bytes from the present place; `*got` is less only at the end of the file.
  int read(void* buffer, std::size_t count, std::size_t* got);

  /// Writes all of `count` bytes at the present place.
  int write(const void* buffer, std::size_t count);

  /// The same at `position`, whatever the present place is, which stays. `*got` also tells what came before an error.
  /// What has no places, such as a pipe, is read from its start to its end, and any other position is kCannotSeek.
  int readAt(Int64 position, void* buffer, std::size_t count, std::size_t* got);

  /// Asks the system once to write at `position`; it may take less than `count`. Again a pipe is written in a row.
  int writeAt(Int64 position, const void* buffer, std::size_t count, std::size_t* taken);

  /// Locks what lies from `begin` on, without waiting; kFileLocked if another open file has a lock that excludes it,
  /// in this process or another. A file that is open for writing alone can be locked only if it may also be read.
  int lock(Int64 begin, LockKind kind);
  int unlock(Int64 begin);

  int creationTime(std::tm* localTime) const;
  /// Units:    100 ns since 1601.
  int modificationTime(Int64* time) const;

  /// Returns once the contents are on the disk.
  int flushToDisk();

  /// Also tells an error of earlier writes that the system kept until now.
  int close();

  /// The number by which the system knows the open file, -1 for none.
  int number() const { return descriptor_; }

 private:
  int lockDescriptor();

  int descriptor_ = -1;
  int readable_ = -1;  ///< the same file opened again for reading, once a lock asks for it
  bool writeOnly_ = false;
  Int64 passed_ = 0;  ///< through a file that has no places
};

/// Whether paths of this host are made of drives and backslashes.
KY_API bool backslashSeparates();

KY_API int removeFile(const char* path);

/// A name beside `path` that no other process or call uses, for what will be renamed to `path`.
KY_API std::string nameBeside(const std::string& path);

}  // namespace ky::platform
