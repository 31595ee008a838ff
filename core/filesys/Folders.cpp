#include "core/filesys/Folders.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/SystemErrors.h"
#include "core/error/UIHooks.h"
#include "core/filesys/ALocator.h"
#include "core/filesys/DiskRtns.h"
#include "core/filesys/Paths.h"
#include "core/lists/CKyList.h"
#include "core/mem/Owned.h"
#include "platform/Clock.h"
#include "platform/Errors.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Host.h"

using namespace ky;

namespace {

ADirLocator* sTempFileDir = nullptr;
std::atomic<unsigned short> tempCounter{0};

bool isTaken(ADirLocator* dir, const char* name) {
  const Owned<AFileLocator> file(dir->GetFile(name, nullptr));
  return file->Exists();
}

/// Makes the file if nothing stands under the name.
bool claim(AFileLocator* file) {
  const std::string path = fullPathOf(file);
  platform::File made;
  int error = GetForceDiskOpenErr();
  if (error == 0) error = made.createNew(path.c_str());
  if (error == platform::kFileExists) return false;
  raiseFileErrorIf(error, path.c_str());
  return true;
}

std::string folderOfTemp(short kind, AFileLocator* out) {
  if (kind == kTempInFolder) return fullPathOf(sTempFileDir);
  if (kind != kTempBesideOut || !out) return platform::systemTemporaryFolder();
  const std::string path = fullPathOf(out);
  if (out->DirExists()) return path;
  const std::string folder = parentOf(path);
  return folder.empty() ? "." : folder;
}

/// Lists of locators end with what is in them.
struct EndItems {
  CKyList* list;
  ~EndItems() {
    succeeds([&] { list->DisposeItems(); });
    list->Dispose();
  }
};

/// The items are read before the first call, so that what the routine does to the folder moves nothing under the walk.
Boolean walk(ADirLocator* dir, bool files, bool folders, KyWalkProc visit, LongPtr data) {
  const EndItems items{dir->ReadDir()};
  for (Long i = 1; i <= items.list->GetNumItems(); ++i) {
    auto* const item = static_cast<ALocator*>(items.list->NthItem(i));
    const bool isFolder = item->GetLocatorType() == LOC_DIRECTORY;
    if ((isFolder ? folders : files) && !visit(item, data)) return 0;
  }
  return 1;
}

}  // namespace

Boolean MakeUniqueName(ADirLocator* dir, char* out, const char* name, ADirLocator* otherDir) {
  constexpr int kLastNumber = 999;
  constexpr std::size_t kExtension = 4;
  const std::string given = name;
  const bool hasExtension = given.size() >= kExtension && given[given.size() - kExtension] == '.';
  const std::string stem = hasExtension ? given.substr(0, given.size() - kExtension) : given;
  const std::string extension = given.substr(stem.size());

  std::string full = given, bare = stem;
  for (int i = 1; i <= kLastNumber; ++i) {
    const bool isFree = !isTaken(dir, full.c_str()) && (bare.empty() || !isTaken(dir, bare.c_str()));
    if (isFree && (!otherDir || !isTaken(otherDir, full.c_str()))) {
      std::memmove(out, full.c_str(), full.size() + 1);
      return full == given;
    }
    char candidate[64];
    std::snprintf(candidate, sizeof candidate, "%.24s%d%s", stem.c_str(), i, extension.c_str());
    full = candidate;
    std::snprintf(candidate, sizeof candidate, "%.24s%d", stem.c_str(), i);
    bare = candidate;
  }
  std::memmove(out, given.c_str(), given.size() + 1);
  return 1;
}

AFileLocator* GetTempFile(const char* prefix, Boolean unique, short kind, AFileLocator* out) {
  if (!check(sTempFileDir != nullptr, "sTempFileDir != NULL")) return nullptr;
  const std::string folder = folderOfTemp(kind, out);
  const char* const text = prefix && *prefix ? prefix : "tmp";
  Owned<AFileLocator> made(out ? nullptr : AFileLocator::New());
  AFileLocator* const file = out ? out : made.get();
  do {
    char name[256];
    if (unique) {
      constexpr Int64 kNumbers = 100000;
      const auto number = static_cast<long>((platform::wallSeconds() + tempCounter++) % kNumbers);
      std::snprintf(name, sizeof name, "%.240s%ld", text, number);
    } else {
      std::snprintf(name, sizeof name, "%s", text);
    }
    const std::string path = joined(folder, name);
    if (path.size() >= kPathSize) xraiseWinFileError(platform::kInvalidName, path.c_str());
    file->Set(folder.c_str(), name);
  } while (unique && !claim(file));
  made.release();
  return file;
}

