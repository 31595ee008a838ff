#include "core/utils/Crc.h"

#include "core/utils/CrcKernels.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

/// One bit at a time, as the polynomial has it.
ULong bitwise(ULong crc, const unsigned char* data, std::size_t n) {
  for (; n > 0; ++data, --n) {
    crc ^= *data;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
  }
  return crc;
}

}  // namespace

TEST(Crc, KnownDigests) { EXPECT_EQ(crcGenerate("123456789", 9), 0xCBF43926); }

TEST(Crc, EveryWayMatchesBitByBitAtAnyAlignmentAndLength) {
  std::mt19937 random(32);
  std::vector<unsigned char> bytes(70000);
  for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
  const ULong whole = bitwise(0xFFFFFFFF, bytes.data(), bytes.size());
  for (const CrcWay& way : crcWays()) {
    if (!way.usable) continue;
    SCOPED_TRACE(way.name);
    EXPECT_EQ(way.run(0xFFFFFFFF, bytes.data(), bytes.size()), whole);
    for (std::size_t at = 0; at < 64; ++at) {
      const ULong start = 0x12345678 + static_cast<ULong>(at);
      ULong want = start;
      for (std::size_t n = 0; n <= 300; ++n) {
        ASSERT_EQ(way.run(start, &bytes[at], n), want) << "at " << at << ", length " << n;
        want = bitwise(want, &bytes[at + n], 1);
      }
    }
  }
}
