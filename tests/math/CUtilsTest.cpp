#include "core/math/CUtils.h"

#include <numeric>

#include "core/math/KyFixedMath.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

/// Values at which widths and signs change, mixed with small and arbitrary ones.
Long awkward(std::mt19937& random) {
  constexpr Long edges[] = {0, 1, -1, 2, -2, 0x7FFF, -0x8000, 0x8000, 0x3FFFFFFF, -0x40000000, INT_MAX, INT_MIN};
  const unsigned kind = random() % 3;
  if (kind == 0) return edges[random() % std::size(edges)];
  return kind == 1 ? static_cast<Long>(random() % 41) - 20 : static_cast<Long>(random());
}

Int64 modelFloor(Int64 a, Int64 b) { return a / b - (a < 0 && a % b != 0); }

}  // namespace

TEST(CUtils, DivisionsAgreeWithTheirRulesInWideArithmetic) {
  std::mt19937 random(83);
  for (int i = 0; i < 20000; ++i) {
    const Long a = awkward(random), b = awkward(random);
    SCOPED_TRACE(std::to_string(a) + ", " + std::to_string(b));
    const Int64 wideA = a, wideB = b;
    EXPECT_EQ(gcd(a, b), static_cast<Long>(std::gcd(wideA, wideB)));
    if (b == 0) continue;
    EXPECT_EQ(divFloor(a, b), static_cast<Long>(modelFloor(wideA, wideB)));
    EXPECT_EQ(divFloor(wideA, wideB), modelFloor(wideA, wideB));
    EXPECT_EQ(divCeil(a, b), static_cast<Long>(wideA / wideB + (a > 0 && wideA % wideB != 0)));
    EXPECT_EQ(rem(a, b), static_cast<Long>(wideA % wideB));
    const Int64 least = (wideA % wideB + wideB) % wideB;  // of the divisor's sign
    EXPECT_EQ(mod(a, b), static_cast<Long>(least));
  }
}

TEST(CUtils, DivisionByZeroIsRaisedAsTheFaultItIs) {
  Long result = 0;
  const std::function<void()> divisions[] = {
      [] { divFloor(Long{1}, Long{0}); },
      [] { divFloor(Int64{1}, Int64{0}); },
      [] { rem(1, 0); },
      [&] { KyFixedMod16(1, 0, &result); },
  };
  for (const auto& divide : divisions) {
    const XError error = errorRaisedBy(divide);
    EXPECT_STREQ(error.GetCode(), "Structured Exception");
    EXPECT_EQ(parm(error, "ExceptionString"), "INT_DIVIDE_BY_ZERO");
    EXPECT_EQ(static_cast<ULong>(std::stol(parm(error, "ExceptionCode"))), 0xC0000094);
  }
}

TEST(CUtils, ScalingRoundsAndNarrowsByWidth) {
  EXPECT_EQ(ratioCalcSS(7, 1, 2), 4);
  EXPECT_EQ(ratioCalcSS(-7, 1, 2), -3);
  EXPECT_EQ(ratioCalcSS(30000, 30000, 1), static_cast<short>(900000000));
  EXPECT_EQ(ratioCalcLS(100001, 1, 2), 50000);  // 25000 scaled, shifted back twice
  EXPECT_EQ(ratioCalcSL(100, 100000, 200000), 50);
  EXPECT_EQ(ratioCalcLL(1000000, 1000000, 3), INT_MIN);  // beyond 32 bits
  EXPECT_EQ(ratioCalcLL(1, 1, 0), 0);

  Long remainder = -1;
  EXPECT_EQ(MultAndDiv64Bit(1000003, 7, 8, &remainder), 875002);
  EXPECT_EQ(remainder, 5);
  EXPECT_EQ(MultAndDiv64Bit(-7, 1, 2, nullptr), -3);
}

TEST(CUtils, MappingCarriesOneRangeIntoAnother) {
  const Long cases[][6] = {{10, 0, 10, 100, 200, 200}, {3, 3, 3, 7, 9, 7},       {7, 10, 0, 0, 100, 30},
                           {1, 0, 2, 0, 1, 1},         {5, 0, 100000, 0, 10, 0}, {5, 0, 10, 0, 80000, 40000}};
  for (const auto& [value, fromMin, fromMax, toMin, toMax, want] : cases) {
    SCOPED_TRACE(value);
    EXPECT_EQ(mapFromTo(value, fromMin, fromMax, toMin, toMax), want);
    EXPECT_EQ(mapFromToInt(value, fromMin, fromMax, toMin, toMax), want);
    EXPECT_EQ(mapFromToSmooth(value, fromMin, fromMax, toMin, toMax, 0), want);
  }
  EXPECT_EQ(mapFromTo(INT_MAX, 0, 1, 0, INT_MAX), INT_MIN);   // out of range
  EXPECT_EQ(mapFromToSmooth(25, 0, 100, 1000, 0, 100), 854);  // 1000 - (1 - cos 45 deg) * 500
  EXPECT_EQ(mapFromToSmooth(25, 0, 100, 1000, 0, 50), 802);   // half way to the line's 750
  EXPECT_EQ(refusalOf([] { mapFromToInt(11, 0, 10, 0, 1); }),
            "fromMin <= oldVal && oldVal <= fromMax || fromMin >= oldVal && oldVal >= fromMax");
}

TEST(CUtils, FixedPointSplitsAndTakesTheModulo) {
  Long integer = 0, fraction = 0, result = 77;
  KyFixedTrunc16(-0x4000, &integer, &fraction);
  EXPECT_EQ(integer, -0x10000);
  EXPECT_EQ(fraction, 0xC000);
  KyFixedMod16(-0x58000, 0x20000, &result);
  EXPECT_EQ(result, -0x18000);
  KyFixedMod16(INT_MIN, -1, &result);
  EXPECT_EQ(result, 0);
}

TEST(CUtils, TextIsComparedAndFoundIgnoringAsciiCaseAndCopiedWithAnEnd) {
  EXPECT_GT(CIstrcmp("\xE4", "z"), 0);  // bytes are unsigned
  EXPECT_TRUE(issubstr("CUT", "Rough cut 3"));
  EXPECT_FALSE(issubstr("aab", "aaab"));  // does not go back in the text
  EXPECT_FALSE(issubstr("cutter", "cut"));

  char to[] = "xxxx";
  strncpyz(to, "abcdef", 3);
  EXPECT_EQ(std::string(to, 4), std::string("ab\0x", 4));
  strncpyz(to, "z", 0);
  EXPECT_STREQ(to, "ab");
}
