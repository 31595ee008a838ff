#include "core/filesys/Volumes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/error/Printing.h"
#include "core/lists/ASimpleList.h"
#include "core/math/CUtils.h"
#include "core/mem/Owned.h"
#include "core/threads/Blocking.h"
#include "platform/Folders.h"
#include "platform/Locks.h"
#include "platform/Volumes.h"

using namespace ky;

namespace {

struct Record {
  Long number = -1;
  VolInfo_t info;
};

/// The list and the numbers that devices were given. The lock is never held while the host is asked.
struct VolumeList {
  platform::RecursiveLock lock;
  ASimpleList* records = nullptr;
  std::map<UInt64, Long> numbers;

  bool wasRead() {
    const std::lock_guard<platform::RecursiveLock> hold(lock);
    return records != nullptr;
  }

  static VolumeList& instance() {
    static VolumeList* const list = new VolumeList;
    return *list;
  }
};

using Hold = std::lock_guard<platform::RecursiveLock>;

/// As letters are given to drives, in the order in which the devices are met; then numbers that no letter has.
Long nthNumber(std::size_t n) {
  const Long index = static_cast<Long>(n);
  if (index < 26) return 'A' + index;
  return index < 52 ? 'a' + index - 26 : 256 + index - 52;
}

Long numberOf(UInt64 device) {
  VolumeList& list = VolumeList::instance();
  const Hold hold(list.lock);
  return list.numbers.try_emplace(device, nthNumber(list.numbers.size())).first->second;
}

Long numberIn(const OSVolID& volume) {
  Long number = -1;
  volume.Get(&number);
  return number;
}

Long kindOf(const std::string& fileSystem) {
  static const struct {
    const char* name;
    Long kind;
  } kinds[] = {{"NTFS", FS_NTFS}, {"FAT32", FS_FAT32}, {"CDFS", FS_CDFS}, {"ZORVEXFS", FS_SHARED}};
  for (const auto& row : kinds) {
    if (CIstrcmp(fileSystem.c_str(), row.name) == 0) return row.kind;
  }
  return FS_OTHER;
}

template <std::size_t size>
void fill(char (&field)[size], const std::string& text) {
  std::snprintf(field, size, "%s", text.c_str());
}

/// Tells whether shared volumes are to be named as the network knows them. To find that out is slow, so only users who
/// ask for it pay for it.
bool usesNetworkPaths() {
  static const bool uses = [] {
    if (!std::getenv("ZORVEXFULLUNC")) return false;
    std::vector<std::string> providers;
    const int error = platform::enumerateNetworkProviders(&providers);
    if (error != 0) dprintf("\nCannot enumerate network providers (err %d).\n", error);
    return std::find(providers.begin(), providers.end(), "Zorvex Corvane Network") != providers.end();
  }();
  return uses;
}

std::string rootOf(const platform::MountedVolume& volume) {
  const bool isRenamed = usesNetworkPaths() && kindOf(volume.fileSystem) == FS_SHARED;
  const std::string known = isRenamed ? platform::universalName(volume.root) : "";
  return known.empty() ? volume.root : known;
}

/// Runs `see(record)` over the list, which is read first if it never was, until that returns true.
template <class See>
bool anyVolume(See see) {
  VolumeList& list = VolumeList::instance();
  if (!list.wasRead()) AVolumeInitialize();
  const Hold hold(list.lock);
  for (int i = 0; i < list.records->NumEntries(); ++i) {
    Record record;
    if (!list.records->IsSet(i)) continue;
    list.records->GetEntry(i, &record);
    if (see(record)) return true;
  }
  return false;
}

void tell(unsigned char* err, bool failed) {
  if (err) *err = failed;
}

}  // namespace

void AVolumeInitialize() {
  const std::vector<platform::MountedVolume> mounted = [] {
    const Blocking frame;
    return platform::mountedVolumes();
  }();
  constexpr int kSpare = 10;
  Owned<ASimpleList> records(ASimpleList::New(static_cast<int>(mounted.size()) + kSpare, sizeof(Record)));
  int count = 0;
  for (const platform::MountedVolume& volume : mounted) {
    if (volume.fileSystem.empty()) continue;
    Record record;
    record.number = numberOf(volume.device);
    fill(record.info.root, rootOf(volume));
    fill(record.info.label, volume.label);
    fill(record.info.fileSystem, volume.fileSystem);
    record.info.kind = kindOf(volume.fileSystem);
    records->SetEntry(count++, &record);
  }
  VolumeList& list = VolumeList::instance();
  const Hold hold(list.lock);
  if (list.records) list.records->Dispose();
  list.records = records.release();
}

int AVolumeCount() {
  int count = 0;
  anyVolume([&](const Record&) {
    ++count;
    return false;
  });
  return count;
}

OSVolID AVolumeFirst(unsigned char* err) {
  OSVolID first;
  const bool found = anyVolume([&](const Record& record) {
    first = OSVolID(record.number);
    return true;
  });
  tell(err, !found);
  return first;
}

OSVolID AVolumeNext(OSVolID volume, unsigned char* err) {
  OSVolID next;
  bool isBehind = false;
  const bool found = anyVolume([&](const Record& record) {
    if (isBehind) next = OSVolID(record.number);
    return std::exchange(isBehind, isBehind || record.number == numberIn(volume));
  });
  tell(err, !found);
  return next;
}

Boolean GetFileSysInfo(OSVolID volume, VolInfo_t* info) {
  *info = VolInfo_t();
  return anyVolume([&](const Record& record) {
    if (record.number == numberIn(volume)) *info = record.info;
    return record.number == numberIn(volume);
  });
}

Boolean AVolumeInfo(OSVolID volume, VolInfo_t* info) { return GetFileSysInfo(volume, info); }

Boolean AVolumeName(OSVolID volume, char* name) {
  VolInfo_t info;
  *name = 0;
  if (!GetFileSysInfo(volume, &info)) return 0;
  if (*info.label) {
    std::snprintf(name, kVolumeFullNameSize, "%s (%s)", info.root, info.label);
  } else {
    std::snprintf(name, kVolumeFullNameSize, "(%s)", info.root);
  }
  return 1;
}

Boolean AVolumeLabel(OSVolID volume, char* label) {
  VolInfo_t info;
  const Boolean found = GetFileSysInfo(volume, &info);
  std::snprintf(label, kVolumeNameSize, "%s", info.label);
  return found;
}

Boolean AVolumeSpace(OSVolID volume, VolSpaceInfo_t* space) {
  *space = VolSpaceInfo_t();
  VolInfo_t info;
  UInt64 total = 0, free = 0;
  if (!GetFileSysInfo(volume, &info)) return 0;
  const Blocking frame;
  if (platform::volumeSpace(info.root, &total, &free) != 0) return 0;
  constexpr UInt64 kUnit = 1024;
  *space = {static_cast<ULong>(total / kUnit), static_cast<ULong>(total % kUnit), static_cast<ULong>(free / kUnit),
            static_cast<ULong>(free % kUnit)};
  return 1;
}

OSVolID AVolumeID(const char* path, unsigned char* err) {
  UInt64 device = 0;
  const bool found = platform::deviceOf(path, &device);
  tell(err, !found);
  return found ? OSVolID(numberOf(device)) : OSVolID();
}

Boolean AVolumeIsShareable(OSVolID volume) { return IsCorvaneFS(volume); }

Boolean AVolumeCanLock(OSVolID) { return 0; }
Boolean AVolumeIsLocked(OSVolID) { return 0; }
Boolean AVolumeLock(OSVolID) { return 0; }
Boolean AVolumeUnlock(OSVolID) { return 0; }
