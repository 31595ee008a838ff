// The native lock beside the standard library's: one pair alone, nested in another, and two threads after one lock.
#include <benchmark/benchmark.h>

#include <mutex>

#include "bench/SecondThread.h"
#include "platform/Locks.h"

namespace {

template <class Mutex>
void pairAlone(benchmark::State& state) {
  Mutex mutex;
  for (auto _ : state) {
    mutex.lock();
    benchmark::ClobberMemory();
    mutex.unlock();
  }
}

template <class Mutex>
void pairNested(benchmark::State& state) {
  Mutex mutex;
  mutex.lock();
  for (auto _ : state) {
    mutex.lock();
    benchmark::ClobberMemory();
    mutex.unlock();
  }
  mutex.unlock();
}

template <class Mutex>
void pairContended(benchmark::State& state) {
  static Mutex mutex;
  static long counter = 0;
  for (auto _ : state) {
    mutex.lock();
    benchmark::DoNotOptimize(++counter);
    mutex.unlock();
  }
}

using Native = ky::platform::RecursiveLock;

BENCHMARK(pairAlone<Native>);
BENCHMARK(pairAlone<std::mutex>);
BENCHMARK(pairAlone<std::recursive_mutex>);
BENCHMARK(pairNested<Native>);
BENCHMARK(pairNested<std::recursive_mutex>);
BENCHMARK(pairContended<Native>)->Threads(2)->UseRealTime();
BENCHMARK(pairContended<std::mutex>)->Threads(2)->UseRealTime();
BENCHMARK(pairContended<std::recursive_mutex>)->Threads(2)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  const ky::bench::SecondThread beside;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
