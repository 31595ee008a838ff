#include "platform/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "platform/Clock.h"
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

}  // namespace

File::File(File&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      readable_(std::exchange(other.readable_, -1)),
      writeOnly_(other.writeOnly_),
      passed_(other.passed_) {}

int File::open(const char* path, Access access, Disposition disposition) {
  close();
  static constexpr int accessFlags[] = {0, O_RDONLY, O_WRONLY, O_RDWR};
  int flags = accessFlags[static_cast<int>(access)] | O_CLOEXEC;
  if (disposition != Disposition::openExisting) flags |= O_CREAT;
  if (disposition == Disposition::replace) flags |= O_TRUNC;
  descriptor_ = retried([&] { return ::open(path, flags, 0666); });
  if (descriptor_ < 0) return lastError();
  writeOnly_ = access == Access::write;
  passed_ = 0;
  struct stat facts;
  const int failed = ::fstat(descriptor_, &facts) < 0 ? errno : S_ISDIR(facts.st_mode) ? EISDIR : 0;
  if (failed) close();
  return failed ? fileErrorOf(failed) : 0;
}

int File::createNew(const char* path) {
  close();
  descriptor_ = retried([&] { return ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); });
  if (descriptor_ < 0) return lastError();
  writeOnly_ = true;
  return 0;
}

int File::length(Int64* bytes) const {
  struct stat facts;
  if (::fstat(descriptor_, &facts) < 0) return lastError();
  *bytes = facts.st_size;
  return 0;
}

void File::keepLittleInMemory() { (void)::posix_fadvise(descriptor_, 0, 0, POSIX_FADV_NOREUSE); }

int File::setLength(Int64 bytes) {
  return retried([&] { return ::ftruncate(descriptor_, bytes); }) < 0 ? lastError() : 0;
}

int File::reserve(Int64 bytes) {
  Int64 now = 0;
  if (const int error = length(&now)) return error;
  if (bytes <= now) return setLength(bytes);
  const bool reserved = retried([&] { return ::fallocate(descriptor_, 0, now, bytes - now); }) == 0;
  if (!reserved && (errno == EOPNOTSUPP || errno == ENOSYS)) return setLength(bytes);
  return reserved ? 0 : lastError();
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
    if (n == 0) return fileErrorOf(ENOSPC);  // or it would be asked for ever
    from += n;
    count -= static_cast<std::size_t>(n);
  }
  return 0;
}

int File::readAt(Int64 position, void* buffer, std::size_t count, std::size_t* got) {
  *got = 0;
  while (*got < count) {
    char* const to = static_cast<char*>(buffer) + *got;
    const auto from = static_cast<off_t>(position + static_cast<Int64>(*got));
    ssize_t n = retried([&] { return ::pread(descriptor_, to, count - *got, from); });
    if (n < 0 && errno == ESPIPE && from == passed_) {
      n = retried([&] { return ::read(descriptor_, to, count - *got); });
      passed_ += std::max<ssize_t>(n, 0);
    }
    if (n < 0) return lastError();
    if (n == 0) break;
    *got += static_cast<std::size_t>(n);
  }
  return 0;
}

int File::writeAt(Int64 position, const void* buffer, std::size_t count, std::size_t* taken) {
  ssize_t n = retried([&] { return ::pwrite(descriptor_, buffer, count, position); });
  if (n < 0 && errno == ESPIPE && position == passed_) {
    n = retried([&] { return ::write(descriptor_, buffer, count); });
    passed_ += std::max<ssize_t>(n, 0);
  }
  *taken = n < 0 ? 0 : static_cast<std::size_t>(n);
  return n < 0 ? lastError() : 0;
}

/// A shared lock wants a descriptor that reads. The file is opened again by its descriptor: under its name may stand
/// another one by now.
int File::lockDescriptor() {
  if (!writeOnly_ || readable_ >= 0) return 0;
  char path[32];
  std::snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor_);
  readable_ = retried([&] { return ::open(path, O_RDONLY | O_CLOEXEC); });
  return readable_ < 0 ? lastError() : 0;
}

// Locks of the open file and not of the process: those would end as soon as the process closes the file anywhere.

int File::lock(Int64 begin, LockKind kind) {
  struct flock range = {};
  range.l_type = kind == LockKind::shared ? F_RDLCK : F_WRLCK;
  range.l_whence = SEEK_SET;
  range.l_start = begin;
  if (kind == LockKind::shared) {
    if (const int error = lockDescriptor()) return error;
  }
  const int descriptor = kind == LockKind::shared && writeOnly_ ? readable_ : descriptor_;
  if (retried([&] { return ::fcntl(descriptor, F_OFD_SETLK, &range); }) == 0) return 0;
  return errno == EAGAIN || errno == EACCES ? kFileLocked : lastError();
}

int File::unlock(Int64 begin) {
  struct flock range = {};
  range.l_type = F_UNLCK;
  range.l_whence = SEEK_SET;
  range.l_start = begin;
  int error = 0;
  for (const int descriptor : {descriptor_, readable_}) {
    if (descriptor >= 0 && ::fcntl(descriptor, F_OFD_SETLK, &range) < 0) error = lastError();
  }
  return descriptor_ < 0 ? fileErrorOf(EBADF) : error;
}

int File::creationTime(std::tm* localTime) const {
  struct statx facts;
  if (::statx(descriptor_, "", AT_EMPTY_PATH, STATX_BTIME | STATX_CTIME, &facts) < 0) return lastError();
  const bool known = facts.stx_mask & STATX_BTIME;
  *localTime = platform::localTime(known ? facts.stx_btime.tv_sec : facts.stx_ctime.tv_sec);
  return 0;
}

int File::modificationTime(Int64* time) const {
  struct stat facts;
  if (::fstat(descriptor_, &facts) < 0) return lastError();
  constexpr Int64 secondsTo1970 = 11644473600;
  *time = (facts.st_mtim.tv_sec + secondsTo1970) * 10000000 + facts.st_mtim.tv_nsec / 100;
  return 0;
}

int File::flushToDisk() {
  // What has nothing to flush says EINVAL.
  return retried([&] { return ::fsync(descriptor_); }) < 0 && errno != EINVAL ? lastError() : 0;
}

int File::close() {
  if (readable_ >= 0) ::close(std::exchange(readable_, -1));
  if (descriptor_ < 0) return 0;
  // Not called again after EINTR: the descriptor is gone by then and may be another thread's.
  const bool failed = ::close(descriptor_) < 0 && errno != EINTR;
  descriptor_ = -1;
  return failed ? lastError() : 0;
}

bool backslashSeparates() { return false; }

int removeFile(const char* path) { return ::unlink(path) < 0 ? lastError() : 0; }

std::string nameBeside(const std::string& path) {
  static std::atomic<unsigned> calls{0};
  char tail[48];
  std::snprintf(tail, sizeof tail, ".%ld-%u.tmp", static_cast<long>(::getpid()), calls.fetch_add(1));
  return path + tail;
}

}  // namespace ky::platform
