// Damaged bytes, which readers must survive, and what a failed load leaves behind.
#pragma once

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace ky::test {

/// A failed load leaves an object that another refers to with that other, so that damage to plain pointers leaves
/// objects behind by design.
struct LeaksAreNoFault {
#if defined(__SANITIZE_ADDRESS__)
  __lsan::ScopedDisabler disabler;
#else
  LeaksAreNoFault() {}
#endif
};

/// Gives `reads` what is left of `good` when it is cut anywhere, none of which may be read as if it were whole, and
/// `good` with any one byte changed.
template <class Bytes, class Reads>
void damageEveryByte(const Bytes& good, Reads reads) {
  for (std::size_t at = 0; at < good.size() && !testing::Test::HasFailure(); ++at) {
    SCOPED_TRACE(testing::Message() << "byte " << at);
    EXPECT_FALSE(reads(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(at)))) << "cut";
    for (const int mask : {0x01, 0x02, 0x80, 0xFF}) {
      Bytes changed = good;
      changed[at] = static_cast<typename Bytes::value_type>(changed[at] ^ mask);
      reads(changed);
    }
  }
}

}  // namespace ky::test