void SetFSTempDir(ADirLocator* dir) {
  if (dir == sTempFileDir) return;
  DisposeFSTempDir();
  sTempFileDir = dir;
}

void DisposeFSTempDir() {
  if (sTempFileDir) std::exchange(sTempFileDir, nullptr)->Dispose();
}

void GetStartupDirInfo(ADirLocator* dir) { dir->Set(parentOf(platform::programPath()).c_str(), nullptr); }

void DefaultToStartupDir() {
  const std::string folder = parentOf(platform::programPath());
  raiseFileErrorIf(platform::setCurrentFolder(folder.c_str()), folder.c_str());
}

Boolean ForEachFile(ADirLocator* dir, KyWalkProc visit, LongPtr data) { return walk(dir, true, false, visit, data); }

Boolean ForEachSubDir(ADirLocator* dir, KyWalkProc visit, LongPtr data) { return walk(dir, false, true, visit, data); }

Boolean ForEachItemInDir(ADirLocator* dir, KyWalkProc visit, LongPtr data) {
  return walk(dir, true, true, visit, data);
}

Boolean ForEachDirInChain(ADirLocator* dir, KyWalkProc visit, LongPtr data) {
  std::string path = fullPathOf(dir);
  for (;;) {
    const Owned<ADirLocator> at(ADirLocator::New());
    at->Set(path.c_str(), nullptr);
    if (!visit(at.get(), data)) return 0;
    const std::string parent = parentOf(path);
    if (parent.empty() || parent == path) return 1;
    path = parent;
  }
}

namespace {

constexpr ULong kDeepest = 64;  // a link may lead back to where the search came from

AFileLocator* search(ADirLocator* dir, const char* name, ULong levels) {
  Owned<AFileLocator> file(dir->GetFile(name, nullptr));
  if (file->FileExists()) return file.release();
  CKyList* list = nullptr;
  if (levels == 0 || !succeeds([&] { list = dir->ReadDir(); })) return nullptr;
  const EndItems items{list};
  for (Long i = 1; i <= list->GetNumItems(); ++i) {
    auto* const item = static_cast<ALocator*>(list->NthItem(i));
    if (item->GetLocatorType() != LOC_DIRECTORY) continue;
    if (AFileLocator* const found = search(static_cast<ADirLocator*>(item), name, levels - 1)) return found;
  }
  return nullptr;
}

}  // namespace

AFileLocator* KYSearchFile(ADirLocator* dir, const char* name, ULong levels) {
  return search(dir, name, levels == 0 ? kDeepest : std::min(levels, kDeepest));
}

void AccessDeniedExcMsg(AFileLocator* file) {
  const std::string path = fullPathOf(file);
  const std::string text = "Access denied to: " + path + "\nChanges will not be saved.";
  UIdialog(text.c_str(), "OK", 1, UIicon_t(0), path.c_str(), 0, nullptr);
}

// ---- SpecialFolders

namespace {

std::mutex folderLock;
std::map<Long, std::string>* folders = nullptr;

}  // namespace

void SpecialFolders::InitSpecialFolders() {
  if (folders) return;
  folders = new std::map<Long, std::string>{{Long(MakeChar4("APPL")), parentOf(platform::programPath())},
                                            {Long(MakeChar4("TEMP")), platform::systemTemporaryFolder()}};
}

bool SpecialFolders::Get(Long id, char* buffer, Long length) {
  const std::lock_guard hold(folderLock);
  InitSpecialFolders();
  const auto found = folders->find(id);
  const std::string path = found == folders->end() ? "" : found->second;
  if (length > 0) std::snprintf(buffer, static_cast<std::size_t>(length), "%s", path.c_str());
  return found != folders->end();
}

bool SpecialFolders::Register(Long id, Long base, const char* path, bool replace) {
  const std::lock_guard hold(folderLock);
  InitSpecialFolders();
  const auto below = folders->find(base);
  if ((base != 0 && below == folders->end()) || (folders->count(id) != 0 && !replace)) return false;
  (*folders)[id] = base == 0 ? path : joined(below->second, path);
  return true;
}

void SpecialFolders::Dispose() {
  const std::lock_guard hold(folderLock);
  delete std::exchange(folders, nullptr);
}
