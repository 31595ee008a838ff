#include "core/math/CUtils.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/math/Arithmetic.h"
#include "core/math/DivideFault.h"

using namespace ky;

namespace {

unsigned char lowered(char c) {
  const auto u = static_cast<unsigned char>(c);
  return u >= 'A' && u <= 'Z' ? static_cast<unsigned char>(u + ('a' - 'A')) : u;
}

/// Beyond the range of the result: the lowest value, as the processor's own conversion has it.
Long truncated(double value) {
  return value > -2147483649.0 && value < 2147483648.0 ? static_cast<Long>(value) : INT32_MIN;
}

Long roundedAwayFromZero(double value) { return truncated(value < 0 ? value - 0.5 : value + 0.5); }

bool fitsShort(Int64 n) { return n == static_cast<short>(n); }

template <class Number>
Number floorOfPositive(Number dividend, Number divisor) {
  const Number quotient = dividend / divisor;
  return dividend < 0 && dividend % divisor != 0 ? quotient - 1 : quotient;
}

}  // namespace

void ky::raiseDivideByZero(const void* place) {
  constexpr Long kIntDivideByZero = static_cast<Long>(0xC0000094);
  const XError error("Structured Exception", "long ExceptionCode", kIntDivideByZero, "str ExceptionString",
                     "INT_DIVIDE_BY_ZERO", "ptr FaultAddress", const_cast<void*>(place), 0);
  +error;
  __builtin_unreachable();
}

Long gcd(Long a, Long b) { return static_cast<Long>(commonDivisor(magnitude(a), magnitude(b))); }

Long divFloor(Long dividend, Long divisor) {
  if (divisor == 0) raiseDivideByZero(__builtin_return_address(0));
  return static_cast<Long>(floorOfPositive<Int64>(dividend, divisor));
}

Int64 divFloor(Int64 dividend, Int64 divisor) {
  if (divisor == 0) raiseDivideByZero(__builtin_return_address(0));
  if (divisor == -1) return -dividend;  // the lowest value has no opposite; the processor would fault
  return floorOfPositive(dividend, divisor);
}

Long divCeil(Long dividend, Long divisor) {
  if (divisor == 0) raiseDivideByZero(__builtin_return_address(0));
  const Int64 quotient = Int64{dividend} / divisor;
  return static_cast<Long>(dividend > 0 && Int64{dividend} % divisor != 0 ? quotient + 1 : quotient);
}

Long mod(Long dividend, Long divisor) {
  if (divisor == 0) raiseDivideByZero(__builtin_return_address(0));
  const Int64 remainder = Int64{dividend} % divisor;
  return static_cast<Long>(remainder != 0 && (remainder < 0) != (divisor < 0) ? remainder + divisor : remainder);
}

Long rem(Long dividend, Long divisor) {
  if (divisor == 0) raiseDivideByZero(__builtin_return_address(0));
  return static_cast<Long>(Int64{dividend} % divisor);
}

void limitlong(Long* value, Long low, Long high) {
  if (*value < low) *value = low;
  if (*value > high) *value = high;
}

Long mapFromTo(Long value, Long fromMin, Long fromMax, Long toMin, Long toMax) {
  if (fromMin == fromMax) return toMin;
  const double scale = (static_cast<double>(toMax) - toMin) / (static_cast<double>(fromMax) - fromMin);
  return roundedAwayFromZero(scale * (static_cast<double>(value) - fromMin) + toMin);
}

Long mapFromToInt(Long oldVal, Long fromMin, Long fromMax, Long toMin, Long toMax) {
  if (fromMin == fromMax) return toMin;
  const bool inside = (fromMin <= oldVal && oldVal <= fromMax) || (fromMin >= oldVal && oldVal >= fromMax);
  if (!check(inside, "fromMin <= oldVal && oldVal <= fromMax || fromMin >= oldVal && oldVal >= fromMax")) return toMin;

  const Long toSpan = std::abs(toMax - toMin);
  const Long fromSpan = std::abs(fromMax - fromMin);
  const Long distance = std::abs(oldVal - fromMin);
  Long step;
  if (!fitsShort(fromSpan)) {
    step = ratioCalcLL(toSpan, distance, fromSpan);
  } else if (!fitsShort(toSpan)) {
    step = ratioCalcLS(toSpan, static_cast<short>(distance), static_cast<short>(fromSpan));
  } else {
    step = ratioCalcSS(static_cast<short>(toSpan), static_cast<short>(distance), static_cast<short>(fromSpan));
  }
  return toMax >= toMin ? toMin + step : toMin - step;
}

Long mapFromToSmooth(Long value, Long fromMin, Long fromMax, Long toMin, Long toMax, double smoothness) {
  if (smoothness == 0) return mapFromTo(value, fromMin, fromMax, toMin, toMax);
  if (fromMin == fromMax) return toMin;
  constexpr double pi = 3.141592654;
  const Int64 span = Int64{toMax} - toMin;
  const Int64 fromSpan = Int64{fromMax} - fromMin;
  const Int64 distance = Int64{value} - fromMin;
  const double theta = static_cast<double>(distance) * pi / static_cast<double>(fromSpan);
  const double half = (1 - std::cos(theta)) * static_cast<double>(std::abs(span)) * 0.5;
  const double smooth = toMax >= toMin ? toMin + half : toMin - half;
  const auto linear = static_cast<double>(toMin + span * distance / fromSpan);
  return roundedAwayFromZero((smooth * smoothness + linear * (100 - smoothness)) * 0.01);
}

short ratioCalcSS(short a, short b, short c) {
  if (c == 0) return 0;
  return static_cast<short>((Long{a} * b + c / 2) / c);
}

Long ratioCalcLS(Long a, short b, short c) {
  if (b == c) return a;
  int shift = 0;
  for (; !fitsShort(a); a >>= 1) ++shift;
  return static_cast<Long>(static_cast<ULong>(ratioCalcSS(static_cast<short>(a), b, c)) << shift);
}

short ratioCalcSL(short a, Long b, Long c) {
  for (; !fitsShort(b) || !fitsShort(c); b >>= 1) c >>= 1;
  return ratioCalcSS(a, static_cast<short>(b), static_cast<short>(c));
}

Long ratioCalcLL(Long a, Long b, Long c) { return c == 0 ? 0 : truncated(static_cast<double>(a) * b / c + 0.5); }

Long MultAndDiv64Bit(Long a, Long b, Long c, Long* remainder) {
  const double quotient = static_cast<double>(a) * b / c;
  const Long whole = truncated(quotient);
  if (remainder) *remainder = truncated((quotient - whole) * c);
  return whole;
}

int CIstrcmp(const char* a, const char* b) {
  for (;; ++a, ++b) {
    const int difference = lowered(*a) - lowered(*b);
    if (difference != 0 || *a == '\0') return difference;
  }
}

void strncpyz(char* to, const char* from, Long size) {
  if (size < 1) return;
  const std::size_t length = strnlen(from, static_cast<std::size_t>(size - 1));
  std::memmove(to, from, length);
  to[length] = '\0';
}

Boolean issubstr(const char* needle, const char* text) {
  const char* wanted = needle;
  while (*wanted != '\0') {
    if (*text == '\0') return 0;
    if (lowered(*text) == lowered(*wanted)) {
      ++wanted;
      ++text;
    } else if (wanted != needle) {
      wanted = needle;
    } else {
      ++text;
    }
  }
  return 1;
}
