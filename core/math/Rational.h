// Exact ratios that refuse to lose precision silently.
#pragma once

#include <iosfwd>

#include "core/base/KyTypes.h"
#include "core/math/RatioParts.h"

/// A ratio of two 32-bit integers.
///
/// Results are limited to -0x40000000..0x3FFFFFFF in numerator and denominator. An operator that leaves the range tries
/// once more with reduced operands before it gives up.
///
/// Raises:   RATIONAL_OVERFLOW from the constructor of two values (also for a zero denominator) and from the operators.
/// Wire:     numerator, then denominator, as they lie in memory.
class KY_API Rational {
 public:
  Rational() = default;
  Rational(const Long& num) : num(num) {}

  /// The ratio reduced, its denominator positive.
  Rational(const Long& num, const Long& den) : Rational(ky::ratio::normalized({num, den})) {}

  Rational(const Rational&) = default;
  Rational& operator=(const Rational&) = default;
  Rational& operator=(const Long& n) { return *this = Rational(n); }

  Long GetNum() const { return num; }
  Long GetDen() const { return den; }
  /// Stored as given: neither reduced nor tested.
  void SetNum(Long n) { num = n; }
  void SetDen(Long d) { den = d; }

  /// The value truncated towards zero.
  ///
  /// Raises:   "Structured Exception" when the denominator was set to 0.
  Long getLong() const;
  double getDouble() const { return static_cast<double>(num) / den; }
  operator Long() const { return getLong(); }
  operator double() const { return getDouble(); }

  /// Exchanges numerator and denominator, the sign staying above. Inverting 0 gives a zero denominator, which the next
  /// operation on the value rejects.
  Rational& invert();
  Rational& negate();
  /// Leaves 0/0 as it is.
  Rational& reduce();

  bool isInteger() const { return den == -1 || (den != 0 && num % den == 0); }  // -2147483648 % -1 would fault
  /// Reduces the value on the way.
  bool isInteger();

  /// What is left of the value after taking away whole multiples of `n`; it has the value's sign.
  Rational operator%(Long n) const;
  Rational& operator%=(Long n) { return *this = *this % n; }

  /// Writes "num/den" to the debug printf.
  void print() const;

  /// Returns:  -1, 0 or 1.
  static int compare(const Rational& a, const Rational& b);

  friend Rational operator+(const Rational& a, const Rational& b) {
    ky::ratio::Parts result;
    if (!ky::ratio::sum(a.parts(), b.parts(), result)) [[unlikely]]
      return retriedSum(a, b);
    return Rational(result);
  }
  friend Rational operator+(const Rational& a) { return a; }
  friend KY_API Rational operator-(const Rational& a, const Rational& b);
  friend Rational operator-(const Rational& a) { return Rational(a).negate(); }
  friend Rational operator*(const Rational& a, const Rational& b) {
    ky::ratio::Parts result;
    if (!ky::ratio::product(a.parts(), b.parts(), result)) [[unlikely]]
      return retriedProduct(a, b);
    return Rational(result);
  }
  friend KY_API Rational operator/(const Rational& a, const Rational& b);
  /// Tests the low 32 bits of the difference of the cross products only; `compare` is exact.
  friend KY_API bool operator==(const Rational& a, const Rational& b);
  friend bool operator<(const Rational& a, const Rational& b) { return compare(a, b) < 0; }
  friend bool operator>(const Rational& a, const Rational& b) { return compare(a, b) > 0; }

  template <class Char, class Traits>
  friend std::basic_ostream<Char, Traits>& operator<<(std::basic_ostream<Char, Traits>& out, const Rational& r) {
    return out << r.num << '/' << r.den;
  }

 private:
  explicit Rational(ky::ratio::Words words) : num(words.num), den(words.den) {}
  explicit Rational(const ky::ratio::Parts& parts)
      : Rational(static_cast<Long>(parts.num), static_cast<Long>(parts.den)) {}

  ky::ratio::Parts parts() const { return {num, den}; }

  /// The operations again with reduced operands, until they fit or nothing is left to reduce.
  static Rational retriedSum(const Rational& a, const Rational& b);
  static Rational retriedProduct(const Rational& a, const Rational& b);

  Long num = 0;
  Long den = 1;
};

static_assert(sizeof(Rational) == 8, "a stored ratio is its two words");
