// Handles: pointers to master pointers, real ones of the host's toolbox or fake ones of the library's own.
#pragma once

#include "core/base/KyTypes.h"

// Which kind is made depends on the calling thread; which kind is operated on depends on where the handle lies.
// Blocks move only when resized, so locking does nothing.

// ---- making

/// Makes a handle of the kind that suits the calling thread. `KyNewHandle(0)` has a block of no bytes behind it.
///
/// Raises:   MEM_OUT_OF_MEMORY.
KY_API char** KyNewHandle(Long size);
KY_API char** KyNewHandleClear(Long size);
/// Makes a handle with a null master pointer.
KY_API char** KyNewEmptyHandle();
/// KyNewHandle(maxSze); the rest is ignored.
KY_API char** KyNewMaxHandle(Long maxSze, Long minSize, Long step);
/// Requires: "lsize > 0".
KY_API char** KyNewHandleHi(Long lsize);

/// The real kind. Fatal on a thread that may not call the toolbox, except for the Max form.
///
/// Raises:   MEM_OUT_OF_MEMORY.
KY_API char** KyNewHandleMac(Long size);
KY_API char** KyNewHandleClearMac(Long size);
KY_API char** KyNewEmptyHandleMac();
KY_API char** KyNewMaxHandleMac(Long maxSze, Long minSize, Long step);
KY_API short KyPtrToHandMac(const void* src, char*** out, Long size);

/// The fake kind, for any thread.
///
/// Raises:   MEM_OUT_OF_MEMORY.
KY_API char** KyNewHandleZorvex(Long size);
KY_API char** KyNewHandleClearZorvex(Long size);
KY_API char** KyNewEmptyHandleZorvex();
KY_API char** KyNewMaxHandleZorvex(Long maxSze, Long minSize, Long step);
KY_API short KyPtrToHandZorvex(const void* src, char*** out, Long size);

// ---- disposing and resizing

/// An address that is no fake handle is taken for a real one.
KY_API void KyDisposeHandle(void* handle);
/// Returns:  0 for an empty handle.
KY_API Long KyGetHandleSize(const void* handle);
KY_API Long KyGetHandleSizeFast(const void* handle);
/// Keeps the contents; gives an empty handle a block.
///
/// Requires: "newSize >= 0".
/// Raises:   MEM_OUT_OF_MEMORY, with the handle as it was.
KY_API void KySetHandleSize(void* handle, Long newSize);
/// Loses the contents.
///
/// Requires: "newSize >= 0".
/// Raises:   MEM_OUT_OF_MEMORY, with the handle as it was.
KY_API void KyReallocHandle(void* handle, Long newSize);
/// What the four do with a handle that is known to be a real one. Fatal on a thread that may not call the toolbox.
KY_API void KyDisposeHandleMac(void* handle);
KY_API Long KyGetHandleSizeMac(const void* handle);
KY_API void KySetHandleSizeMac(void* handle, Long newSize);
KY_API void KyReallocHandleMac(void* handle, Long newSize);

/// What the four do with a handle that is known to be a fake one.
///
/// Raises:   "KyDisposeHandleZorvex: bad fake handle", "KySetHandleSizeZorvex: bad fake handle".
KY_API void KyDisposeHandleZorvex(void* handle);
KY_API Long KyGetHandleSizeZorvex(const void* handle);
KY_API void KySetHandleSizeZorvex(void* handle, Long newSize);
KY_API void KyReallocHandleZorvex(void* handle, Long newSize);

/// KySetHandleSize().
///
/// Returns:  `handle`.
KY_API char** KyResizeHandle(void* handle, Long newSize);

// ---- locking, which does nothing

/// Returns:  true.
KY_API unsigned char KyHLock(void* handle);
KY_API unsigned char KyHLockHi(void* handle);
KY_API unsigned char KyHLockFast(void* handle);
KY_API unsigned char KyHLockHiFast(void* handle);
KY_API void KyHUnlock(void* handle, unsigned char state);
KY_API void KyHUnlockFast(void* handle, unsigned char state);

// ---- copying. Each gives 0, or raises MEM_OUT_OF_MEMORY with `h` as it was.

/// Makes a handle with a copy of `size` bytes, and stores it in `*out`.
KY_API short KyPtrToHand(const void* src, char*** out, Long size);
/// Makes `h` hold a copy of `size` bytes, which may lie in `h` itself.
KY_API short KyPtrToXHand(const void* src, char** h, Long size);
/// Appends `size` bytes to `h`; they may lie in `h` itself.
KY_API short KyPtrAndHand(const void* src, char** h, Long size);
/// Replaces `*h` by a copy of it; the one before stays with whoever else knows it.
///
/// Requires: "oldHandle != NULL" (`*h` is not null).
KY_API short KyHandToHand(char*** h);
/// Returns:  a copy of the same kind, whichever thread asks.
/// Requires: "oldHandle != NULL".
KY_API char** KyCopyHand(char** oldHandle);

// ---- tests

/// Returns:  true if a block of `size` may be had.
KY_API unsigned char KyChkNewHandle(Long size);
/// A cheap test: fatal with "Tested handle is NOT a valid handle" for a null and for an empty handle.
KY_API void KyCheckhandle(const void* handle);
/// Returns:  0.
KY_API short KyMemError();
/// Returns:  how many real handles there are.
KY_API Long KyGetNumHdls();
