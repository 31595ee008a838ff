// Whether the address sanitizer watches this build.
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

}  // namespace ky
