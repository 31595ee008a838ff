// Where memory stays behind by design.
#pragma once

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

}  // namespace ky::test
