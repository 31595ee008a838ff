// The calling thread's return addresses, and the names of the routines they lie in.
#pragma once

#include "core/base/KyTypes.h"

namespace ky::platform {

/// Stores the return addresses above the caller, nearest first, `skip` of them left out.
///
/// Returns:  how many there were to store.
KY_API int captureStack(void** addresses, int count, int skip);

struct AddressName {
  char routine[256] = {};    ///< class and method without arguments; empty if not known
  char module[256] = {};     ///< the program or library it lies in
  UInt64 routineOffset = 0;  ///< from the routine's start, 0 if not known
  UInt64 moduleOffset = 0;   ///< from where the module is loaded
};

/// Not for signal handlers: it may allocate.
///
/// Returns:  false if neither routine nor module is known.
KY_API bool nameAddress(const void* address, AddressName& name);

}  // namespace ky::platform
