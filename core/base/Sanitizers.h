// Which sanitizers watch this build.
#pragma once

// g++ tells by macros, clang by features.
#if defined(__has_feature)
#define KY_HAS_FEATURE(name) __has_feature(name)
#else
#define KY_HAS_FEATURE(name) 0
#endif

namespace ky {

#if defined(__SANITIZE_ADDRESS__) || KY_HAS_FEATURE(address_sanitizer)
inline constexpr bool kAddressesChecked = true;
#else
inline constexpr bool kAddressesChecked = false;
#endif

#if defined(__SANITIZE_THREAD__) || KY_HAS_FEATURE(thread_sanitizer)
inline constexpr bool kThreadsChecked = true;
#else
inline constexpr bool kThreadsChecked = false;
#endif

}  // namespace ky

#undef KY_HAS_FEATURE
