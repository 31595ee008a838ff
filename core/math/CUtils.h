// Integer rounding, scaling and mapping, and the small text helpers.
#pragma once

#include "core/base/KyTypes.h"

/// Greatest common divisor of the absolute values; (0, 0) gives 0, one zero gives the other value.
KY_API Long gcd(Long a, Long b);

/// The quotient, one less when the dividend is negative and does not divide exactly. Only the dividend's sign is looked
/// at: for a negative divisor this is not the floor.
///
/// Raises:   "Structured Exception" for a zero divisor, as every division here does.
KY_API Long divFloor(Long dividend, Long divisor);
KY_API Int64 divFloor(Int64 dividend, Int64 divisor);

/// The quotient, one more when the dividend is positive and does not divide exactly.
KY_API Long divCeil(Long dividend, Long divisor);

/// The remainder with the sign of the divisor: `mod(-1, 5)` is 4.
KY_API Long mod(Long dividend, Long divisor);

/// The remainder with the sign of the dividend: `rem(-7, 3)` is -1.
KY_API Long rem(Long dividend, Long divisor);

/// Raises `*value` to `low`, then lowers it to `high`; `high` is tested last and wins when the two cross.
KY_API void limitlong(Long* value, Long low, Long high);

/// `value` carried linearly from one range into another, rounded half away from zero. An empty source range gives
/// `toMin`. Values outside the source range are extrapolated.
KY_API Long mapFromTo(Long value, Long fromMin, Long fromMax, Long toMin, Long toMax);

/// The same in integers.
///
/// Requires: "fromMin <= oldVal && oldVal <= fromMax || fromMin >= oldVal && oldVal >= fromMax".
KY_API Long mapFromToInt(Long oldVal, Long fromMin, Long fromMax, Long toMin, Long toMax);

/// The same along a blend of a line (`smoothness` 0) and a cosine S-curve (100).
KY_API Long mapFromToSmooth(Long value, Long fromMin, Long fromMax, Long toMin, Long toMax, double smoothness);

/// `a * b / c`, the letters naming the widths: S is a short, L a long. A zero `c` gives 0.
///
/// SS rounds to nearest for positive values. LS and SL shift the wide arguments right until they fit a short: precision
/// is given up for speed. LL computes in floating point and rounds by adding one half.
KY_API short ratioCalcSS(short a, short b, short c);
KY_API Long ratioCalcLS(Long a, short b, short c);
KY_API short ratioCalcSL(short a, Long b, Long c);
KY_API Long ratioCalcLL(Long a, Long b, Long c);

/// `a * b / c` truncated, computed in floating point; `*remainder`, unless null, gets what the fraction is worth in
/// units of 1 / c.
KY_API Long MultAndDiv64Bit(Long a, Long b, Long c, Long* remainder);

/// Compares two texts ignoring the case of ASCII letters, byte by byte as unsigned characters.
///
/// Returns:  below 0, 0 or above 0, as strcmp does.
KY_API int CIstrcmp(const char* a, const char* b);

/// Copies at most `size` - 1 characters and always ends the copy; a `size` below 1 does nothing.
KY_API void strncpyz(char* to, const char* from, Long size);

/// Tells whether `text` contains `needle`, ignoring case. After a partial match the needle starts over at the
/// character that broke it, without going back, so `aab` is not found in `aaab`. An empty needle is found in anything.
KY_API Boolean issubstr(const char* needle, const char* text);
