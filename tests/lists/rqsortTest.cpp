#include "core/lists/rqsort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "tests/support/Raised.h"

namespace {

using Bytes = std::vector<unsigned char>;
using ky::test::codeRaisedBy;

std::mt19937 random_;
long compared;
long failAt;
Bytes* block;
std::size_t elementSize;

int keyOf(const void* element) {
  unsigned short key = *static_cast<const unsigned char*>(element);
  if (elementSize > 1) std::memcpy(&key, element, sizeof key);
  return key;
}

void expectInside(const void* element) {
  const auto* at = static_cast<const unsigned char*>(element);
  const std::ptrdiff_t offset = at - block->data();
  ASSERT_TRUE(offset >= 0 && offset < std::ptrdiff_t(block->size()) && offset % std::ptrdiff_t(elementSize) == 0);
}

int byKey(void* a, void* b) {
  ++compared;
  return keyOf(a) - keyOf(b);
}

int atRandom(void* a, void* b) {
  expectInside(a);
  expectInside(b);
  return int(random_() % 3) - 1;
}

int alwaysBelow(void* a, void* b) { return expectInside(a), expectInside(b), -1; }

int raising(void* a, void* b) {
  if (--failAt == 0) +XError("ERROR_OTHER", 0);
  return byKey(a, b);
}

std::vector<Bytes> elementsOf(const Bytes& bytes) {
  std::vector<Bytes> cut;
  for (auto at = bytes.begin(); at != bytes.end(); at += std::ptrdiff_t(elementSize)) {
    cut.emplace_back(at, at + std::ptrdiff_t(elementSize));
  }
  std::sort(cut.begin(), cut.end());
  return cut;
}

Bytes randomBytes(std::size_t count, int kinds) {
  Bytes bytes(count * elementSize);
  for (auto& byte : bytes) byte = static_cast<unsigned char>(int(random_()) % kinds);
  return bytes;
}

void sortBlock(Bytes& bytes, int (*cmp)(void*, void*)) {
  block = &bytes;
  rqsort(bytes.data(), bytes.size() / elementSize, elementSize, cmp);
}

TEST(rqsort, SortsElementsOfAnySize) {
  random_.seed(1);
  for (const std::size_t size : {1, 3, 4, 8, 16, 24, 64, 100, 300}) {
    for (const std::size_t count : {0, 1, 2, 3, 12, 13, 100, 1000}) {
      for (const int kinds : {1, 2, 256}) {
        SCOPED_TRACE(testing::Message() << count << " of " << size << " bytes, " << kinds << " kinds");
        elementSize = size;
        Bytes bytes = randomBytes(count, kinds);
        const auto before = elementsOf(bytes);
        sortBlock(bytes, byKey);
        EXPECT_EQ(elementsOf(bytes), before);
        for (std::size_t i = 1; i < count; ++i) {
          ASSERT_LE(keyOf(&bytes[(i - 1) * size]), keyOf(&bytes[i * size]));
        }
      }
    }
  }
}

TEST(rqsort, StaysInTheBlockWhateverTheComparisonAnswers) {
  random_.seed(2);
  elementSize = 8;
  for (int round = 0; round < 200; ++round) {
    Bytes bytes = randomBytes(random_() % 200, 256);
    const auto before = elementsOf(bytes);
    sortBlock(bytes, round % 2 ? atRandom : alwaysBelow);
    ASSERT_EQ(elementsOf(bytes), before);
  }
}

TEST(rqsort, LosesNoElementWhenTheComparisonRaises) {
  random_.seed(3);
  elementSize = 16;
  for (long nth = 1; nth < 400; nth += 7) {
    Bytes bytes = randomBytes(60, 256);
    const auto before = elementsOf(bytes);
    failAt = nth;
    const std::string code = codeRaisedBy([&] { sortBlock(bytes, raising); });
    EXPECT_EQ(code, failAt <= 0 ? "ERROR_OTHER" : "");
    ASSERT_EQ(elementsOf(bytes), before);
  }
}

// Source: McIlroy, "A Killer Adversary for Quicksort", 1999: answers so as to make each partition lopsided.
std::vector<Long> adversary;
Long solid, candidate;
Long gas;

int adversarial(void* a, void* b) {
  ++compared;
  const Long x = *static_cast<Long*>(a), y = *static_cast<Long*>(b);
  if (adversary[std::size_t(x)] == gas && adversary[std::size_t(y)] == gas) {
    adversary[std::size_t(x == candidate ? x : y)] = solid++;
  }
  if (adversary[std::size_t(x)] == gas) {
    candidate = x;
  } else if (adversary[std::size_t(y)] == gas) {
    candidate = y;
  }
  return adversary[std::size_t(x)] - adversary[std::size_t(y)];
}

TEST(rqsort, NeedsNoQuadraticTimeAgainstAnAdversary) {
  constexpr Long kCount = 20000;
  gas = kCount;
  solid = candidate = compared = 0;
  adversary.assign(kCount, gas);
  std::vector<Long> items(kCount);
  std::iota(items.begin(), items.end(), 0);
  rqsort(items.data(), items.size(), sizeof(Long), adversarial);
  EXPECT_LT(compared, 100L * kCount);
  for (std::size_t i = 1; i < items.size(); ++i) {
    ASSERT_LE(adversary[std::size_t(items[i - 1])], adversary[std::size_t(items[i])]);
  }
}

}  // namespace
