// Checksum by carry-less multiplication.
//
// Sixteen bytes are a polynomial A, the first bit of the first byte its highest coefficient; in a register all is
// bit-reflected. Bytes that stand d bits before others may be added to them once multiplied by x^d modulo the
// polynomial, so a long message folds, many blocks at a time, into its last sixteen bytes. The product of two reflected
// 64-bit lanes comes out one bit low, which the constants take into account.
//
// Source: V. Gopal et al., Fast CRC Computation for Generic Polynomials Using PCLMULQDQ Instruction, Intel 2009.
#include "core/utils/CrcKernels.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

namespace ky {
namespace {

#define KY_FOLD128 __attribute__((target("pclmul,sse4.1")))
#define KY_FOLD512 __attribute__((target("avx512f,avx512vl,avx512dq,vpclmulqdq,pclmul,sse4.1")))

/// What multiplies a lane so that the product stands for the lane times x^bits.
constexpr Int64 lanePower(unsigned bits) {
  return static_cast<Int64>(static_cast<UInt64>(crcPowerOfX(bits - 32)) << 1);
}

/// The quotient of x^95 by the polynomial, reflected.
constexpr UInt64 quotientOfX95() {
  constexpr UInt64 polynomial = 0x104C11DB7;
  UInt64 remainder = UInt64{1} << 32;  // the window of x^95 that division has reached
  UInt64 quotient = 0;
  for (int i = 0; i < 64; ++i) {
    if (remainder >> 32 & 1) {
      remainder ^= polynomial;
      quotient |= UInt64{1} << i;
    }
    remainder <<= 1;
  }
  return quotient;
}

struct Powers {
  Int64 low, high;
};
/// For both lanes of a block that moves `bits` on: the low lane holds the higher powers.
constexpr Powers powersFor(unsigned bits) { return {lanePower(bits + 64), lanePower(bits)}; }

KY_FOLD128 inline __m128i load(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

template <unsigned Bits>
KY_FOLD128 inline __m128i moved(__m128i block) {
  constexpr Powers by = powersFor(Bits);
  const __m128i k = _mm_set_epi64x(by.high, by.low);
  return _mm_xor_si128(_mm_clmulepi64_si128(block, k, 0x00), _mm_clmulepi64_si128(block, k, 0x11));
}

template <unsigned Bits>
KY_FOLD128 inline __m128i fold(__m128i block, __m128i into) {
  return _mm_xor_si128(moved<Bits>(block), into);
}

/// Folds the 1 to 15 bytes before `end` into `block`: its first bytes move on, the others join them in a new block.
KY_FOLD128 inline __m128i foldTail(__m128i block, const unsigned char* end, std::size_t tail) {
  alignas(16) static constexpr unsigned char shift[48] = {
      128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128,  //
      0,   1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  15,   //
      128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128};
  const __m128i first = _mm_shuffle_epi8(block, load(shift + tail));
  const __m128i up = load(shift + 16 + tail);
  const __m128i joined = _mm_blendv_epi8(_mm_shuffle_epi8(block, up), load(end - 16), up);
  return fold<128>(first, joined);
}

/// The register that a block leaves: A * x^32 modulo the polynomial, by two folds to 64 bits and a Barrett step.
KY_FOLD128 inline ULong reduced(__m128i block) {
  constexpr Int64 x63 = static_cast<Int64>(static_cast<UInt64>(crcPowerOfX(63)) << 32);
  constexpr auto x95 = static_cast<Int64>(quotientOfX95());
  constexpr auto polynomial = static_cast<Int64>(static_cast<UInt64>(kCrcPolynomial) << 1);
  const __m128i k = _mm_set_epi64x(x63, x63);
  const __m128i upper = _mm_and_si128(block, _mm_set_epi64x(-1, 0));
  const __m128i to96 = _mm_xor_si128(_mm_clmulepi64_si128(block, k, 0x00), upper);
  const __m128i to64 = _mm_xor_si128(_mm_clmulepi64_si128(to96, k, 0x00), to96);
  const __m128i barrett = _mm_set_epi64x(polynomial, x95);
  const __m128i quotient = _mm_clmulepi64_si128(to64, barrett, 0x01);
  return static_cast<ULong>(_mm_extract_epi32(_mm_clmulepi64_si128(quotient, barrett, 0x10), 2));
}

/// Goes on from a block to the end of the data, sixteen bytes a step.
KY_FOLD128 inline ULong finished(__m128i block, const unsigned char* data, std::size_t n) {
  for (; n >= 16; data += 16, n -= 16) block = fold<128>(block, load(data));
  if (n > 0) block = foldTail(block, data + n, n);
  return reduced(block);
}

KY_FOLD128 inline __m128i fourIntoOne(__m128i a, __m128i b, __m128i c, __m128i d) {
  return _mm_xor_si128(_mm_xor_si128(moved<384>(a), moved<256>(b)), fold<128>(c, d));
}

KY_FOLD128 ULong crcByFolds128(ULong crc, const unsigned char* data, std::size_t n) {
  if (n < 16) return crcBySlices(crc, data, n);
  const __m128i first = _mm_xor_si128(load(data), _mm_cvtsi32_si128(static_cast<int>(crc)));
  if (n < 64) return finished(first, data + 16, n - 16);

  __m128i a = first, b = load(data + 16), c = load(data + 32), d = load(data + 48);
  for (data += 64, n -= 64; n >= 64; data += 64, n -= 64) {
    a = fold<512>(a, load(data));
    b = fold<512>(b, load(data + 16));
    c = fold<512>(c, load(data + 32));
    d = fold<512>(d, load(data + 48));
  }
  return finished(fourIntoOne(a, b, c, d), data, n);
}

template <unsigned Bits>
KY_FOLD512 inline __m512i fold4(__m512i blocks, __m512i into) {
  constexpr Powers by = powersFor(Bits);
  const __m512i k = _mm512_set4_epi64(by.high, by.low, by.high, by.low);
  return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(blocks, k, 0x00), _mm512_clmulepi64_epi128(blocks, k, 0x11),
                                   into, 0x96);
}

template <int Lane>
KY_FOLD512 inline __m128i lane(__m512i blocks) {
  return _mm512_maskz_extracti32x4_epi32(0xF, blocks, Lane);
}

KY_FOLD512 ULong crcByFolds512(ULong crc, const unsigned char* data, std::size_t n) {
  if (n < 256) return crcByFolds128(crc, data, n);
  const __m512i start = _mm512_zextsi128_si512(_mm_cvtsi32_si128(static_cast<int>(crc)));
  __m512i a = _mm512_xor_si512(_mm512_loadu_si512(data), start), b = _mm512_loadu_si512(data + 64),
          c = _mm512_loadu_si512(data + 128), d = _mm512_loadu_si512(data + 192);
  for (data += 256, n -= 256; n >= 256; data += 256, n -= 256) {
    a = fold4<2048>(a, _mm512_loadu_si512(data));
    b = fold4<2048>(b, _mm512_loadu_si512(data + 64));
    c = fold4<2048>(c, _mm512_loadu_si512(data + 128));
    d = fold4<2048>(d, _mm512_loadu_si512(data + 192));
  }
  a = fold4<512>(fold4<1024>(a, c), fold4<1024>(b, d));
  for (; n >= 64; data += 64, n -= 64) a = fold4<512>(a, _mm512_loadu_si512(data));
  return finished(fourIntoOne(lane<0>(a), lane<1>(a), lane<2>(a), lane<3>(a)), data, n);
}

bool has128() { return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1"); }
bool has512() {
  return has128() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
         __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("vpclmulqdq");
}

}  // namespace

std::span<const CrcWay> crcFoldingWays() {
  static const CrcWay ways[] = {{"128-bit folds", crcByFolds128, has128()}, {"512-bit folds", crcByFolds512, has512()}};
  return ways;
}

}  // namespace ky

#else

std::span<const ky::CrcWay> ky::crcFoldingWays() { return {}; }

#endif
