// Whether locks are needed at all.
#pragma once

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace ky::platform {

/// Returns:  true only if no thread but the caller's runs; what it then does is seen by threads that it starts.
inline bool isSingleThreaded() {
#if __has_include(<sys/single_threaded.h>)
  return __libc_single_threaded != 0;
#else
  return false;
#endif
}

}  // namespace ky::platform
