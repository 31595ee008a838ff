// Open files: counted records, positioned reads and writes, locks, and failures made to order.
//
// Every failure of the system is raised by xraiseWinFileError: a DISK_... code with "str filename" on SYS_ERROR. Every
// routine that takes an open file refuses a stale one: "(*fileHdl)->magic == DISK_MAGIC".
#pragma once

#include <ctime>

#include "core/base/KyTypes.h"
#include "core/filesys/FileRecord.h"
#include "core/filesys/OSVolID.h"

// ---- open files

KY_API void KYAddToOpenFileList(const char* name, unsigned short flags, ULong perms, fileRec_t** file);

/// Returns:  the open file of that name and those flags with one reference more, null if there is none. `perms` is not
///           looked at.
KY_API fileRec_t** KYGetFileFromOpenFileList(const char* name, unsigned short flags, ULong perms);

/// Gives back one reference; with the last the file is closed and the record is gone, even if closing fails.
KY_API void KYCloseFile(fileRec_t** fileHdl);
KY_API void KYCloseOnce(fileRec_t** fileHdl);

/// Closes all open files for good. A failed close stops nothing.
KY_API void KYCloseAllFiles();

// ---- contents

/// Units:    `offset` in bytes, counted from where `posMode` says.
/// Requires: "data != NULL", "fileHdl != NULL", "offset >= 0" from the start, "curlen>0"; fatal "Unexpected posMode".
/// Raises:   DISK_EOF ("str filename") if the file ends before `length` bytes, which then are in `data` as far as they
///           go; DISK_SEEK_ERROR for a place beyond 2 GB.
/// Threads:  lets the other cooperative threads run meanwhile. Transfers of one open file take turns.
KY_API void KYReadFile(fileRec_t** fileHdl, void* data, Long offset, unsigned short posMode, Long length);

/// Mind the order of the arguments, which is not KYReadFile's. A `length` of 0 still asks the system once.
///
/// Raises:   DISK_FULL also where the system takes nothing and tells no reason.
KY_API void KYWriteFile(fileRec_t** fileHdl, Long offset, unsigned short posMode, Long length, const void* data);

/// Returns:  how many bytes the calling thread's last KYWriteFile has written, even if it failed.
KY_API ULong KYGetLastWriteCount();

/// Where the next transfer from the present position begins.
KY_API void KYGetFPos(fileRec_t** fileHdl, Long* position);
KY_API void KYSetFPos(fileRec_t** fileHdl, Long offset, unsigned short posMode);

/// Returns:  at most 0x7FFFFFFF.
KY_API Long KYGetLength(fileRec_t** fileHdl);
/// Ends the file at `length` and stands there.
KY_API void KYTruncateFile(fileRec_t** fileHdl, Long length);
/// Makes the file longer by `bytes` and stands at its new end.
///
/// Returns:  `bytes`.
KY_API Long KYPreAllocate(fileRec_t** fileHdl, Long bytes);

// ---- facts

/// Returns:  `buffer`, with name and extension of the file.
KY_API char* KYGetFileName(fileRec_t** fileHdl, char* buffer, Long size);
/// The local time; where the host keeps no time of creation, that of the last change of the file's entry.
KY_API void KYGetFileCreationDateTime(fileRec_t** fileHdl, std::tm* time);
/// Units:    100 ns since 1601.
KY_API void KYGetFileModDateTime(fileRec_t** fileHdl, Int64* time);
/// Returns:  512, unless the file lies on shared storage; 512 for null.
KY_API Long KYGetBlockSize(fileRec_t** fileHdl);

/// How many bytes are best moved at once. Reading has no preference (0, 0, 0) unless the file lies on shared storage.
///
/// Requires: "fileHdl && (*fileHdl)->magic == DISK_MAGIC". Each of the others may be null.
KY_API void KYGetEfficientReadSize(fileRec_t** fileHdl, Long* min, Long* max, Long* step);
KY_API void KYGetEfficientWriteSize(fileRec_t** fileHdl, Long* min, Long* max, Long* step);

// ---- locks: on what lies from offset 0x7FFFFFF0 on, so that they keep nobody from the contents

/// Takes a lock that others may share, in spite of the name; waits two minutes at most for one who does not share. The
/// lock ends with the open file.
///
/// Returns:  true.
/// Raises:   "Failed Lock:\n...", the code being the message.
/// Threads:  lets the other cooperative threads run while it waits.
KY_API Boolean KYLockFileExclusive(fileRec_t** fileHdl);
KY_API Boolean KYLockFileShared(fileRec_t** fileHdl);
/// Prints what goes wrong, and does not raise.
KY_API void KYUnlockFile(fileRec_t** fileHdl);

// ---- testing and tracing

/// Makes a volume slower by so much for each piece of a transfer. Volumes numbered outside -1..4,095 stay as they are.
KY_API void KySetAdditionalIOLatency(const OSVolID& volume, Boolean isWrite, Int64 milliseconds);
/// `size` is not looked at.
KY_API Int64 KyGetAdditionalIOLatency(const OSVolID& volume, Boolean isWrite, Long size);

/// Makes the `count`th operation from now on fail once with `code`, a number of the file-error table.
KY_API void SetForceDiskReadErr(int code, int count);
KY_API void SetForceDiskWriteErr(int code, int count);
KY_API void SetForceDiskOpenErr(int code, int count);
KY_API void SetForceDiskDeleteErr(int code, int count);
KY_API void SetForceDiskRenameErr(int code, int count);

/// Counts an operation.
///
/// Returns:  the number it is to fail with, 0 for none.
KY_API int GetForceDiskReadErr();
KY_API int GetForceDiskWriteErr();
KY_API int GetForceDiskOpenErr();
KY_API int GetForceDiskDeleteErr();
KY_API int GetForceDiskRenameErr();

/// `callback` hears of each read: 0 as it begins, the length once it is done. What it returns is not looked at.
KY_API void SetKYReadLogTransferCB(unsigned char (*callback)(unsigned long length));

/// What is traced through OsPrintf: 1 open and close, 2 write, 4 read, 8 create.
KY_API void SetDiskRtnDbgFlags(ULong flags);
KY_API ULong GetDiskRtnDbgFlags();

namespace ky {

/// The file at `path`, shared with those that have it open with the same flags, also if another program has put a new
/// file in its place since.
///
/// Raises:   DISK_INVALID_FILENAME_SYNTAX for a path that does not fit a fileRec_t; what the system says, a folder
///           being DISK_ACCESS_DENIED.
KY_API fileRec_t** openFile(const char* path, unsigned short flags, ULong perms, const OSVolID& volume);

/// For what is renamed, replaced or removed: from now on an open of `path`, or of what lies in it, opens anew instead
/// of sharing what was there.
KY_API void stopSharing(const char* path);

/// Removes a file, for clean-up too, which may not raise.
///
/// Returns:  0 or a number of the file-error table.
KY_API int removeFile(const char* path);

/// Returns once what was written is on the disk.
KY_API void flushToDisk(fileRec_t** fileHdl);

/// Sets the trace flags by one of the words that the command DiskRtnFlags takes; prints the words for null and for any
/// other.
KY_API void setDiskRtnFlags(const char* commandOptions);

}  // namespace ky
