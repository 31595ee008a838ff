// Small blocks of 12 to 4092 bytes: the sub-allocator and pointer blocks beside the C library's malloc. Run it again
// with another allocator preloaded to compare with that one.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include <malloc.h>
#include <unistd.h>

#include "bench/SecondThread.h"
#include "core/mem/AltMemory.h"
#include "core/mem/KyMemory.h"

namespace {

using benchmark::State;

struct Malloc {
  static void* take(std::size_t n) { return std::malloc(n); }
  static void give(void* p) { std::free(p); }
};
struct Alt {
  static void* take(std::size_t n) { return AltMalloc(static_cast<Long>(n)); }
  static void give(void* p) { AltFree(p); }
};
struct Ptr {
  static void* take(std::size_t n) { return KyNewPtr(static_cast<Long>(n)); }
  static void give(void* p) { KyDisposePtr(p); }
};

// Log-uniform, so that small ones are common.
std::vector<std::uint16_t> sizes(std::size_t count) {
  std::mt19937_64 random(11);
  std::uniform_real_distribution<double> exponent(0, 1);
  std::vector<std::uint16_t> all(count);
  for (auto& n : all) n = static_cast<std::uint16_t>(std::min(12 * std::pow(341.0, exponent(random)), 4092.0));
  return all;
}

void touch(char* p, std::size_t n) {
  p[0] = 1;
  p[n - 1] = 1;
}

template <class A>
void takeAndGive(State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    void* const p = A::take(n);
    benchmark::DoNotOptimize(p);
    *static_cast<char*>(p) = 1;
    A::give(p);
  }
}

// Replaces a random one of range(0) live blocks: an item is a give and a take.
template <class A>
void churn(State& state) {
  const auto live = static_cast<std::size_t>(state.range(0));
  constexpr std::size_t kMask = 0xFFFF;
  const auto size = sizes(kMask + 1);
  std::vector<char*> block(live);
  for (std::size_t i = 0; i < live; ++i) block[i] = static_cast<char*>(A::take(size[i & kMask]));
  std::uint32_t random = 1;
  std::size_t k = 0;
  for (auto _ : state) {
    random = random * 1664525 + 1013904223;
    char*& p = block[std::uint64_t{random} * live >> 32];
    A::give(p);
    const std::size_t n = size[k++ & kMask];
    p = static_cast<char*>(A::take(n));
    touch(p, n);
  }
  for (char* p : block) A::give(p);
}

// Once another thread has come, the sub-allocator favours none any more, so this runs behind all others.
template <class A>
void churnShared(State& state) {
  std::thread([] { A::give(A::take(16)); }).join();
  churn<A>(state);
}

// 100,000 blocks taken, then given back in another order.
template <class A>
void batch(State& state) {
  constexpr std::size_t kBlocks = 100000;
  const auto size = sizes(kBlocks);
  std::vector<std::uint32_t> order(kBlocks);
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(5));
  std::vector<char*> block(kBlocks);
  for (auto _ : state) {
    for (std::size_t i = 0; i < kBlocks; ++i) {
      block[i] = static_cast<char*>(A::take(size[i]));
      *block[i] = 1;
    }
    for (const auto i : order) A::give(block[i]);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBlocks));
}

double residentBytes() {
  long pages = 0;
  if (std::FILE* facts = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(facts, "%*d %ld", &pages) != 1) pages = 0;
    std::fclose(facts);
  }
  return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

// Resident bytes beyond the bytes asked for, over 200,000 live blocks of range(0) bytes; 0 is the mix.
template <class A>
void waste(State& state) {
  constexpr std::size_t kBlocks = 200000;
  auto size = sizes(kBlocks);
  if (state.range(0)) std::fill(size.begin(), size.end(), static_cast<std::uint16_t>(state.range(0)));
  std::vector<char*> block(kBlocks);
  for (auto _ : state) {
    malloc_trim(0);
    AltReturnMemToMac(0x7FFFFFFF);
    double asked = 0;
    const double before = residentBytes();
    for (std::size_t i = 0; i < kBlocks; ++i) {
      block[i] = static_cast<char*>(A::take(size[i]));
      std::memset(block[i], 1, size[i]);
      asked += size[i];
    }
    state.counters["bytes_a_block"] = (residentBytes() - before - asked) / static_cast<double>(kBlocks);
    for (char* p : block) A::give(p);
  }
}

}  // namespace

#define BLOCKS(A)                                                            \
  BENCHMARK_TEMPLATE(takeAndGive, A)->Arg(12)->Arg(64)->Arg(512)->Arg(4092); \
  BENCHMARK_TEMPLATE(churn, A)->Arg(1000)->Arg(100000);                      \
  BENCHMARK_TEMPLATE(batch, A)->Unit(benchmark::kMillisecond)
#define WASTE(A) BENCHMARK_TEMPLATE(waste, A)->Arg(0)->Arg(12)->Arg(24)->Arg(64)->Arg(256)->Iterations(1)
WASTE(Malloc);
WASTE(Alt);
BLOCKS(Malloc);
BLOCKS(Alt);
BLOCKS(Ptr);

// A process of one thread needs no locks, neither here nor in the C library; `--single` as the last argument keeps it
// so.
int main(int argc, char** argv) {
  const bool single = std::strcmp(argv[argc - 1], "--single") == 0;
  std::optional<ky::bench::SecondThread> beside;
  if (!single) beside.emplace();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  if (single) return 0;
  benchmark::ClearRegisteredBenchmarks();
  benchmark::RegisterBenchmark("churnShared<Malloc>", churnShared<Malloc>)->Arg(1000);
  benchmark::RegisterBenchmark("churnShared<Alt>", churnShared<Alt>)->Arg(1000);
  benchmark::RunSpecifiedBenchmarks();
}
