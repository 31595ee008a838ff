#include "core/math/Rational.h"

#include <gtest/gtest.h>

#include <numeric>
#include <optional>
#include <random>
#include <sstream>
#include <string>

#include "tests/support/Printed.h"
#include "tests/support/Raised.h"

using namespace ky::test;

namespace {

struct Exact {
  Int64 num, den;
};

std::string shown(const Rational& r) { return std::to_string(r.GetNum()) + "/" + std::to_string(r.GetDen()); }

/// A ratio as stored, unreduced.
Rational raw(Long num, Long den) {
  Rational r;
  r.SetNum(num);
  r.SetDen(den);
  return r;
}

Exact reducedExact(Int64 num, Int64 den) {
  const Int64 common = std::gcd(num, den);
  if (den < 0) num = -num, den = -den;
  return {num / common, den / common};
}

bool inRange(Int64 n) { return n >= -0x40000000 && n <= 0x3FFFFFFF; }
bool productInRange(Int64 n) { return n >= -0x3FFFFFFF && n <= 0x3FFFFFFF; }

/// The exact result when every step stays in range with reduced operands, else nothing.
std::optional<Exact> modelSum(Exact a, Exact b) {
  Int64 num = Int64{a.num} + b.num, den = a.den;
  if (a.den != b.den) {
    const Int64 x = Int64{a.num} * b.den, y = Int64{b.num} * a.den;
    num = x + y;
    den = Int64{a.den} * b.den;
    if (!productInRange(x) || !productInRange(y) || !productInRange(den)) return {};
  }
  if (!inRange(num)) return {};
  return reducedExact(num, den);
}

std::optional<Exact> modelProduct(Exact a, Exact b) {
  const Int64 num = Int64{a.num} * b.num, den = Int64{a.den} * b.den;
  if (!productInRange(num) || !productInRange(den)) return {};
  return reducedExact(num, den);
}

/// Small ones stay exact, large ones overflow; both matter.
Rational someRatio(std::mt19937& random) {
  const int bits = 1 + static_cast<int>(random() % 29);
  const auto below = [&](int width) { return static_cast<Long>(random() & ((1u << width) - 1)); };
  const Long num = below(bits);
  return Rational(random() % 2 ? num : -num, 1 + below(1 + static_cast<int>(random() % 20)));
}

template <class Operation>
void expectModel(const std::optional<Exact>& want, Operation operation) {
  Rational got;
  const std::string code = codeRaisedBy([&] { got = operation(); });
  EXPECT_EQ(code, want ? "" : "RATIONAL_OVERFLOW");
  if (!want || !code.empty()) return;
  EXPECT_EQ(shown(got), std::to_string(want->num) + "/" + std::to_string(want->den));
}

}  // namespace

TEST(Rational, OperatorsAreExactOrRaise) {
  std::mt19937 random(2026);
  int raised = 0;
  for (int i = 0; i < 20000; ++i) {
    const Rational a = someRatio(random), b = someRatio(random);
    SCOPED_TRACE(shown(a) + " and " + shown(b));
    const Exact x{a.GetNum(), a.GetDen()}, y{b.GetNum(), b.GetDen()};
    const auto sum = modelSum(x, y);
    raised += !sum;
    expectModel(sum, [&] { return a + b; });
    expectModel(modelSum(x, {-y.num, y.den}), [&] { return a - b; });
    expectModel(modelProduct(x, y), [&] { return a * b; });
    if (y.num != 0) {
      expectModel(modelProduct(x, y.num < 0 ? Exact{-y.den, -y.num} : Exact{y.den, y.num}), [&] { return a / b; });
    }
    const Int64 left = x.num * y.den, right = y.num * x.den;
    EXPECT_EQ(Rational::compare(a, b), left < right ? -1 : left > right);
    EXPECT_EQ(a < b, left < right);
    EXPECT_EQ(a > b, left > right);
    EXPECT_EQ(a == b, static_cast<ULong>(left - right) == 0);
    if (HasFailure()) return;
  }
  EXPECT_GT(raised, 500);
  EXPECT_LT(raised, 19000);
}

