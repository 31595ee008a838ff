#include "core/math/Rational.h"

#include <utility>

#include "core/error/Printing.h"
#include "core/error/XError.h"
#include "core/math/DivideFault.h"

using namespace ky;

namespace {

Long tested(Int64 n) {
  if (!ratio::sumFits(n)) ratio::raiseOverflow();
  return static_cast<Long>(n);
}

ratio::Parts partsOf(const Rational& r) { return {r.GetNum(), r.GetDen()}; }

bool sameFields(const Rational& a, const Rational& b) { return a.GetNum() == b.GetNum() && a.GetDen() == b.GetDen(); }

template <class Operation>
ratio::Parts retried(Operation operation, Rational a, Rational b) {
  ratio::Parts result;
  for (;;) {
    const Rational oldA = a, oldB = b;
    a.reduce();
    b.reduce();
    if (sameFields(a, oldA) && sameFields(b, oldB)) ratio::raiseOverflow();
    if (operation(partsOf(a), partsOf(b), result)) return result;
  }
}

/// num1 * den2 and num2 * den1.
struct Crossed {
  Int64 left, right;
};

Crossed crossed(const Rational& a, const Rational& b) {
  const auto bothLowest = [](Long num, Long den) { return num == INT32_MIN && den == INT32_MIN; };
  if (bothLowest(a.GetNum(), b.GetDen()) || bothLowest(b.GetNum(), a.GetDen())) ratio::raiseOverflow();
  return {Int64{a.GetNum()} * b.GetDen(), Int64{b.GetNum()} * a.GetDen()};
}

}  // namespace

void ratio::raiseOverflow() {
  const XError error("RATIONAL_OVERFLOW", 0);
  +error;
  __builtin_unreachable();
}

Rational Rational::retriedSum(const Rational& a, const Rational& b) { return Rational(retried(ratio::sum, a, b)); }

Rational Rational::retriedProduct(const Rational& a, const Rational& b) {
  return Rational(retried(ratio::product, a, b));
}

Long Rational::getLong() const {
  if (den == 0) raiseDivideByZero(__builtin_return_address(0));
  return static_cast<Long>(Int64{num} / den);
}

Rational& Rational::reduce() { return *this = Rational(ratio::reduced({num, den})); }

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
  if (!ratio::sumFits(-Int64{num})) reduce();
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

Rational operator-(const Rational& a, const Rational& b) { return a + -b; }

Rational operator/(const Rational& a, const Rational& b) { return a * Rational(b).invert(); }

bool operator==(const Rational& a, const Rational& b) {
  if (sameFields(a, b)) return true;
  const auto [left, right] = crossed(a, b);
  return static_cast<ULong>(left) == static_cast<ULong>(right);
}
