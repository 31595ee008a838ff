// A divisor that stays, and remainders by it without a division.
#pragma once

#include "core/base/KyTypes.h"

namespace ky {

/// Source:   Lemire, Kaser, Kurz, "Faster remainder by direct computation" (2019). With 64 bits of fraction it is exact
///           for dividends below 2^33 and divisors below 2^31.
class Divisor {
 public:
  constexpr Divisor() = default;
  /// Requires: `value` above 0.
  constexpr explicit Divisor(Long value)
      : value_(static_cast<ULong>(value)),
        reciprocal_(~UInt64{0} / value_ + 1),
        lift_((UInt64{0x80000000} + value_ - 1) / value_ * value_) {}

  constexpr ULong rem(UInt64 dividend) const {
#ifdef __SIZEOF_INT128__
    __extension__ typedef unsigned __int128 UInt128;
    return static_cast<ULong>(UInt128{reciprocal_ * dividend} * value_ >> 64);
#else
    return static_cast<ULong>(dividend % value_);
#endif
  }

  /// The remainder from 0 to the divisor less 1, also of a negative dividend.
  constexpr Long mod(Long dividend) const {
    return static_cast<Long>(rem(static_cast<UInt64>(Int64{dividend} + static_cast<Int64>(lift_))));
  }

 private:
  ULong value_ = 1;
  UInt64 reciprocal_ = 0;
  UInt64 lift_ = 0;  ///< the multiple that makes every Long positive
};

}  // namespace ky
