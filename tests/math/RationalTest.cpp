#include "core/math/Rational.h"

#include <numeric>

#include "tests/support/Test.h"

using namespace ky::test;

namespace {

std::string shown(Int64 num, Int64 den) { return std::to_string(num) + "/" + std::to_string(den); }
std::string shown(const Rational& r) { return shown(r.GetNum(), r.GetDen()); }

/// A ratio as stored, unreduced.
Rational raw(Long num, Long den) {
  Rational r;
  r.SetNum(num);
  r.SetDen(den);
  return r;
}

/// What an operation gives, or the code that it raises.
template <class Operation>
std::string outcome(Operation operation) {
  std::string text;
  const std::string code = codeRaisedBy([&] { text = shown(operation()); });
  return code.empty() ? text : code;
}

/// The reduced ratio if every step stays in range, as it does not once `steps` hold anything beyond 30 bits.
std::string model(Int64 num, Int64 den, std::initializer_list<Int64> steps) {
  const auto inRange = [](Int64 n) { return n >= -0x3FFFFFFF && n <= 0x3FFFFFFF; };
  if (num < -0x40000000 || num > 0x3FFFFFFF || !std::all_of(steps.begin(), steps.end(), inRange)) {
    return "RATIONAL_OVERFLOW";
  }
  const Int64 common = std::gcd(num, den) * (den < 0 ? -1 : 1);
  return shown(num / common, den / common);
}

std::string modelSum(const Rational& a, const Rational& b, int sign) {
  const Int64 p = a.GetNum(), q = a.GetDen(), r = sign * Int64{b.GetNum()}, s = b.GetDen();
  return q == s ? model(p + r, q, {}) : model(p * s + r * q, q * s, {p * s, r * q, q * s});
}

std::string modelProduct(const Rational& a, Int64 num, Int64 den) {
  const Int64 n = a.GetNum() * num, d = a.GetDen() * den;
  return model(n, d, {n, d});
}

/// Small ones stay exact, large ones overflow; both matter.
Rational someRatio(std::mt19937& random) {
  const auto below = [&](unsigned width) { return static_cast<Long>(random() & ((1u << width) - 1)); };
  const Long num = below(1 + random() % 29);
  return Rational(random() % 2 ? num : -num, 1 + below(1 + random() % 20));
}

}  // namespace

TEST(Rational, OperatorsAreExactOrRaise) {
  std::mt19937 random(2026);
  int raised = 0;
  for (int i = 0; i < 20000 && !HasFailure(); ++i) {
    const Rational a = someRatio(random), b = someRatio(random);
    SCOPED_TRACE(shown(a) + " and " + shown(b));
    raised += modelSum(a, b, 1) == "RATIONAL_OVERFLOW";
    EXPECT_EQ(outcome([&] { return a + b; }), modelSum(a, b, 1));
    EXPECT_EQ(outcome([&] { return a - b; }), modelSum(a, b, -1));
    EXPECT_EQ(outcome([&] { return a * b; }), modelProduct(a, b.GetNum(), b.GetDen()));
    EXPECT_EQ(outcome([&] { return a / b; }),
              b.GetNum() == 0 ? "RATIONAL_OVERFLOW" : modelProduct(a, b.GetDen(), b.GetNum()));
    const Int64 left = Int64{a.GetNum()} * b.GetDen(), right = Int64{b.GetNum()} * a.GetDen();
    EXPECT_EQ(Rational::compare(a, b), left < right ? -1 : left > right);
    EXPECT_EQ(a < b, left < right);
    EXPECT_EQ(a > b, left > right);
    EXPECT_EQ(a == b, static_cast<ULong>(left - right) == 0);
  }
  EXPECT_GT(raised, 500);
  EXPECT_LT(raised, 19000);
}

TEST(Rational, EdgesOfItsOperations) {
  const std::string overflow = "RATIONAL_OVERFLOW", trap = "Structured Exception";
  const std::pair<std::function<Rational()>, std::string> rows[] = {
      {[] { return Rational(6, -4); }, "-3/2"},
      {[] { return Rational(INT_MIN, 2); }, "-1073741824/1"},  // a positive denominator tests nothing
      {[] { return Rational(1, INT_MIN); }, overflow},
      {[] { return Rational(-0x40000000, -1); }, overflow},
      // Reducing helps where it can.
      {[] { return Rational(0x20000000) + Rational(0x20000000); }, overflow},
      {[] { return Rational(-0x20000000) + Rational(-0x20000000); }, "-1073741824/1"},
      {[] { return Rational(1, 0x10000) + Rational(1, 0x10000); }, "1/32768"},
      {[] { return -Rational(-0x40000000); }, overflow},
      {[] { return raw(-0x40000000, 2).negate(); }, "536870912/1"},
      {[] { return Rational(1) / Rational(); }, overflow},
      // Zero denominators are passed on untouched.
      {[] { return Rational().invert(); }, "1/0"},
      {[] { return raw(0, 0).reduce(); }, "0/0"},
      {[] { return Rational(raw(1, 0).getLong()); }, trap},
      {[] { return Rational(raw(INT_MIN, -1).isInteger()); }, "1/1"},  // as a damaged document may hold it
      {[] { return Rational(-7, 2) % 2; }, "-3/2"},
      {[] { return Rational(Rational(-7, 2).getLong()); }, "-3/1"},
      {[] { return Rational(-7, 2) % 0; }, trap},
  };
  for (const auto& [operation, want] : rows) EXPECT_EQ(outcome(operation), want);
}

TEST(Rational, EqualityLooksAtTheLowWordOfTheDifferenceOnly) {
  const Rational a = raw(0x10000, 1), b = raw(0, 0x10000), lowest = raw(INT_MIN, 1);
  EXPECT_TRUE(a == b);  // the products differ by 2^32
  EXPECT_EQ(Rational::compare(a, b), 1);
  EXPECT_EQ(codeRaisedBy([&] { Rational::compare(lowest, raw(1, INT_MIN)); }), "RATIONAL_OVERFLOW");
}
