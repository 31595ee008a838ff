#include "platform/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/Clock.h"
#include "platform/Errors.h"

namespace ky::platform {
namespace {

int result(bool succeeded) { return succeeded ? 0 : fileErrorOf(errno); }

constexpr mode_t kAnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;

constexpr std::size_t kLongestPath = 4096;

/// The folder that an entry lies in, without asking for memory.
struct FolderOf {
  explicit FolderOf(const char* path) {
    const char* const slash = std::strrchr(path, '/');
    const int length = slash ? static_cast<int>(std::max<std::ptrdiff_t>(slash - path, 1)) : 1;
    std::snprintf(text, sizeof text, "%.*s", length, slash ? path : ".");
  }
  char text[kLongestPath];
};

int flushFolder(const FolderOf& folder) {
  const int descriptor = ::open(folder.text, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  // A folder that may be written to and not read cannot be flushed; the new name stands.
  if (descriptor < 0) return errno == EACCES ? 0 : fileErrorOf(errno);
  const int error = ::fsync(descriptor) == 0 || errno == EINVAL ? 0 : fileErrorOf(errno);
  ::close(descriptor);
  return error;
}

/// A rename that refuses a name that is taken.
bool renameFree(const char* from, const char* to) {
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // A second name is refused as well if it is taken, on file systems that do not know the flag; folders have none.
  if (::link(from, to) == 0) return ::unlink(from) == 0;
  struct stat facts;
  if (errno != EPERM) return false;
  if (::lstat(to, &facts) == 0) {
    errno = EEXIST;
    return false;
  }
  return ::rename(from, to) == 0;
}

}  // namespace

int entryFacts(const char* path, EntryFacts* facts) {
  struct statx found;
  if (::statx(AT_FDCWD, path, 0, STATX_BASIC_STATS | STATX_BTIME, &found) != 0) return fileErrorOf(errno);
  facts->isFolder = S_ISDIR(found.stx_mode);
  facts->isPlain = S_ISREG(found.stx_mode);
  facts->isReadOnly = (found.stx_mode & kAnyWrite) == 0;
  facts->length = static_cast<Int64>(found.stx_size);
  facts->changed = found.stx_mtime.tv_sec * Int64{10'000'000} + found.stx_mtime.tv_nsec / 100;
  facts->changedLocal = localTime(found.stx_mtime.tv_sec);
  facts->createdLocal = localTime((found.stx_mask & STATX_BTIME ? found.stx_btime : found.stx_ctime).tv_sec);
  return 0;
}

int followLinks(std::string* path) {
  constexpr int kMost = 40;
  char target[kLongestPath];
  for (int i = 0; i < kMost; ++i) {
    const ssize_t length = ::readlink(path->c_str(), target, sizeof target);
    if (length < 0) return errno == EINVAL || errno == ENOENT ? 0 : fileErrorOf(errno);
    const std::string to(target, static_cast<std::size_t>(length));
    const std::size_t folder = to.starts_with('/') ? std::string::npos : path->rfind('/');
    *path = folder == std::string::npos ? to : path->substr(0, folder + 1) + to;
  }
  return fileErrorOf(ELOOP);
}

int setReadOnly(const char* path, bool readOnly) {
  struct stat facts;
  if (::stat(path, &facts) != 0) return fileErrorOf(errno);
  const mode_t mode = readOnly ? facts.st_mode & ~kAnyWrite : facts.st_mode | S_IWUSR;
  return result(::chmod(path, mode & 07777) == 0);
}

// A file is given away by the superuser only, and to groups of one's own. Changing hands takes rights away, so that
// comes first.
int copyAccess(const char* from, const char* to) {
  struct stat facts;
  if (::stat(from, &facts) != 0) return fileErrorOf(errno);
  constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
  if (::chown(to, facts.st_uid, facts.st_gid) != 0) (void)!::chown(to, kSameOwner, facts.st_gid);
  return result(::chmod(to, facts.st_mode & 07777) == 0);
}

int makeFolder(const char* path) { return result(::mkdir(path, 0777) == 0); }

int removeFolder(const char* path) { return result(::rmdir(path) == 0); }

int touch(const char* path) { return result(::utimensat(AT_FDCWD, path, nullptr, 0) == 0); }

int moveEntry(const char* from, const char* to, bool replace) {
  return result(replace ? ::rename(from, to) == 0 : renameFree(from, to));
}

int flushMove(const char* from, const char* to) {
  const FolderOf newFolder(to), oldFolder(from);
  const int error = flushFolder(newFolder);
  return error != 0 || std::strcmp(oldFolder.text, newFolder.text) == 0 ? error : flushFolder(oldFolder);
}

int readFolder(const char* path, std::vector<FolderEntry>* entries) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(path), [](DIR* open) { return ::closedir(open); });
  if (!folder) return fileErrorOf(errno);
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(folder.get());
    if (!entry) return errno == 0 || errno == ENOENT ? 0 : fileErrorOf(errno);
    const std::string name = entry->d_name;
    struct stat facts;
    if (name == "." || name == ".." || ::fstatat(::dirfd(folder.get()), entry->d_name, &facts, 0) != 0) continue;
    entries->push_back({name, S_ISDIR(facts.st_mode)});
  }
}

int setCurrentFolder(const char* path) { return result(::chdir(path) == 0); }

std::string systemTemporaryFolder() {
  const char* const chosen = std::getenv("TMPDIR");
  std::string folder = chosen && *chosen == '/' ? chosen : "/tmp";
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return folder;
}

std::string universalName(const std::string&) { return ""; }

}  // namespace ky::platform
