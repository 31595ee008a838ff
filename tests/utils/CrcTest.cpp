#include "core/utils/Crc.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "core/utils/CrcKernels.h"

using namespace ky;

namespace {

/// One bit at a time, as the polynomial has it.
ULong bitwise(ULong crc, const unsigned char* data, std::size_t n) {
  for (; n > 0; ++data, --n) {
    crc ^= *data;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
  }
  return crc;
}

std::vector<unsigned char> randomBytes(std::size_t n) {
  std::mt19937 random(32);
  std::vector<unsigned char> bytes(n);
  for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
  return bytes;
}

}  // namespace

TEST(Crc, KnownDigests) {
  EXPECT_EQ(crcGenerate("123456789", 9), 0xCBF43926);
  EXPECT_EQ(crcGenerate("", 0), 0);
  EXPECT_EQ(crcGenerate("x", -1), 0);
  EXPECT_EQ(crcGenerate("\0\0\0\0", 4), 0x2144DF1C);
}

TEST(Crc, EveryWayMatchesBitByBitAtAnyAlignmentAndLength) {
  const auto bytes = randomBytes(400);
  for (const CrcWay& way : crcWays()) {
    if (!way.usable) continue;
    SCOPED_TRACE(way.name);
    for (std::size_t at = 0; at < 64; ++at) {
      ULong want = 0x12345678 + static_cast<ULong>(at);
      const ULong start = want;
      for (std::size_t n = 0; n <= 300; ++n) {
        ASSERT_EQ(way.run(start, &bytes[at], n), want) << "at " << at << ", length " << n;
        want = bitwise(want, &bytes[at + n], 1);
      }
    }
  }
}

TEST(Crc, LongBlocksMatchBitByBit) {
  const auto bytes = randomBytes(70000);
  const ULong want = bitwise(0xFFFFFFFF, bytes.data(), bytes.size());
  for (const CrcWay& way : crcWays()) {
    EXPECT_TRUE(!way.usable || way.run(0xFFFFFFFF, bytes.data(), bytes.size()) == want) << way.name;
  }
}
