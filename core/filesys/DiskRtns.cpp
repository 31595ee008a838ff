#include "core/filesys/DiskRtns.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/OsPrintf.h"
#include "core/error/SystemErrors.h"
#include "core/filesys/OpenFileList.h"
#include "core/filesys/SystemFile.h"
#include "core/math/CUtils.h"
#include "core/mem/Owned.h"
#include "core/threads/Blocking.h"
#include "platform/Errors.h"

using namespace ky;
using namespace ky::platform;

namespace {

constexpr Int64 kLastPlace = 0x7FFFFFFF;
constexpr Long kLargestPiece = 0xC00000;  // bounds the time of one system call

enum : ULong { kTraceOpen = 1, kTraceWrite = 2, kTraceRead = 4, kTraceCreate = 8 };

thread_local ULong lastWriteCount = 0;

bool traces(ULong kind) { return (GetDiskRtnDbgFlags() & kind) != 0; }

/// For the traces, which show where a record lies.
unsigned long asNumber(fileRec_t** file) { return static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(file)); }

/// Returns:  false for a place that is refused.
bool settleMode(Long offset, unsigned short* posMode) {
  if (*posMode != kFromStart && *posMode != kFromPosition && *posMode != kFromEnd) {
    fatal("Unexpected posMode");
    *posMode = kFromStart;
  }
  return *posMode != kFromStart || check(offset >= 0, "offset >= 0");
}

/// Moves the position to where a transfer of `length` bytes begins.
void seek(SystemFile& at, Long offset, unsigned short posMode, Long length, const char* path) {
  Int64 base = posMode == kFromPosition ? at.position : 0;
  if (posMode == kFromEnd) raiseFileErrorIf(at.file.length(&base), path);
  const Int64 place = base + offset;
  if (place < 0 || place + length > kLastPlace) xraiseWinFileError(kBadSeek, path);
  at.position = place;
}

void readPieces(fileRec_t** fileHdl, char* data, Long length) {
  SystemFile& from = *(*fileHdl)->file;
  const char* const path = (*fileHdl)->path;
  while (length > 0) {
    const Long piece = std::min(length, kLargestPiece);
    delayTransfer(volumeOf(fileHdl), false, piece);
    std::size_t got = 0;
    const int error = from.file.readAt(from.position, data, static_cast<std::size_t>(piece), &got);
    from.position += static_cast<Int64>(got);
    raiseFileErrorIf(error, path);
    if (static_cast<Long>(got) < piece) +XError("DISK_EOF", "str filename", path, 0);
    data += piece;
    length -= piece;
  }
}

/// A system that takes nothing twice in a row, and tells no reason, would be asked for ever.
void writePieces(fileRec_t** fileHdl, const char* data, Long length) {
  SystemFile& to = *(*fileHdl)->file;
  const char* const path = (*fileHdl)->path;
  int refused = 0;
  do {
    const Long piece = std::min(length, kLargestPiece);
    delayTransfer(volumeOf(fileHdl), true, piece);
    std::size_t taken = 0;
    const int error = to.file.writeAt(to.position, data, static_cast<std::size_t>(piece), &taken);
    to.position += static_cast<Int64>(taken);
    lastWriteCount += static_cast<ULong>(taken);
    raiseFileErrorIf(error, path);
    refused = taken == 0 ? refused + 1 : 0;
    if (length > 0 && refused == 2) xraiseWinFileError(kDiskFull, path);
    data += taken;
    length -= static_cast<Long>(taken);
  } while (length > 0);
}

// ---- opening

struct OpenRequest {
  Access access;
  Disposition disposition;
};

OpenRequest requestOf(unsigned short flags) {
  const bool reads = flags & (kFileRead | kFileReadWrite);
  const bool writes = flags & (kFileWrite | kFileReadWrite | kFileCreate);
  OpenRequest request = {Access::read, Disposition::openOrCreate};
  if (writes) request.access = reads ? Access::readWrite : Access::write;
  if (flags & kFileRead) request.disposition = Disposition::openExisting;
  if (flags & kFileCreate) request.disposition = Disposition::replace;
  return request;
}

struct EndSystemFile {
  void operator()(SystemFile* file) const {
    file->~SystemFile();
    KyDisposePtr(file);
  }
};
using OwnedSystemFile = std::unique_ptr<SystemFile, EndSystemFile>;

