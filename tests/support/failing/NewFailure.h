// Allocations of the standard library that fail to order, for the test programs that link this.
#pragma once

#include "tests/support/Faults.h"

namespace ky::test {

/// An allocation by `new`, which all that is standard takes.
Fault newFault();

}  // namespace ky::test
