// A division by zero, told as the processor's own fault would be.
#pragma once

namespace ky {

/// Raises what a divide fault raises, with the caller as the place of the fault; no report is written.
[[noreturn]] void raiseDivideByZero(const void* place);

}  // namespace ky
