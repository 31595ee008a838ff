// Many small blocks at one word of overhead each, carved out of larger ones and returned in large pieces.
#pragma once

#include "core/base/KyTypes.h"

/// The first AltMalloc() or AltFree() calls it.
KY_API void AltMemInit();

/// Returns:  an address aligned to 8 bytes; null for a negative size.
/// Requires: "sz < MAX_BLK_SIZE", which is 65,536.
/// Raises:   MEM_OUT_OF_MEMORY.
KY_API void* AltMalloc(Long size);
KY_API void* AltMallocClear(Long size);
/// Takes a null. An address from elsewhere corrupts the tables.
KY_API void AltFree(void* ptr);
KY_API void* AltCopy(const void* ptr);
/// Returns:  the size asked for.
KY_API Long AltGetBlockSize(const void* ptr);

/// Returns:  bytes of the master blocks that no block uses.
KY_API Long AltGetFreeBytes();
/// Returns:  bytes of the master blocks, and of every large block ever made: freeing one does not lower it.
KY_API Long AltGetTotalBytes();
KY_API Long AltGetNumBlocks();
/// Returns:  true if the address lies in a master block. Blocks of 4,093 bytes and more never do.
KY_API Boolean AltIsInAltRange(const void* ptr);

/// Makes master blocks without a block in use ready to be carved anew.
KY_API void AltFreshen();
/// Gives unused master blocks back until `bytes` are reached.
///
/// Returns:  the bytes given back.
KY_API Long AltReturnMemToMac(Long bytes);
/// `options` may hold the least number of blocks that makes a size worth a row.
KY_API void AltPrintStats(KyPrint print, const char* options);

KY_API void AltSetDebugLevel(short level);
KY_API short AltGetDebugLevel();
/// Keeps the address of the virtual table of the freed-object trap, for whoever stamps freed blocks with it.
KY_API void AltSetBogusVtableValue(void* value);
