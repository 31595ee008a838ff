// Fake handles beside what they stand for: a block and a cell that points at it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

#include "bench/SecondThread.h"
#include "core/mem/KyHandles.h"
#include "core/mem/KyMemory.h"
#include "core/mem/ZorvexHandleMgr.h"

namespace {

using benchmark::State;

constexpr Long kBytes = 36;

struct TwoBlocks {
  static void** make() {
    auto** const cell = static_cast<void**>(std::malloc(sizeof(void*)));
    *cell = std::malloc(kBytes);
    return cell;
  }
  static void end(void** cell) {
    std::free(*cell);
    std::free(cell);
  }
};
struct Handle {
  static void** make() { return reinterpret_cast<void**>(KyNewHandle(kBytes)); }
  static void end(void** handle) { KyDisposeHandle(handle); }
};

// Beside range(0) others that live.
template <class H>
void makeAndEnd(State& state) {
  std::vector<void**> others(static_cast<std::size_t>(state.range(0)));
  for (auto& each : others) each = H::make();
  for (auto _ : state) {
    void** const h = H::make();
    benchmark::DoNotOptimize(h);
    H::end(h);
  }
  for (void** each : others) H::end(each);
}

// range(0) of them made, then ended in another order.
template <class H>
void manyMadeAndEnded(State& state) {
  std::vector<void**> all(static_cast<std::size_t>(state.range(0)));
  std::vector<std::uint32_t> order(all.size());
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(5));
  for (auto _ : state) {
    for (auto& each : all) each = H::make();
    for (const auto i : order) H::end(all[i]);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void ownerTest(State& state) {
  std::vector<void**> all(static_cast<std::size_t>(state.range(0)));
  for (auto& each : all) each = Handle::make();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ZorvexHandleMgr::IsZorvexHandle(all[i]));
    i = i + 4099 < all.size() ? i + 4099 : 0;
  }
  for (void** each : all) Handle::end(each);
}

void getSize(State& state) {
  void** const h = Handle::make();
  for (auto _ : state) benchmark::DoNotOptimize(KyGetHandleSize(h));
  Handle::end(h);
}

}  // namespace

BENCHMARK_TEMPLATE(makeAndEnd, TwoBlocks)->Arg(0)->Arg(1000000);
BENCHMARK_TEMPLATE(makeAndEnd, Handle)->Arg(0)->Arg(1000000);
BENCHMARK_TEMPLATE(manyMadeAndEnded, TwoBlocks)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(manyMadeAndEnded, Handle)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(ownerTest)->Arg(1)->Arg(40000)->Arg(1000000);
BENCHMARK(getSize);

// The C library and the library both go without locks until a second thread runs; in an application one does.
int main(int argc, char** argv) {
  const ky::bench::SecondThread beside;
  KyMemInit();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