void enlist(OpenFileList::Entry&& entry, const char* name, unsigned short flags, ULong perms, fileRec_t** file) {
  const Long count = OpenFileList::instance().add(std::move(entry));
  if (!traces(kTraceOpen)) return;
  OsPrintf("%2.2ld--OPENING--FILEHDL:0x%lx FLAGS:0x%lx PERMS:0x%lx for %s", static_cast<long>(count), asNumber(file),
           static_cast<unsigned long>(flags), static_cast<unsigned long>(perms), name);
}

OwnedSystemFile newSystemFile() { return OwnedSystemFile(new (KyNewPtr(sizeof(SystemFile))) SystemFile); }

}  // namespace

bool ky::isOpen(fileRec_t** fileHdl) {
  return OpenFileList::instance().contains(fileHdl) && (*fileHdl)->magic == DISK_MAGIC && (*fileHdl)->file;
}

SystemFile* ky::opened(fileRec_t** fileHdl) {
  if (!check(fileHdl != nullptr, "fileHdl != NULL")) return nullptr;
  return check(isOpen(fileHdl), "(*fileHdl)->magic == DISK_MAGIC") ? (*fileHdl)->file : nullptr;
}

OSVolID ky::volumeOf(fileRec_t** fileHdl) { return OSVolID((*fileHdl)->volume); }

fileRec_t** ky::openFile(const char* path, unsigned short flags, ULong perms, const OSVolID& volume) {
  if (std::strlen(path) >= kPathSize) xraiseWinFileError(kInvalidName, path);
  if (fileRec_t** const shared = KYGetFileFromOpenFileList(path, flags, perms)) return shared;
  raiseFileErrorIf(GetForceDiskOpenErr(), path);

  // Memory comes before the system, so that a lack of it leaves no new file behind, nor an empty old one.
  OwnedSystemFile file = newSystemFile();
  OwnedHandle handle(KyNewHandleZorvex(sizeof(fileRec_t)));
  auto** const fileHdl = reinterpret_cast<fileRec_t**>(handle.get());
  OpenFileList::Entry entry(path, flags, fileHdl);
  const OpenRequest request = requestOf(flags);
  raiseFileErrorIf(file->file.open(path, request.access, request.disposition), path);
  if (flags & kFileNoBuffering) file->file.keepLittleInMemory();

  auto* const record = new (handle.data()) fileRec_t;
  Long number = -1;
  volume.Get(&number);
  record->flags = flags;
  record->perms = perms;
  strncpyz(record->path, path, kPathSize);
  record->volume = static_cast<short>(number);
  record->file = file.get();
  if (traces(kTraceCreate)) {
    OsPrintf("=CreateFile==FILEHDL:0x%lx realflags:%lx shared:%lx createdist:%lx attributes:%lx", asNumber(fileHdl),
             static_cast<unsigned long>(request.access), 3ul, static_cast<unsigned long>(request.disposition), 0ul);
  }
  enlist(std::move(entry), path, flags, perms, fileHdl);
  file.release();
  handle.release();
  return fileHdl;
}

void ky::stopSharing(const char* path) { OpenFileList::instance().stopSharing(path); }

int ky::removeFile(const char* path) {
  int error = GetForceDiskDeleteErr();
  if (error == 0) error = platform::removeFile(path);
  if (error == 0) stopSharing(path);
  return error;
}

void KYAddToOpenFileList(const char* name, unsigned short flags, ULong perms, fileRec_t** file) {
  enlist(OpenFileList::Entry(name, flags, file), name, flags, perms, file);
}

fileRec_t** KYGetFileFromOpenFileList(const char* name, unsigned short flags, ULong) {
  return OpenFileList::instance().share(name, flags);
}

void KYCloseFile(fileRec_t** fileHdl) {
  SystemFile* const system = opened(fileHdl);
  if (!system) return;
  fileRec_t& record = **fileHdl;
  const OpenFileList::Release release = OpenFileList::instance().release(fileHdl);
  if (traces(kTraceOpen)) {
    OsPrintf("%2.2ld**CLOSING**FILEHDL:0x%lx FLAGS:0x%lx PERMS:0x%lx for %s", static_cast<long>(release.openCount),
             asNumber(fileHdl), static_cast<unsigned long>(record.flags), static_cast<unsigned long>(record.perms),
             record.path);
  }
  if (!release.isLast) return;

  // Another thread's transfer ends first.
  system->busy.lock();
  system->busy.unlock();
  const OwnedSystemFile file(system);
  const OwnedHandle handle(reinterpret_cast<char**>(fileHdl));
  record.magic = 0;
  record.file = nullptr;
  raiseFileErrorIf(file->file.close(), record.path);
}

