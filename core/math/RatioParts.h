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

/// A numerator and a denominator as they are stored. They go by value, so that they stay in registers.
struct Words {
  Long num, den;
};

constexpr Long divided(Long n, ULong divisor) {
  const ULong quotient = magnitude(n) / divisor;
  return static_cast<Long>(n < 0 ? 0 - quotient : quotient);
}

/// Both divided by what they have in common; 0/0 stays.
inline Words reduced(Words r) {
  if (r.num == r.den) return r.num ? Words{1, 1} : r;
  const ULong common = commonDivisor(magnitude(r.num), magnitude(r.den));
  if (common <= 1) return r;
  return {divided(r.num, common), divided(r.den, common)};
}

/// Reduced, the denominator positive.
///
/// Raises:   RATIONAL_OVERFLOW for a zero denominator, or one whose sign cannot be changed within the range.
inline Words normalized(Words r) {
  if (r.den <= 0) [[unlikely]] {
    if (r.den == 0 || !sumFits(-Int64{r.num}) || !sumFits(-Int64{r.den})) raiseOverflow();
    r = {-r.num, -r.den};
  }
  return reduced(r);
}

}  // namespace ky::ratio
