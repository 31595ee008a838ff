// The ways to compute the checksum, of which the best that this processor has is taken.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "core/base/KyTypes.h"

namespace ky {

using CrcKernel = ULong (*)(ULong crc, const unsigned char* data, std::size_t n);

struct CrcWay {
  const char* name;
  CrcKernel run;
  bool usable;
};

/// Every way that is compiled in, the portable one first and the fastest last.
KY_API std::span<const CrcWay> crcWays();

/// The portable way: sixteen tables, sixteen bytes a step.
ULong crcBySlices(ULong crc, const unsigned char* data, std::size_t n);

/// The ways that need carry-less multiplication; empty where the processor family has none.
std::span<const CrcWay> crcFoldingWays();

inline constexpr ULong kCrcPolynomial = 0xEDB88320;

/// x to the power `k` modulo the polynomial, bit-reflected: bit 31 is the coefficient of x^0.
constexpr ULong crcPowerOfX(unsigned k) {
  ULong r = 0x80000000;
  while (k-- > 0) r = r >> 1 ^ (r & 1 ? kCrcPolynomial : 0);
  return r;
}

}  // namespace ky
