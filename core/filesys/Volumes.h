// The volumes of this host: which there are, what each can do, and the shared storage among them.
#pragma once

#include "core/filesys/OSVolID.h"

inline constexpr int kVolumeNameSize = 256;
inline constexpr int kVolumeFullNameSize = 1296;

/// Kinds of file system.
enum { FS_OTHER = 0, FS_NTFS = 1, FS_FAT32 = 2, FS_CDFS = 3, FS_SHARED = 9 };

struct VolInfo_t {
  char root[1024] = {};              ///< where it lies, without a separator at its end
  char label[kVolumeNameSize] = {};  ///< "" if it has none
  char fileSystem[32] = {};          ///< its name as the host tells it
  Long kind = FS_OTHER;
};

/// Units:    so many times 1,024 bytes, and so many bytes more.
struct VolSpaceInfo_t {
  ULong totalKB = 0;
  ULong totalExtra = 0;
  ULong freeKB = 0;
  ULong freeExtra = 0;
};

// A `err` that may be null is set to true where there is no such volume.

/// Reads the list of volumes anew. The other routines do so once by themselves.
///
/// Threads:  any; a volume that does not answer keeps only its asker waiting.
KY_API void AVolumeInitialize();
KY_API int AVolumeCount();
/// Returns:  the first volume of the list, or the one behind `volume`; an unknown one (-1) at its end.
KY_API OSVolID AVolumeFirst(unsigned char* err);
KY_API OSVolID AVolumeNext(OSVolID volume, unsigned char* err);

// These return false, with an empty result, for an unknown volume.

/// "root (label)", or "(root)" for a volume without a label. `name` has room for kVolumeFullNameSize.
KY_API Boolean AVolumeName(OSVolID volume, char* name);
/// `label` has room for kVolumeNameSize.
KY_API Boolean AVolumeLabel(OSVolID volume, char* label);
KY_API Boolean AVolumeInfo(OSVolID volume, VolInfo_t* info);
KY_API Boolean GetFileSysInfo(OSVolID volume, VolInfo_t* info);
KY_API Boolean AVolumeSpace(OSVolID volume, VolSpaceInfo_t* space);

/// The volume that `path` lies on.
KY_API OSVolID AVolumeID(const char* path, unsigned char* err);

KY_API Boolean AVolumeIsShareable(OSVolID volume);

/// Volumes of this host are never locked as a whole: each of these returns false.
KY_API Boolean AVolumeCanLock(OSVolID volume);
KY_API Boolean AVolumeIsLocked(OSVolID volume);
KY_API Boolean AVolumeLock(OSVolID volume);
KY_API Boolean AVolumeUnlock(OSVolID volume);

/// Tells whether the volume is shared storage, which every one is while it is emulated.
KY_API Boolean IsCorvaneFS(OSVolID volume);
/// Asks the host for the service behind shared storage; `print` allows a line if it runs.
KY_API Boolean IsCorvaneFSInstalled(bool print);

/// How a shared volume likes to be used.
///
/// Requires: "outInfo", "isalpha(theID)".
/// Raises:   what xraiseWinFileError words for an `ioRefNum` of -1 and for a volume that does not tell.
KY_API void GetCorvaneInfo(OSVolID volume, ULong ioRefNum, CorvaneInfo_t* outInfo);
KY_API void SetCorvaneMaxTransfer(Long bytes);

/// The efficient transfer size of the shared storage that every volume pretends to be; 0 for none.
KY_API Long CorvaneEmulation();
KY_API void CorvaneEmulation(Long bytes);
