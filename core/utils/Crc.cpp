#include "core/utils/Crc.h"

#include <array>
#include <atomic>
#include <cstring>

#include "core/utils/CrcKernels.h"

namespace ky {
namespace {

constexpr std::size_t kSlices = 16;

/// `tables[s][b]` is byte `b` followed by `s` zero bytes.
constexpr auto tables = [] {
  std::array<std::array<ULong, 256>, kSlices> t{};
  for (ULong b = 0; b < 256; ++b) {
    ULong crc = b;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? kCrcPolynomial : 0);
    t[0][b] = crc;
  }
  for (std::size_t s = 1; s < kSlices; ++s) {
    for (std::size_t b = 0; b < 256; ++b) t[s][b] = t[s - 1][b] >> 8 ^ t[0][t[s - 1][b] & 0xFF];
  }
  return t;
}();

ULong loadWord(const unsigned char* p) {
  ULong word;
  std::memcpy(&word, p, sizeof(word));
  return word;
}

/// A word that has `Behind` bytes of the same step behind it.
template <std::size_t Behind>
ULong sliceWord(ULong word) {
  return tables[Behind + 3][word & 0xFF] ^ tables[Behind + 2][word >> 8 & 0xFF] ^
         tables[Behind + 1][word >> 16 & 0xFF] ^ tables[Behind][word >> 24];
}

const CrcWay* bestWay() {
  const CrcWay* best = nullptr;
  for (const CrcWay& way : crcWays()) {
    if (way.usable) best = &way;
  }
  return best;
}

ULong chooseAndRun(ULong crc, const unsigned char* data, std::size_t n);

std::atomic<CrcKernel> chosen{chooseAndRun};

ULong chooseAndRun(ULong crc, const unsigned char* data, std::size_t n) {
  const CrcKernel run = bestWay()->run;
  chosen.store(run, std::memory_order_relaxed);
  return run(crc, data, n);
}

}  // namespace

ULong crcBySlices(ULong crc, const unsigned char* data, std::size_t n) {
  for (; n >= 16; data += 16, n -= 16) {
    crc = sliceWord<12>(loadWord(data) ^ crc) ^ sliceWord<8>(loadWord(data + 4)) ^ sliceWord<4>(loadWord(data + 8)) ^
          sliceWord<0>(loadWord(data + 12));
  }
  if (n >= 8) {
    crc = sliceWord<4>(loadWord(data) ^ crc) ^ sliceWord<0>(loadWord(data + 4));
    data += 8;
    n -= 8;
  }
  if (n >= 4) {
    crc = sliceWord<0>(loadWord(data) ^ crc);
    data += 4;
    n -= 4;
  }
  for (; n > 0; ++data, --n) crc = tables[0][(crc ^ *data) & 0xFF] ^ crc >> 8;
  return crc;
}

std::span<const CrcWay> crcWays() {
  static const auto ways = [] {
    std::array<CrcWay, 4> all{CrcWay{"slices", crcBySlices, true}};
    std::size_t count = 1;
    for (const CrcWay& way : crcFoldingWays()) all[count++] = way;
    return std::pair(all, count);
  }();
  return std::span(ways.first).first(ways.second);
}

ULong crcUpdate(ULong crc, const void* data, std::size_t n) {
  return chosen.load(std::memory_order_relaxed)(crc, static_cast<const unsigned char*>(data), n);
}

}  // namespace ky

void crcInit() { ky::chosen.store(ky::bestWay()->run, std::memory_order_relaxed); }

ULong crcGenerate(const void* data, Long length) {
  return ~ky::crcUpdate(0xFFFFFFFF, data, length > 0 ? static_cast<std::size_t>(length) : 0);
}
