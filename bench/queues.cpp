// Queues between threads beside a locked deque of the standard library: an item through an empty queue on one thread,
// and a stream of items from one thread to another.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "bench/SecondThread.h"
#include "core/lists/KyQueue.h"
#include "core/os/HostStart.h"

namespace {

constexpr Long kRingSize = 256;

template <class Queue>
struct Taking : Queue {
  using Queue::Queue;
  QueueItem* take() {
    QueueItem* item = nullptr;
    Queue::WaitDequeue(&item, ky::kNoLimit);
    return item;
  }
};

using Growing = Taking<DynamicQueue>;

struct Ring : Taking<WrapQueue> {
  Ring() : Taking(kRingSize, kWaitForRoom) {}
};

struct LockedDeque {
  void Enqueue(QueueItem* item) {
    {
      const std::lock_guard hold(gate);
      items.push_back(item);
    }
    arrived.notify_one();
  }
  QueueItem* take() {
    std::unique_lock hold(gate);
    arrived.wait(hold, [&] { return !items.empty(); });
    QueueItem* const item = items.front();
    items.pop_front();
    return item;
  }

  std::mutex gate;
  std::condition_variable arrived;
  std::deque<QueueItem*> items;
};

struct LockedRing : LockedDeque {
  void Enqueue(QueueItem* item) {
    {
      std::unique_lock hold(gate);
      left.wait(hold, [&] { return items.size() < kRingSize; });
      items.push_back(item);
    }
    arrived.notify_one();
  }
  QueueItem* take() {
    QueueItem* const item = LockedDeque::take();
    left.notify_one();
    return item;
  }

  std::condition_variable left;
};

QueueItem* anItem() {
  static auto* const item = new QueueItem;
  return item;
}

template <class Queue>
void onOneThread(benchmark::State& state) {
  Queue queue;
  for (auto _ : state) {
    queue.Enqueue(anItem());
    benchmark::DoNotOptimize(queue.take());
  }
}

template <class Queue>
void fromThreadToThread(benchmark::State& state) {
  constexpr int kItems = 20'000;
  for (auto _ : state) {
    Queue queue;
    std::jthread sender([&] {
      for (int i = 0; i < kItems; ++i) queue.Enqueue(anItem());
    });
    for (int i = 0; i < kItems; ++i) benchmark::DoNotOptimize(queue.take());
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}

BENCHMARK(onOneThread<Growing>);
BENCHMARK(onOneThread<LockedDeque>);
BENCHMARK(onOneThread<Ring>);
BENCHMARK(onOneThread<LockedRing>);
BENCHMARK(fromThreadToThread<Growing>)->UseRealTime();
BENCHMARK(fromThreadToThread<LockedDeque>)->UseRealTime();
BENCHMARK(fromThreadToThread<Ring>)->UseRealTime();
BENCHMARK(fromThreadToThread<LockedRing>)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  KyStartHost();
  const ky::bench::SecondThread beside;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