void KYCloseOnce(fileRec_t** fileHdl) { KYCloseFile(fileHdl); }

void KYCloseAllFiles() {
  for (fileRec_t** const file : OpenFileList::instance().references()) succeeds([&] { KYCloseFile(file); });
}

// ---- transfers

void KYReadFile(fileRec_t** fileHdl, void* data, Long offset, unsigned short posMode, Long length) {
  const Blocking frame;
  if (!check(data != nullptr, "data != NULL")) return;
  SystemFile* const from = opened(fileHdl);
  if (!from) return;
  const char* const path = (*fileHdl)->path;
  if (traces(kTraceRead)) {
    OsPrintf("<<<<READING<<FILEHDL:0x%lx Offset:%9.9ld PosMode: %d requestLen:%9.9ld [%s]", asNumber(fileHdl),
             static_cast<long>(offset), posMode, static_cast<long>(length), path);
  }
  if (!settleMode(offset, &posMode)) return;
  const Lock hold(from->busy);
  raiseFileErrorIf(GetForceDiskReadErr(), path);
  tellRead(0);
  seek(*from, offset, posMode, std::max<Long>(length, 0), path);
  if (!check(length > 0, "curlen>0")) return;
  readPieces(fileHdl, static_cast<char*>(data), length);
  tellRead(static_cast<ULong>(length));
}

void KYWriteFile(fileRec_t** fileHdl, Long offset, unsigned short posMode, Long length, const void* data) {
  lastWriteCount = 0;
  const Blocking frame;
  if (!check(data != nullptr, "data != NULL")) return;
  SystemFile* const to = opened(fileHdl);
  if (!to) return;
  const char* const path = (*fileHdl)->path;
  if (traces(kTraceWrite)) {
    OsPrintf(">>>>WRITING>>FILEHDL:0x%lx Offset:%9.9ld PosMode: %d length:%9.9ld [%s]", asNumber(fileHdl),
             static_cast<long>(offset), posMode, static_cast<long>(length), path);
  }
  if (!settleMode(offset, &posMode) || !check(length >= 0, "length >= 0")) return;
  const Lock hold(to->busy);
  raiseFileErrorIf(GetForceDiskWriteErr(), path);
  seek(*to, offset, posMode, length, path);
  writePieces(fileHdl, static_cast<const char*>(data), length);
}

ULong KYGetLastWriteCount() { return lastWriteCount; }

void KYGetFPos(fileRec_t** fileHdl, Long* position) {
  SystemFile* const file = opened(fileHdl);
  if (!file) return;
  const Lock hold(file->busy);
  *position = static_cast<Long>(file->position);
}

void KYSetFPos(fileRec_t** fileHdl, Long offset, unsigned short posMode) {
  SystemFile* const file = opened(fileHdl);
  if (!file || !settleMode(offset, &posMode)) return;
  const Lock hold(file->busy);
  seek(*file, offset, posMode, 0, (*fileHdl)->path);
}

Long KYGetLength(fileRec_t** fileHdl) {
  SystemFile* const file = opened(fileHdl);
  if (!file) return 0;
  Int64 length = 0;
  raiseFileErrorIf(file->file.length(&length), (*fileHdl)->path);
  return static_cast<Long>(std::min(length, kLastPlace));
}

void KYTruncateFile(fileRec_t** fileHdl, Long length) {
  SystemFile* const file = opened(fileHdl);
  if (!file) return;
  const Lock hold(file->busy);
  const char* const path = (*fileHdl)->path;
  seek(*file, length, kFromStart, 0, path);
  raiseFileErrorIf(file->file.setLength(file->position), path);
}

Long KYPreAllocate(fileRec_t** fileHdl, Long bytes) {
  SystemFile* const file = opened(fileHdl);
  if (!file) return 0;
  const Lock hold(file->busy);
  const char* const path = (*fileHdl)->path;
  seek(*file, bytes, kFromEnd, 0, path);
  raiseFileErrorIf(file->file.reserve(file->position), path);
  return bytes;
}

void ky::flushToDisk(fileRec_t** fileHdl) {
  SystemFile* const file = opened(fileHdl);
  if (!file) return;
  const Blocking frame;
  raiseFileErrorIf(file->file.flushToDisk(), (*fileHdl)->path);
}
