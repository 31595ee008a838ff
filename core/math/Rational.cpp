#include "core/math/Rational.h"

#include <utility>

#include "core/error/Printing.h"
#include "core/error/XError.h"
#include "core/math/Arithmetic.h"

using namespace ky;

namespace {

constexpr Int64 kMost = 0x3FFFFFFF;

[[noreturn, gnu::noinline]] void raiseOverflow() {
  const XError error("RATIONAL_OVERFLOW", 0);
  +error;
  __builtin_unreachable();
}

/// Whether the top two bits of the 32-bit result agree, so that a change of sign cannot overflow.
bool fits(Int64 n) { return n >= -kMost - 1 && n <= kMost; }

bool productFits(Int64 product) { return product >= -kMost && product <= kMost; }

Long tested(Int64 n) {
  if (!fits(n)) raiseOverflow();
  return static_cast<Long>(n);
}

struct Parts {
  Int64 num, den;
};

bool sum(const Rational& a, const Rational& b, Parts& out) {
  if (a.GetDen() == b.GetDen()) {
    out = {Int64{a.GetNum()} + b.GetNum(), a.GetDen()};
    return fits(out.num);
  }
  const Int64 x = Int64{a.GetNum()} * b.GetDen();
  const Int64 y = Int64{b.GetNum()} * a.GetDen();
  out = {x + y, Int64{a.GetDen()} * b.GetDen()};
  return productFits(x) && productFits(y) && fits(out.num) && productFits(out.den);
}

bool product(const Rational& a, const Rational& b, Parts& out) {
  out = {Int64{a.GetNum()} * b.GetNum(), Int64{a.GetDen()} * b.GetDen()};
  return productFits(out.num) && productFits(out.den);
}

Long divided(Long n, ULong common) {
  const ULong quotient = magnitude(n) / common;
  return static_cast<Long>(n < 0 ? 0 - quotient : quotient);
}

/// Divides both by what they have in common.
inline void reduceFields(Long& num, Long& den) {
  if (num == den && num != 0) {
    num = den = 1;
    return;
  }
  const ULong common = commonDivisor(magnitude(num), magnitude(den));
  if (common <= 1) return;
  num = divided(num, common);
  den = divided(den, common);
}

/// The constructor's work, where the compiler may inline it.
inline void makeFields(Long& num, Long& den) {
  if (den <= 0) [[unlikely]] {
    if (den == 0) raiseOverflow();
    num = tested(-Int64{num});
    den = tested(-Int64{den});
  }
  reduceFields(num, den);
}

bool sameFields(const Rational& a, const Rational& b) { return a.GetNum() == b.GetNum() && a.GetDen() == b.GetDen(); }

/// Tries again with reduced operands before it gives up.
template <class Operation>
[[gnu::noinline]] Parts retried(Operation operation, Rational a, Rational b) {
  Parts result;
  for (;;) {
    const Rational oldA = a, oldB = b;
    a.reduce();
    b.reduce();
    if (sameFields(a, oldA) && sameFields(b, oldB)) raiseOverflow();
    if (operation(a, b, result)) return result;
  }
}

template <class Operation>
inline Rational applied(Operation operation, const Rational& a, const Rational& b) {
  Parts result;
  if (!operation(a, b, result)) [[unlikely]]
    result = retried(operation, a, b);
  Long num = static_cast<Long>(result.num), den = static_cast<Long>(result.den);
  makeFields(num, den);
  Rational r;
  r.SetNum(num);
  r.SetDen(den);
  return r;
}

/// num1 * den2 and num2 * den1.
struct Crossed {
  Int64 left, right;
};

Crossed crossed(const Rational& a, const Rational& b) {
  const auto bothLowest = [](Long num, Long den) { return num == INT32_MIN && den == INT32_MIN; };
  if (bothLowest(a.GetNum(), b.GetDen()) || bothLowest(b.GetNum(), a.GetDen())) raiseOverflow();
  return {Int64{a.GetNum()} * b.GetDen(), Int64{b.GetNum()} * a.GetDen()};
}

}  // namespace

Rational::Rational(const Long& numerator, const Long& denominator) : num(numerator), den(denominator) {
  makeFields(num, den);
}

Long Rational::getLong() const {
  if (den == 0) raiseDivideByZero(__builtin_return_address(0));
  return static_cast<Long>(Int64{num} / den);
}

Rational& Rational::reduce() {
  reduceFields(num, den);
  return *this;
}

Rational& Rational::invert() {
  const Rational old = *this;
  if (num < 0) {
    num = tested(-Int64{old.den});
    den = tested(-Int64{old.num});
  } else {
    num = old.den;
    den = old.num;
  }
  return *this;
}

Rational& Rational::negate() {
  if (!fits(-Int64{num})) reduce();
  num = tested(-Int64{num});
  return *this;
}

bool Rational::isInteger() { return std::as_const(reduce()).isInteger(); }

Rational Rational::operator%(Long n) const {
  if (n == 0 || den == 0) raiseDivideByZero(__builtin_return_address(0));
  return Rational(static_cast<Long>(num % (Int64{den} * n)), den);
}

void Rational::print() const { dprintf("%ld/%ld", static_cast<long>(num), static_cast<long>(den)); }

int Rational::compare(const Rational& a, const Rational& b) {
  if (sameFields(a, b)) return 0;
  const auto [left, right] = crossed(a, b);
  return left < right ? -1 : left > right;
}

Rational operator+(const Rational& a, const Rational& b) { return applied(sum, a, b); }

Rational operator-(const Rational& a, const Rational& b) { return a + -b; }

Rational operator*(const Rational& a, const Rational& b) { return applied(product, a, b); }

Rational operator/(const Rational& a, const Rational& b) { return a * Rational(b).invert(); }

bool operator==(const Rational& a, const Rational& b) {
  if (sameFields(a, b)) return true;
  const auto [left, right] = crossed(a, b);
  return static_cast<ULong>(left) == static_cast<ULong>(right);
}