TEST(Rational, ConstructorReducesAndKeepsTheDenominatorPositive) {
  const struct {
    Long num, den;
    const char* want;
  } cases[] = {{0, 5, "0/1"},
               {6, 4, "3/2"},
               {6, -4, "-3/2"},
               {-5, -5, "1/1"},
               {INT32_MIN, 2, "-1073741824/1"},  // a positive denominator tests nothing
               {INT32_MAX, 1, "2147483647/1"}};
  for (const auto& c : cases) EXPECT_EQ(shown(Rational(c.num, c.den)), c.want);
  EXPECT_EQ(codeRaisedBy([] { Rational(1, 0); }), "RATIONAL_OVERFLOW");
  EXPECT_EQ(codeRaisedBy([] { Rational(1, INT32_MIN); }), "RATIONAL_OVERFLOW");
  EXPECT_EQ(codeRaisedBy([] { Rational(-0x40000000, -1); }), "RATIONAL_OVERFLOW");
}

TEST(Rational, OverflowIsRaisedOnlyWhenReducingDoesNotHelp) {
  EXPECT_EQ(codeRaisedBy([] { Rational(0x20000000) + Rational(0x20000000); }), "RATIONAL_OVERFLOW");
  EXPECT_EQ(shown(Rational(1, 0x10000) + Rational(1, 0x10000)), "1/32768");
  EXPECT_EQ(shown(raw(0x30000000, 0x30000000) + raw(0x20000000, 0x10000000)), "3/1");
  EXPECT_EQ(shown(raw(0x30000000, 2) * raw(0x30000000, 0x30000000)), "402653184/1");
  EXPECT_EQ(codeRaisedBy([] { -Rational(-0x40000000); }), "RATIONAL_OVERFLOW");
  EXPECT_EQ(shown(raw(-0x40000000, 2).negate()), "536870912/1");
  EXPECT_EQ(codeRaisedBy([] { Rational(1) / Rational(); }), "RATIONAL_OVERFLOW");
}

TEST(Rational, ZeroDenominatorsArePassedOnUntouched) {
  Rational zero;
  EXPECT_EQ(shown(zero.invert()), "1/0");
  EXPECT_EQ(shown(zero.reduce()), "1/0");
  EXPECT_EQ(shown(raw(0, 0).reduce()), "0/0");
  EXPECT_EQ(shown(raw(-3, -3).reduce()), "1/1");
  EXPECT_EQ(codeRaisedBy([] { raw(1, 0).getLong(); }), "Structured Exception");
  EXPECT_EQ(shown(Rational(-2, 3).invert()), "-3/2");
}

TEST(Rational, EqualityLooksAtTheLowWordOfTheDifferenceOnly) {
  const Rational a = raw(0x10000, 1), b = raw(0, 0x10000);
  EXPECT_TRUE(a == b);  // the products differ by 2^32
  EXPECT_EQ(Rational::compare(a, b), 1);
  const Rational lowest = raw(INT32_MIN, 1);
  EXPECT_EQ(codeRaisedBy([&] { Rational::compare(lowest, raw(1, INT32_MIN)); }), "RATIONAL_OVERFLOW");
  EXPECT_EQ(codeRaisedBy([&] { (void)(raw(1, INT32_MIN) == lowest); }), "RATIONAL_OVERFLOW");
  EXPECT_EQ(Rational::compare(lowest, lowest), 0);
}

TEST(Rational, ConvertsShowsAndTakesRemainders) {
  const Rational r(-7, 2);
  EXPECT_EQ(r.getLong(), -3);
  EXPECT_DOUBLE_EQ(r.getDouble(), -3.5);
  EXPECT_EQ(shown(r % 2), "-3/2");
  EXPECT_EQ(shown(Rational(10) %= 4), "2/1");
  EXPECT_EQ(codeRaisedBy([&] { (void)(r % 0); }), "Structured Exception");

  Rational unreduced = raw(6, 3);
  EXPECT_TRUE(std::as_const(unreduced).isInteger());
  EXPECT_EQ(shown(unreduced), "6/3");
  EXPECT_TRUE(unreduced.isInteger());
  EXPECT_EQ(shown(unreduced), "2/1");
  EXPECT_FALSE(r.isInteger());

  std::ostringstream out;
  out << r;
  EXPECT_EQ(out.str(), "-7/2");
  const DebugPrinted printed;
  r.print();
  EXPECT_EQ(printed.text(), "-7/2");
}
