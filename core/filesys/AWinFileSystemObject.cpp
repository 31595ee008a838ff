#include "core/filesys/AWinFileSystemObject.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/error/Printing.h"
#include "core/error/SystemErrors.h"
#include "core/filesys/DiskRtns.h"
#include "core/filesys/Volumes.h"
#include "core/objsys/AIODesc.h"
#include "core/threads/Blocking.h"
#include "core/utils/AStream.h"
#include "platform/Errors.h"
#include "platform/Folders.h"

using namespace ky;

namespace {

// A stored path is read into a buffer of this size plus the terminator, in every version of the form.
constexpr std::size_t kStoredLength = 522;

char* fill(char* buffer, Long size, std::string_view text) {
  if (size <= 0) return buffer;
  const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
  std::memmove(buffer, text.data(), length);
  buffer[length] = 0;
  return buffer;
}

void checkName(const char* name) {
  if (!isPortableName(name)) xraiseWinFileError(platform::kInvalidName, name);
}

platform::EntryFacts factsOf(const char* path) {
  platform::EntryFacts facts;
  raiseFileErrorIf(platform::entryFacts(path, &facts), path);
  return facts;
}

/// An undo image lives in memory and ends with the process: it keeps the path whole, as it is.
bool isUndo(AIODesc* desc) { return desc && desc->IsForUndo(); }

}  // namespace

Boolean AFileSystemObject::_windowsCompatibleFilenames = 0;

bool ky::liesAtTop(std::string_view path, PathStyle style) {
  std::string_view folder = partsOf(path, style).folder;
  if (style == PathStyle::windows && folder.size() > 1 && folder[1] == ':') folder.remove_prefix(2);
  return folder == std::string_view(style == PathStyle::windows ? "\\" : "/");
}

std::string ky::asNetworkPath(std::string_view name, PathStyle style) {
  const char separator = separatorOf(style);
  const std::size_t begin = std::min(name.find_first_not_of(separator), name.size());
  return begin == 1 ? separator + std::string(name) : std::string(name);
}

Boolean AWinFileSystemObject::Exists() {
  platform::EntryFacts facts;
  return platform::entryFacts(path, &facts) == 0;
}

Boolean AWinFileSystemObject::FileExists() {
  platform::EntryFacts facts;
  return platform::entryFacts(path, &facts) == 0 && !facts.isFolder;
}

Boolean AWinFileSystemObject::DirExists() {
  platform::EntryFacts facts;
  return platform::entryFacts(path, &facts) == 0 && facts.isFolder;
}

char* AWinFileSystemObject::GetPrintName(char* buffer, Long size) { return GetName(buffer, size); }

void AWinFileSystemObject::GetModDate(std::tm* date) { *date = factsOf(path).changedLocal; }

void AWinFileSystemObject::GetCreateDate(std::tm* date) { *date = factsOf(path).createdLocal; }

char* AWinFileSystemObject::GetName(char* buffer, Long size) { return fill(buffer, size, partsOf(path).name); }

void AWinFileSystemObject::Move(ADirLocator* newParent, Boolean replace) {
  moveTo(joined(fullPathOf(newParent), partsOf(path).name), replace);
}

void AWinFileSystemObject::Rename(const char* newName, Boolean replace) {
  checkName(newName);
  moveTo(joined(parentOf(path), newName), replace);
}

// The locator follows as soon as the entry has its new name, whatever the disk says to that.
void AWinFileSystemObject::moveTo(const std::string& newPath, Boolean replace) {
  const std::string oldPath = path;
  int error = newPath.size() < kPathSize ? GetForceDiskRenameErr() : int(platform::kInvalidName);
  if (error == 0) error = platform::moveEntry(oldPath.c_str(), newPath.c_str(), replace != 0);
  raiseFileErrorIf(error, oldPath.c_str());
  stopSharing(oldPath.c_str());
  stopSharing(newPath.c_str());
  SetPath(newPath.c_str());
  const Blocking frame;
  raiseFileErrorIf(platform::flushMove(oldPath.c_str(), newPath.c_str()), newPath.c_str());
}

char* AWinFileSystemObject::GetFullPath(char* buffer, Long size) { return fill(buffer, size, path); }

char* AWinFileSystemObject::GetFullPathCanonical(char* buffer, Long size) {
  fill(buffer, size, path);
  if (size > 0) NativePathToCanonical(buffer, size);
  return buffer;
}

void AWinFileSystemObject::SetFileLock(Boolean lock) { raiseFileErrorIf(platform::setReadOnly(path, lock != 0), path); }

Boolean AWinFileSystemObject::GetFileLock() { return factsOf(path).isReadOnly; }

ADirLocator* AWinFileSystemObject::GetParentDir(ADirLocator* parent) {
  return named(parent, parentOf(path).c_str(), nullptr);
}

void AWinFileSystemObject::SetUniversalPath() {
  const std::string name = platform::universalName(path);
  if (!name.empty()) SetPath(asNetworkPath(name).c_str());
}

void AWinFileSystemObject::SetName(const char* name) {
  checkName(name);
  SetPath(joined(parentOf(path), name).c_str());
}

const char* AWinFileSystemObject::GetPath() const { return path; }

void AWinFileSystemObject::SetPath(const char* newPath) {
  if (std::strlen(newPath) >= kPathSize) dprintf("Path cut at %d characters: %s\n", kPathSize - 1, newPath);
  fill(path, kPathSize, newPath);
}

OSVolID AWinFileSystemObject::GetOSVolID() { return AVolumeID(path, nullptr); }

void AWinFileSystemObject::IWinFileSystemObject(const char* folder, const char* name) {
  const bool isNamed = name && *name;
  if (isNamed) checkName(name);
  SetPath(isNamed ? joined(folder, name).c_str() : folder);
}

void AWinFileSystemObject::putPath(AStream* stream, AIODesc* desc) {
  std::string text = path;
  if (!isUndo(desc)) {
    nativeToCanonical(text.data(), static_cast<Long>(text.size()), hostPathStyle());
    if (text.size() > kStoredLength) dprintf("Stored path cut at %d characters: %s\n", int(kStoredLength), path);
    text.resize(std::min(text.size(), kStoredLength));
  }
  stream->WriteString("Pathname", text.c_str());
}

void AWinFileSystemObject::getPath(AStream* stream, AIODesc* desc) {
  char text[kPathSize];
  const bool whole = isUndo(desc);
  stream->ReadString("Pathname", text, whole ? kPathSize : Long(kStoredLength + 1));
  if (!whole) CanonicalPathToNative(text, nullptr);
  // What an image restores is no change of its own.
  AWinFileSystemObject::SetPath(text);
}
