#include "core/lists/rqsort.h"

#include <numeric>

#include "tests/support/Test.h"

using namespace ky::test;

namespace {

using Bytes = std::vector<unsigned char>;

std::mt19937 random_;
long compared;
long failAt;
const Bytes* block;
std::size_t elementSize;

int keyOf(const void* element) {
  unsigned short key = *static_cast<const unsigned char*>(element);
  if (elementSize > 1) std::memcpy(&key, element, sizeof key);
  return key;
}

/// What stands in the block, and nothing else, may be compared.
int byKey(void* a, void* b) {
  for (const void* element : {a, b}) {
    const auto offset = std::size_t(static_cast<const unsigned char*>(element) - block->data());
    EXPECT_TRUE(offset < block->size() && offset % elementSize == 0);
  }
  return keyOf(a) - keyOf(b);
}
int alwaysBelow(void* a, void* b) { return byKey(a, b), -1; }
int atRandomOrRaising(void* a, void* b) {
  if (--failAt == 0) +XError("ERROR_OTHER", 0);
  return byKey(a, b), int(random_() % 3) - 1;
}

std::vector<Bytes> elementsOf(const Bytes& bytes) {
  std::vector<Bytes> cut;
  for (auto at = bytes.begin(); at != bytes.end(); at += std::ptrdiff_t(elementSize)) {
    cut.emplace_back(at, at + std::ptrdiff_t(elementSize));
  }
  std::sort(cut.begin(), cut.end());
  return cut;
}

/// Sorts so many elements of some kinds of bytes, of which none may be lost even if the comparison raises.
Bytes sorted(std::size_t count, std::size_t size, int kinds, int (*compare)(void*, void*)) {
  elementSize = size;
  Bytes bytes(count * size);
  for (auto& byte : bytes) byte = static_cast<unsigned char>(int(random_()) % kinds);
  const auto before = elementsOf(bytes);
  block = &bytes;
  codeRaisedBy([&] { rqsort(bytes.data(), count, size, compare); });
  EXPECT_EQ(elementsOf(bytes), before);
  return bytes;
}

}  // namespace

TEST(rqsort, SortsElementsOfAnySize) {
  for (const std::size_t size : {1, 3, 4, 8, 16, 24, 64, 100, 300}) {
    for (const std::size_t count : {0, 1, 2, 3, 12, 13, 100, 1000}) {
      for (const int kinds : {1, 2, 256}) {
        SCOPED_TRACE(testing::Message() << count << " of " << size << " bytes, " << kinds << " kinds");
        const Bytes bytes = sorted(count, size, kinds, byKey);
        for (std::size_t i = 1; i < count; ++i) {
          ASSERT_LE(keyOf(&bytes[(i - 1) * size]), keyOf(&bytes[i * size]));
        }
      }
    }
  }
}

TEST(rqsort, StaysInTheBlockAndLosesNothingWhateverTheComparisonDoes) {
  for (long nth = 1; nth < 400 && !HasFailure(); ++nth) {
    failAt = nth;
    sorted(60, 16, 256, alwaysBelow);
    sorted(60, nth % 2 ? 16 : 100, 256, atRandomOrRaising);
    EXPECT_TRUE(failAt <= 0 || nth > 60) << "it compares each element at least";
  }
}

// Source: McIlroy, "A Killer Adversary for Quicksort", 1999: answers so as to make each partition lopsided.
TEST(rqsort, NeedsNoQuadraticTimeAgainstAnAdversary) {
  static constexpr Long kGas = 20000;
  static std::vector<Long> values(kGas, kGas);
  static Long solid, candidate;
  std::vector<Long> items(kGas);
  std::iota(items.begin(), items.end(), 0);
  rqsort(items.data(), items.size(), sizeof(Long), [](void* a, void* b) -> int {
    ++compared;
    const Long x = *static_cast<Long*>(a), y = *static_cast<Long*>(b);
    if (values[x] == kGas && values[y] == kGas) values[x == candidate ? x : y] = solid++;
    if (values[x] == kGas || values[y] == kGas) candidate = values[x] == kGas ? x : y;
    return values[x] - values[y];
  });
  EXPECT_LT(compared, 100L * kGas);
  EXPECT_TRUE(std::is_sorted(items.begin(), items.end(), [](Long a, Long b) { return values[a] < values[b]; }));
}
