// What nearly every test needs: errors, memory that fails or stays behind, and rows of what is refused.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"
#include "tests/support/Raised.h"

namespace ky::test {

struct Refusal {
  std::string want;  ///< as refusalOf() tells it
  std::function<void()> action;
};

inline void expectRefusals(std::initializer_list<Refusal> rows) {
  for (const Refusal& row : rows) EXPECT_EQ(refusalOf(row.action), row.want);
}

/// Fails the test if pointers made in its scope outlive it.
class NothingStays {
 public:
  NothingStays() : before(memoryTotals()) {}
  ~NothingStays() {
    EXPECT_EQ(memoryTotals().totalPtr, before.totalPtr);
    EXPECT_EQ(memoryTotals().numPtrs, before.numPtrs);
  }
  NothingStays(const NothingStays&) = delete;
  NothingStays& operator=(const NothingStays&) = delete;

 private:
  const MemoryTotals before;
};

/// Runs `body(number)` on so many threads at once, and waits for all.
template <class Body>
void onThreads(int count, Body body) {
  std::vector<std::jthread> threads;
  for (int number = 0; number < count; ++number) threads.emplace_back([&body, number] { body(number); });
}

}  // namespace ky::test
