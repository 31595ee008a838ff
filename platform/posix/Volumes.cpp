#include "platform/Volumes.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string_view>

#include "platform/Errors.h"

namespace ky::platform {
namespace {

/// What the kernel mounts to tell about itself.
bool keepsFiles(std::string_view fileSystem) {
  static constexpr std::string_view others[] = {
      "autofs",   "binfmt_misc", "bpf",        "cgroup",    "cgroup2", "configfs", "debugfs", "devpts",
      "devtmpfs", "efivarfs",    "fusectl",    "hugetlbfs", "mqueue",  "nsfs",     "pstore",  "proc",
      "ramfs",    "rpc_pipefs",  "securityfs", "selinuxfs", "sysfs",   "tracefs"};
  return std::find(std::begin(others), std::end(others), fileSystem) == std::end(others);
}

/// Undoes `\ooo`, or with `x` `\xhh`, for the characters that would end a field.
std::string unescaped(std::string_view text, bool isHex) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size()) {
      const std::string digits(text.substr(isHex ? i + 2 : i + 1, isHex ? 2 : 3));
      out += static_cast<char>(std::strtol(digits.c_str(), nullptr, isHex ? 16 : 8));
      i += 3;
    } else {
      out += text[i];
    }
  }
  return out;
}

struct Mount {
  bool isWhole = false;  ///< not a folder of the file system that is mounted somewhere else
  std::string root;
  std::string fileSystem;
  std::string source;
};

std::vector<Mount> mounts() {
  std::vector<Mount> found;
  std::ifstream table("/proc/self/mountinfo");
  // Or a lack of memory would end the table early and tell nobody.
  table.exceptions(std::ios::badbit);
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    fields.exceptions(std::ios::badbit);
    std::string id, parent, device, top, root, field, fileSystem, source;
    fields >> id >> parent >> device >> top >> root;
    while (fields >> field && field != "-") {
    }
    if (!(fields >> fileSystem >> source) || !keepsFiles(fileSystem)) continue;
    found.push_back({top == "/", unescaped(root, false), fileSystem, unescaped(source, false)});
  }
  std::stable_partition(found.begin(), found.end(), [](const Mount& mount) { return mount.isWhole; });
  return found;
}

std::string labelOf(const std::string& source) {
  namespace fs = std::filesystem;
  std::error_code error;
  for (fs::directory_iterator at("/dev/disk/by-label", error), end; !error && at != end; at.increment(error)) {
    std::error_code unread;
    if (fs::equivalent(at->path(), source, unread)) return unescaped(at->path().filename().string(), true);
  }
  return "";
}

}  // namespace

std::vector<MountedVolume> mountedVolumes() {
  std::vector<MountedVolume> volumes;
  std::set<UInt64> seen;
  for (const Mount& mount : mounts()) {
    struct stat facts;
    if (::stat(mount.root.c_str(), &facts) != 0 || !S_ISDIR(facts.st_mode)) continue;
    if (seen.insert(facts.st_dev).second) {
      volumes.push_back({facts.st_dev, mount.root, labelOf(mount.source), mount.fileSystem});
    }
  }
  return volumes;
}

int volumeSpace(const char* root, UInt64* total, UInt64* free) {
  struct statvfs facts;
  if (::statvfs(root, &facts) != 0) return fileErrorOf(errno);
  *total = UInt64{facts.f_blocks} * facts.f_frsize;
  *free = UInt64{facts.f_bavail} * facts.f_frsize;
  return 0;
}

bool deviceOf(const char* path, UInt64* device) {
  struct stat facts;
  std::string at = path;
  while (::stat(at.c_str(), &facts) != 0) {
    const std::size_t slash = at.rfind('/');
    if (at.empty() || at == "/" || at == ".") return false;
    at = slash == std::string::npos ? "." : at.substr(0, std::max<std::size_t>(slash, 1));
  }
  *device = facts.st_dev;
  return true;
}

int sharedStorageService(bool* running) {
  *running = false;
  return fileErrorOf(ENOSYS);
}

int setSharedStorageTransfer(Long) { return fileErrorOf(ENOSYS); }

int sharedStorageFacts(Long, Long (*)[7]) { return fileErrorOf(ENOSYS); }

int enumerateNetworkProviders(std::vector<std::string>*) { return fileErrorOf(ENOSYS); }

}  // namespace ky::platform
