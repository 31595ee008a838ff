// What the operators of ratios are made of, so that they can be inlined.
#pragma once

#include "core/base/KyTypes.h"
#include "core/math/Arithmetic.h"

namespace ky::ratio {

/// A numerator and a denominator on their way to a ratio; products of two words fit.
struct Parts {
  Int64 num, den;
};

/// The largest numerator and denominator of a result.
constexpr Int64 kMost = 0x3FFFFFFF;

/// Raises:   RATIONAL_OVERFLOW, always.
[[noreturn]] KY_API void raiseOverflow();

/// Tells whether a change of sign cannot overflow: the top two bits of the 32-bit result agree.
constexpr bool sumFits(Int64 n) { return n >= -kMost - 1 && n <= kMost; }
constexpr bool productFits(Int64 n) { return n >= -kMost && n <= kMost; }

/// The sum, not reduced. Which denominators are equal nobody can foresee, so that case has no branch.
///
/// Returns:  whether nothing left the range.
constexpr bool sum(const Parts& a, const Parts& b, Parts& out) {
  const bool same = a.den == b.den;
  const Int64 byB = same ? 1 : b.den;
  const Int64 x = a.num * byB;
  const Int64 y = b.num * (same ? 1 : a.den);
  out = {x + y, a.den * byB};
  return sumFits(out.num) && (same || (productFits(x) && productFits(y) && productFits(out.den)));
}

/// The product, not reduced.
///
/// Returns:  whether nothing left the range.
constexpr bool product(const Parts& a, const Parts& b, Parts& out) {
  out = {a.num * b.num, a.den * b.den};
  return productFits(out.num) && productFits(out.den);
}

constexpr Long divided(Long n, ULong divisor) {
  const ULong quotient = magnitude(n) / divisor;
  return static_cast<Long>(n < 0 ? 0 - quotient : quotient);
}

/// Divides both by what they have in common; 0/0 stays.
inline void reduce(Long& num, Long& den) {
  if (num == den && num != 0) {
    num = den = 1;
    return;
  }
  const ULong common = commonDivisor(magnitude(num), magnitude(den));
  if (common <= 1) return;
  num = divided(num, common);
  den = divided(den, common);
}

/// Reduces, and makes the denominator positive.
///
/// Raises:   RATIONAL_OVERFLOW for a zero denominator, or one whose sign cannot be changed within the range.
inline void normalize(Long& num, Long& den) {
  if (den <= 0) [[unlikely]] {
    if (den == 0 || !sumFits(-Int64{num}) || !sumFits(-Int64{den})) raiseOverflow();
    num = -num;
    den = -den;
  }
  reduce(num, den);
}

}  // namespace ky::ratio
