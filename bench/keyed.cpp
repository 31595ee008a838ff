// Stores of 32-bit numbers and of names: fill, find and replace, beside the common hash maps told the same size.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/lists/AHashTable.h"
#include "core/lists/CStringDict.h"
#include "core/mem/Owned.h"
#include "core/os/HostStart.h"

#if KY_HAS_ABSL_FLAT_HASH_MAP
#include <absl/container/flat_hash_map.h>
#endif
#if KY_HAS_QT6CORE
#include <QByteArray>
#include <QHash>
#endif

using namespace ky;

namespace {

using Number = std::uint32_t;

/// Distinct numbers without a pattern, which a remainder would spread too evenly.
std::vector<Number> numbers(std::size_t count) {
  std::mt19937 random(1);
  std::unordered_set<Number> seen;
  std::vector<Number> all;
  while (all.size() < count) {
    const Number number = static_cast<Number>(random());
    if (seen.insert(number).second) all.push_back(number);
  }
  return all;
}

std::vector<std::string> names(std::size_t count) {
  std::vector<std::string> all;
  for (const Number number : numbers(count)) {
    char name[16];
    std::snprintf(name, sizeof name, "clip%08u", number % 100000000u);
    all.push_back(name);
  }
  std::sort(all.begin(), all.end());
  all.erase(std::unique(all.begin(), all.end()), all.end());
  std::shuffle(all.begin(), all.end(), std::mt19937(3));
  return all;
}

template <class Map>
class MapStore {
 public:
  explicit MapStore(std::size_t size) { map_.reserve(size); }
  void put(Number key) { map_.emplace(key, key); }
  bool find(Number key) const { return map_.find(key) != map_.end(); }
  void remove(Number key) { map_.erase(key); }

 private:
  Map map_;
};
using StdStore = MapStore<std::unordered_map<Number, Number>>;
#if KY_HAS_ABSL_FLAT_HASH_MAP
using AbslStore = MapStore<absl::flat_hash_map<Number, Number>>;
#endif

#if KY_HAS_QT6CORE
class QtStore {
 public:
  explicit QtStore(std::size_t size) { map_.reserve(static_cast<qsizetype>(size)); }
  void put(Number key) { map_.insert(key, key); }
  bool find(Number key) const { return map_.contains(key); }
  void remove(Number key) { map_.remove(key); }

 private:
  QHash<Number, Number> map_;
};
#endif

/// With twice as many chains as items, which still takes less than half of what std::unordered_map takes per item.
class TableStore {
 public:
  explicit TableStore(std::size_t size)
      : table_(AHashTable::New(static_cast<Long>(2 * size), static_cast<Long>(size), sizeof(Long), nullptr, nullptr,
                               HTNoDuplicates)) {}
  void put(Number key) { table_->AddItem(asKey(key), &key, nullptr); }
  bool find(Number key) const {
    Long found = 0;
    return table_->LocateItem(asKey(key), &found, nullptr);
  }
  void remove(Number key) { table_->RemoveItem(asKey(key), nullptr); }

 private:
  Owned<AHashTable> table_;
};

template <class Store>
void fill(benchmark::State& state) {
  const std::vector<Number> keys = numbers(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Store store(keys.size());
    for (const Number key : keys) store.put(key);
    benchmark::DoNotOptimize(&store);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Store>
void find(benchmark::State& state, bool present) {
  const std::size_t count = static_cast<std::size_t>(state.range(0));
  std::vector<Number> keys = numbers(2 * count);
  Store store(count);
  for (std::size_t i = 0; i < count; ++i) store.put(keys[i]);
  keys.erase(present ? keys.begin() + static_cast<std::ptrdiff_t>(count) : keys.begin(),
             present ? keys.end() : keys.begin() + static_cast<std::ptrdiff_t>(count));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(2));
  for (std::size_t i = 0; auto _ : state) {
    benchmark::DoNotOptimize(store.find(keys[i]));
    if (++i == count) i = 0;
  }
}
template <class Store>
void hit(benchmark::State& state) {
  find<Store>(state, true);
}
template <class Store>
void miss(benchmark::State& state) {
  find<Store>(state, false);
}

/// Takes the oldest out and puts a new one in, at a size that stays.
template <class Store>
void replace(benchmark::State& state) {
  const std::size_t count = static_cast<std::size_t>(state.range(0));
  const std::vector<Number> keys = numbers(count + 4096);
  Store store(count);
  for (std::size_t i = 0; i < count; ++i) store.put(keys[i]);
  std::size_t oldest = 0;
  std::size_t newest = count;
  for (auto _ : state) {
    store.remove(keys[oldest]);
    store.put(keys[newest]);
    if (++oldest == keys.size()) oldest = 0;
    if (++newest == keys.size()) newest = 0;
  }
}

#define KEYED(Store)                                                \
  BENCHMARK(fill<Store>)->RangeMultiplier(10)->Range(1000, 100000); \
  BENCHMARK(hit<Store>)->RangeMultiplier(10)->Range(1000, 100000);  \
  BENCHMARK(miss<Store>)->RangeMultiplier(10)->Range(1000, 100000); \
  BENCHMARK(replace<Store>)->RangeMultiplier(10)->Range(1000, 100000)
KEYED(StdStore);
#if KY_HAS_ABSL_FLAT_HASH_MAP
KEYED(AbslStore);
#endif
#if KY_HAS_QT6CORE
KEYED(QtStore);
#endif
KEYED(TableStore);

template <class Find>
void findNames(benchmark::State& state, const std::vector<std::string>& keys, Find&& find) {
  std::vector<std::string> order = keys;
  std::shuffle(order.begin(), order.end(), std::mt19937(9));
  for (std::size_t i = 0; auto _ : state) {
    benchmark::DoNotOptimize(find(order[i]));
    if (++i == order.size()) i = 0;
  }
}

template <class Map>
void nameHit(benchmark::State& state) {
  const std::vector<std::string> keys = names(static_cast<std::size_t>(state.range(0)));
  Map map;
  for (const std::string& key : keys) map.emplace(key, nullptr);
  findNames(state, keys, [&](const std::string& key) { return map.find(key) != map.end(); });
}
BENCHMARK(nameHit<std::unordered_map<std::string, void*>>)->Arg(200)->Arg(1000);
#if KY_HAS_ABSL_FLAT_HASH_MAP
BENCHMARK(nameHit<absl::flat_hash_map<std::string, void*>>)->Arg(200)->Arg(1000);
#endif

void dictionaryHit(benchmark::State& state) {
  const std::vector<std::string> keys = names(static_cast<std::size_t>(state.range(0)));
  const Owned<CStringDict> dictionary(new CStringDict);
  dictionary->IStringDict(state.range(1) != 0, nullptr);
  for (const std::string& key : keys) dictionary->AddString(key.c_str(), dictionary.get());
  findNames(state, keys, [&](const std::string& key) { return dictionary->Lookup(key.c_str()); });
}
BENCHMARK(dictionaryHit)->ArgNames({"", "caseSensitive"})->ArgsProduct({{200, 1000}, {0, 1}});

}  // namespace

int main(int argc, char** argv) {
  KyStartHost();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
