// Exact arithmetic that the integer helpers and the ratios share.
#pragma once

#include <bit>

#include "core/base/KyTypes.h"

namespace ky {

/// Raises what a divide fault raises, with the caller as the place of the fault; no report is written.
[[noreturn]] void raiseDivideByZero(const void* place);

constexpr ULong magnitude(Long n) { return n < 0 ? 0u - static_cast<ULong>(n) : static_cast<ULong>(n); }

/// Greatest common divisor by shifts and subtractions; one zero gives the other value.
inline ULong commonDivisor(ULong a, ULong b) {
  if (a == 0) return b;
  if (b == 0) return a;
  const int twos = std::countr_zero(a | b);
  a >>= std::countr_zero(a);
  b >>= std::countr_zero(b);
  while (a != b) {
    if (a == 1 || b == 1) return 1u << twos;
    const ULong difference = a > b ? a - b : b - a;
    b = a < b ? a : b;
    a = difference >> std::countr_zero(difference);
  }
  return a << twos;
}

}  // namespace ky
