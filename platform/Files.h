// Files by descriptor: open, read, write, flush to disk, rename, remove.
#pragma once

#include <cstddef>
#include <string>

#include "core/base/KyTypes.h"

namespace ky::platform {

/// An open file, closed with its owner. Each operation returns 0 or a number of the file-error table.
class KY_API File {
 public:
  File() = default;
  ~File() { close(); }
  File(File&& other) noexcept : descriptor_(other.descriptor_) { other.descriptor_ = -1; }
  File& operator=(File&&) = delete;

  int openToRead(const char* path);

  /// Makes a file that must not be there yet, with the access rights of `like` if that file exists.
  int createNew(const char* path, const char* like);

  int length(Int64* bytes) const;

  /// Reads up to `count` bytes from the present place; `*got` is less only at the end of the file.
  int read(void* buffer, std::size_t count, std::size_t* got);

  /// Writes all of `count` bytes at the present place.
  int write(const void* buffer, std::size_t count);

  /// Returns once the contents are on the disk.
  int flushToDisk();

  /// Also tells an error of earlier writes that the system kept until now.
  int close();

 private:
  int descriptor_ = -1;
};

/// Puts the file `from` in the place of `to`, in one step, and flushes the folder. Both lie in one folder.
KY_API int renameFile(const char* from, const char* to);

KY_API int removeFile(const char* path);

/// A name beside `path` that no other process or call uses, for what will be renamed to `path`.
KY_API std::string nameBeside(const std::string& path);

}  // namespace ky::platform
