#include "core/filesys/OpenFileList.h"

#include <cstring>

#include "core/error/SystemErrors.h"
#include "core/math/CUtils.h"
#include "platform/Errors.h"
#include "platform/Files.h"

namespace ky {

namespace {

int kindOfUse(unsigned short flags) {
  if (flags == (kFileRead | kFileNoBuffering)) return 0;
  if (flags == kFileRead) return 1;
  if (!(flags & kFileCreate) && (flags & (kFileWrite | kFileReadWrite))) return 2;
  return 3;
}

/// Whether `name` is `path` or lies in it.
bool liesIn(const char* name, const char* path) {
  const std::size_t length = std::strlen(path);
  return std::strncmp(name, path, length) == 0 && (name[length] == 0 || name[length] == separatorOf(hostPathStyle()));
}

}  // namespace

// Lives on behind the end of the program, where late destructors may still close files.
OpenFileList& OpenFileList::instance() {
  static OpenFileList& list = *new OpenFileList;
  return list;
}

bool OpenFileList::Order::isBefore(const Key& a, const Key& b) {
  const int aKind = kindOfUse(a.flags);
  const int bKind = kindOfUse(b.flags);
  if (aKind != bKind) return aKind < bKind;
  const int names = std::strcmp(a.name, b.name);
  return names != 0 ? names < 0 : a.flags < b.flags;
}

OpenFileList::Entry::Entry(const char* name, unsigned short flags, fileRec_t** file) {
  if (std::strlen(name) >= kPathSize) xraiseWinFileError(platform::kInvalidName, name);
  Record made;
  strncpyz(made.name, name, kPathSize);
  made.flags = flags;
  made.file = file;
  place.emplace(file, record.insert(made));
}

Long OpenFileList::add(Entry&& entry) {
  const platform::Lock hold(lock);
  auto place = entry.place.extract(entry.place.begin());
  place.mapped() = records.insert(entry.record.extract(entry.record.begin()));
  places.insert(std::move(place));
  return static_cast<Long>(records.size());
}

fileRec_t** OpenFileList::share(const char* name, unsigned short flags) {
  const platform::Lock hold(lock);
  const auto [first, last] = records.equal_range(Key{name, flags});
  for (auto record = first; record != last; ++record) {
    if (!record->isShared) continue;
    ++record->references;
    return record->file;
  }
  return nullptr;
}

bool OpenFileList::contains(fileRec_t** file) const {
  const platform::Lock hold(lock);
  return places.contains(file);
}

OpenFileList::Release OpenFileList::release(fileRec_t** file) {
  const platform::Lock hold(lock);
  const auto place = places.find(file);
  if (place == places.end()) return {};
  const auto record = place->second;
  const Release result = {static_cast<Long>(records.size()), --record->references == 0};
  if (result.isLast) {
    records.erase(record);
    places.erase(place);
  }
  return result;
}

void OpenFileList::stopSharing(const char* path) {
  const platform::Lock hold(lock);
  for (const Record& record : records) {
    if (liesIn(record.name, path)) record.isShared = false;
  }
}

std::vector<fileRec_t**> OpenFileList::references() const {
  const platform::Lock hold(lock);
  std::vector<fileRec_t**> files;
  for (const Record& record : records)
    files.insert(files.end(), static_cast<std::size_t>(record.references), record.file);
  return files;
}

}  // namespace ky
