// A turn handed from thread to thread by the core thread server, beside a mutex with condition variables.
#include <benchmark/benchmark.h>
#include <sched.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <pthread.h>

#include "bench/SecondThread.h"
#include "core/os/HostStart.h"
#include "core/threads/KyCoreThreadMutex.h"
#include "core/threads/KyCoreThreadServer.h"

namespace {

constexpr int kBatch = 100;

/// Where the two threads run: both on one core, or each on its own.
enum Cores : int { oneCore, twoCores };

void pin(int core) {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (core < 0) {
    for (int each = 0; each < CPU_SETSIZE; ++each) CPU_SET(each, &set);
  } else {
    CPU_SET(core, &set);
  }
  pthread_setaffinity_np(pthread_self(), sizeof set, &set);
}

int coreOf(const benchmark::State& state, int who) { return state.range(0) == oneCore ? 1 : who; }

void countHandovers(benchmark::State& state, int perIteration) {
  state.counters["ns_per_handover"] = benchmark::Counter(static_cast<double>(state.iterations()) * perIteration,
                                                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

class Player : public KyCoreThread {
 public:
  explicit Player(std::function<void()> turn) : play(std::move(turn)) {}
  void DoIt() override { play(); }
  Boolean HasNothingToDo() override { return false; }

 private:
  std::function<void()> play;
};

void conditionVariables(benchmark::State& state) {
  struct Baton {
    std::mutex gate;
    std::condition_variable wake[2];
    int turn = 0;

    void pass(int to) {
      {
        const std::lock_guard hold(gate);
        turn = to;
      }
      wake[to].notify_one();
    }
    void await(int who) {
      std::unique_lock hold(gate);
      wake[who].wait(hold, [&] { return turn == who; });
    }
  } baton;
  alignas(64) std::atomic<bool> stop{false};
  std::thread other([&] {
    pin(coreOf(state, 1));
    while (!stop) {
      baton.await(1);
      baton.pass(0);
    }
  });
  pin(coreOf(state, 0));
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) {
      baton.pass(1);
      baton.await(0);
    }
  }
  stop = true;
  baton.pass(1);
  other.join();
  pin(-1);
  countHandovers(state, 2 * kBatch);
}

/// What a hand-over costs at the least: one word goes to the other core and back, and nothing else is done.
void bareWord(benchmark::State& state) {
  constexpr int kStop = -1;
  alignas(64) std::atomic<int> turn{0};
  const auto await = [&](int who) {
    while (turn.load(std::memory_order_acquire) != who) {
      if (turn.load(std::memory_order_relaxed) == kStop) return false;
      __builtin_ia32_pause();
    }
    return true;
  };
  std::thread other([&] {
    pin(1);
    while (await(1)) turn.store(0, std::memory_order_release);
  });
  pin(0);
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) {
      turn.store(1, std::memory_order_release);
      await(0);
    }
  }
  turn.store(kStop, std::memory_order_release);
  other.join();
  pin(-1);
  countHandovers(state, 2 * kBatch);
}

void directedYield(benchmark::State& state) {
  KyCoreThreadServer* const server = GetCoreThreadServer();
  KyCoreThread* const self = server->GetRunningThread();
  alignas(64) std::atomic<bool> stop{false};
  Player other([&] {
    pin(coreOf(state, 1));
    while (!stop) server->YieldTo(self, false);
  });
  pin(coreOf(state, 0));
  other.Resume();
  server->SleepThread(self, 10'000);
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) server->YieldTo(&other, false);
  }
  stop = true;
  other.KillThead(false);
  pin(-1);
  countHandovers(state, 2 * kBatch);
}

/// The most turns that any thread waited for its own, beside the time of a turn.
void fairAmongEight(benchmark::State& state) {
  constexpr int kThreads = 8;
  KyCoreThreadServer* const server = GetCoreThreadServer();
  long turn = 0;
  long longest = 0;
  std::vector<std::unique_ptr<Player>> players;
  std::atomic<int> ready{0};
  for (int i = 0; i < kThreads - 1; ++i) {
    players.push_back(std::make_unique<Player>([&, server] {
      ++ready;
      for (long last = turn;; last = turn) {
        server->YieldTo(nullptr, false);
        server->GetRunningThread()->RaiseDeferredException(false);
        ++turn;
        if (turn - last > longest) longest = turn - last;
      }
    }));
    players.back()->Resume();
  }
  while (ready < kThreads - 1) server->YieldTo(nullptr, false);
  longest = 0;
  const long before = turn;
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) {
      server->YieldTo(nullptr, false);
      ++turn;
    }
  }
  state.counters["longest_wait"] = static_cast<double>(longest);
  state.counters["ns_per_handover"] =
      benchmark::Counter(static_cast<double>(turn - before), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  for (const auto& player : players) player->KillThead(false);
}

void yieldToNobody(benchmark::State& state) {
  for (auto _ : state) SafeThreadYield();
}

void coreMutexAlone(benchmark::State& state) {
  KyCoreThreadMutex mutex;
  for (auto _ : state) {
    mutex.Lock();
    benchmark::ClobberMemory();
    mutex.Unlock();
  }
}

void recursiveMutexAlone(benchmark::State& state) {
  std::recursive_mutex mutex;
  for (auto _ : state) {
    mutex.lock();
    benchmark::ClobberMemory();
    mutex.unlock();
  }
}

BENCHMARK(conditionVariables)->Arg(oneCore)->Arg(twoCores)->UseRealTime();
BENCHMARK(bareWord)->UseRealTime();
BENCHMARK(directedYield)->Arg(oneCore)->Arg(twoCores)->UseRealTime();
BENCHMARK(fairAmongEight)->UseRealTime();
BENCHMARK(yieldToNobody);
BENCHMARK(coreMutexAlone);
BENCHMARK(recursiveMutexAlone);

}  // namespace

int main(int argc, char** argv) {
  KyHostSettings settings;
  settings.coreThreads = true;
  KyStartHost(settings);
  const ky::bench::SecondThread beside;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
