// Exact integer arithmetic that the integer helpers and the ratios share.
#pragma once

#include <bit>

#include "core/base/KyTypes.h"

namespace ky {

constexpr ULong magnitude(Long n) { return n < 0 ? 0u - static_cast<ULong>(n) : static_cast<ULong>(n); }

/// Greatest common divisor; one zero gives the other value.
///
/// Euclid's steps on odd numbers: of a remainder and what it lacks to the divisor one is even, and that one, its twos
/// shifted out, is the next divisor. Few steps make few branches that a processor cannot foresee, and those, not the
/// divisions, are what such numbers as frame rates cost.
inline ULong commonDivisor(ULong a, ULong b) {
  if (a == 0) return b;
  if (b == 0) return a;
  const int twos = std::countr_zero(a | b);
  a >>= std::countr_zero(a);
  b >>= std::countr_zero(b);
  ULong more = a > b ? a : b, less = a < b ? a : b;
  while (less != 1) {
    const ULong rest = more % less;
    if (rest == 0) return less << twos;
    const ULong flip = 0u - rest % 2;  // all ones for an odd one: less - rest, without a branch
    const ULong even = (rest ^ flip) + ((less + 1) & flip);
    more = less;
    less = even >> std::countr_zero(even);
  }
  return 1u << twos;
}

}  // namespace ky
