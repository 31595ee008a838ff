// Which sanitizers watch this build.
#pragma once

namespace ky {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kAddressesChecked = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool kAddressesChecked = true;
#else
inline constexpr bool kAddressesChecked = false;
#endif
#else
inline constexpr bool kAddressesChecked = false;
#endif

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadsChecked = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
inline constexpr bool kThreadsChecked = true;
#else
inline constexpr bool kThreadsChecked = false;
#endif
#else
inline constexpr bool kThreadsChecked = false;
#endif

}  // namespace ky
