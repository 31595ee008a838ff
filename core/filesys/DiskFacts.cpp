// Facts about open files: name and times, how they like to be used, and their locks.
#include <algorithm>
#include <cstdio>

#include "core/error/Assert.h"
#include "core/error/Printing.h"
#include "core/error/Subsystems.h"
#include "core/error/SystemErrors.h"
#include "core/error/XError.h"
#include "core/filesys/DiskRtns.h"
#include "core/filesys/SystemFile.h"
#include "core/math/CUtils.h"
#include "core/threads/Blocking.h"
#include "platform/Clock.h"
#include "platform/Errors.h"

using namespace ky;
using namespace ky::platform;

char* KYGetFileName(fileRec_t** fileHdl, char* buffer, Long size) {
  if (size > 0) *buffer = 0;
  if (opened(fileHdl)) strncpyz(buffer, partsOf((*fileHdl)->path).name.data(), size);
  return buffer;
}

void KYGetFileCreationDateTime(fileRec_t** fileHdl, std::tm* time) {
  if (SystemFile* const file = opened(fileHdl)) raiseFileErrorIf(file->file.creationTime(time), (*fileHdl)->path);
}

void KYGetFileModDateTime(fileRec_t** fileHdl, Int64* time) {
  if (SystemFile* const file = opened(fileHdl)) raiseFileErrorIf(file->file.modificationTime(time), (*fileHdl)->path);
}

namespace {

/// Returns:  false, and `info` as it was, unless the file lies on shared storage.
bool askSharedStorage(fileRec_t** fileHdl, CorvaneInfo_t* info) {
  const VolumeServices& volumes = volumeServices();
  if (!volumes.isShared || !volumes.transferSizes || !volumes.isShared(volumeOf(fileHdl))) return false;
  volumes.transferSizes(volumeOf(fileHdl), static_cast<ULong>((*fileHdl)->file->file.number()), info);
  return true;
}

bool printsSizes() {
  static const int subsystem = dbgRegSubSystem("DiskRtnsIOSize");
  return subsystem != 0 && dbgTestFlag(subsystem, kDbgPrint);
}

void give(Long value, Long* out) {
  if (out) *out = value;
}

}  // namespace

Long KYGetBlockSize(fileRec_t** fileHdl) {
  CorvaneInfo_t info;
  info.blockSize = 512;
  if (fileHdl && opened(fileHdl)) askSharedStorage(fileHdl, &info);
  return info.blockSize;
}

void KYGetEfficientReadSize(fileRec_t** fileHdl, Long* min, Long* max, Long* step) {
  if (!check(fileHdl && isOpen(fileHdl), "fileHdl && (*fileHdl)->magic == DISK_MAGIC")) return;
  CorvaneInfo_t info;
  askSharedStorage(fileHdl, &info);
  const CorvaneInfo_t::Sizes read = info.efficientRead;
  if (printsSizes()) dprintf("KyEfficientRead min= %d, max= %d, step=%d\n", read.min, read.max, info.chunkSize);
  give(read.min, min);
  give(read.max, max);
  give(info.chunkSize, step);
}

void KYGetEfficientWriteSize(fileRec_t** fileHdl, Long* min, Long* max, Long* step) {
  if (!check(fileHdl && isOpen(fileHdl), "fileHdl && (*fileHdl)->magic == DISK_MAGIC")) return;
  CorvaneInfo_t info;
  info.efficientWrite.max = 0x80000;
  info.chunkSize = 512;
  askSharedStorage(fileHdl, &info);
  const Long most = info.efficientWrite.max;
  if (printsSizes()) dprintf("KyEfficientWrite min= %d, max= %d, step= %d\n", most, most, info.chunkSize);
  give(most, min);
  give(most, max);
  give(info.chunkSize, step);
}

// ---- locks

namespace {

constexpr int kLockTries = 120;
constexpr Int64 kLockPause = 1000;

struct LockWords {
  LockWords(const char* format, int error, const char* path) {
    char message[512];
    errorText(error, message, sizeof message);
    std::snprintf(text, sizeof text, format, message, path);
  }
  char text[kPathSize + 640];
};

}  // namespace

Boolean KYLockFileShared(fileRec_t** fileHdl) {
  SystemFile* const file = opened(fileHdl);
  if (!file) return false;
  int error = file->file.lock(kLockBegin, LockKind::shared);
  for (int tries = 1; error == kFileLocked && tries < kLockTries; ++tries) {
    const Blocking frame;
    sleepFor(kLockPause);
    error = file->file.lock(kLockBegin, LockKind::shared);
  }
  if (error != 0) +XError(InternCode(LockWords("Failed Lock:\n%s\n%s\n", error, (*fileHdl)->path).text));
  return true;
}

Boolean KYLockFileExclusive(fileRec_t** fileHdl) { return KYLockFileShared(fileHdl); }

void KYUnlockFile(fileRec_t** fileHdl) {
  SystemFile* const file = opened(fileHdl);
  if (!file) return;
  const int error = file->file.unlock(kLockBegin);
  if (error != 0) dprintf("%s", LockWords("Unlock FAILED:\n%s\n%s\n", error, (*fileHdl)->path).text);
}
