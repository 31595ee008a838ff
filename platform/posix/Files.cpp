#include "platform/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>

#include "platform/Errors.h"

namespace ky::platform {
namespace {

int lastError() { return fileErrorOf(errno); }

/// Runs a system call again for as long as a signal cuts it short.
template <class Call>
auto retried(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

int flushFolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(slash, 1));
  const int descriptor = retried([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (descriptor < 0) return lastError();
  // A file system that cannot flush a folder says EINVAL; the rename itself stands.
  const bool failed = retried([&] { return ::fsync(descriptor); }) < 0 && errno != EINVAL;
  const int error = failed ? lastError() : 0;
  ::close(descriptor);
  return error;
}

}  // namespace

int File::openToRead(const char* path) {
  close();
  descriptor_ = retried([&] { return ::open(path, O_RDONLY | O_CLOEXEC); });
  if (descriptor_ < 0) return lastError();
  struct stat facts;
  if (::fstat(descriptor_, &facts) < 0) return lastError();
  if (S_ISDIR(facts.st_mode)) {
    close();
    return fileErrorOf(EISDIR);
  }
  return 0;
}

int File::createNew(const char* path, const char* like) {
  close();
  struct stat facts;
  const bool known = like != nullptr && ::stat(like, &facts) == 0;
  descriptor_ = retried([&] { return ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); });
  if (descriptor_ < 0) return lastError();
  if (known) (void)::fchmod(descriptor_, facts.st_mode & 07777);
  return 0;
}

int File::length(Int64* bytes) const {
  struct stat facts;
  if (::fstat(descriptor_, &facts) < 0) return lastError();
  *bytes = facts.st_size;
  return 0;
}

int File::read(void* buffer, std::size_t count, std::size_t* got) {
  *got = 0;
  while (*got < count) {
    const ssize_t n = retried([&] { return ::read(descriptor_, static_cast<char*>(buffer) + *got, count - *got); });
    if (n < 0) return lastError();
    if (n == 0) break;
    *got += static_cast<std::size_t>(n);
  }
  return 0;
}

int File::write(const void* buffer, std::size_t count) {
  const char* from = static_cast<const char*>(buffer);
  while (count > 0) {
    const ssize_t n = retried([&] { return ::write(descriptor_, from, count); });
    if (n < 0) return lastError();
    from += n;
    count -= static_cast<std::size_t>(n);
  }
  return 0;
}

int File::flushToDisk() {
  return retried([&] { return ::fsync(descriptor_); }) < 0 ? lastError() : 0;
}

int File::close() {
  if (descriptor_ < 0) return 0;
  // Not called again after EINTR: the descriptor is gone by then and may be another thread's.
  const bool failed = ::close(descriptor_) < 0 && errno != EINTR;
  descriptor_ = -1;
  return failed ? lastError() : 0;
}

int renameFile(const char* from, const char* to) {
  if (::rename(from, to) < 0) return lastError();
  return flushFolderOf(to);
}

int removeFile(const char* path) { return ::unlink(path) < 0 ? lastError() : 0; }

std::string nameBeside(const std::string& path) {
  static std::atomic<unsigned> calls{0};
  char tail[48];
  std::snprintf(tail, sizeof tail, ".%ld-%u.tmp", static_cast<long>(::getpid()), calls.fetch_add(1));
  return path + tail;
}

}  // namespace ky::platform
