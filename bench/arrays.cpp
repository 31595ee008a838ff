// Arrays beside std::vector, and the sort beside the C library's and the C++ library's.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "core/lists/CKyList.h"
#include "core/lists/rqsort.h"
#include "core/mem/Owned.h"
#include "core/os/HostStart.h"

namespace {

constexpr Long kCount = 1000000;

struct Record {
  void* object;
  Int64 length;
};

void perElement(benchmark::State& state, Long count = kCount) {
  state.SetItemsProcessed(state.iterations() * count);
  state.counters["ns"] = benchmark::Counter(double(state.iterations()) * count / 1e9,
                                            benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void appendByIndex(benchmark::State& state) {
  for (auto _ : state) {
    ky::Owned<AArray> array(AArray::NewWithSlotAndBlock(sizeof(Record), 200, short(state.range(0))));
    for (Long i = 0; i < kCount; ++i) {
      const Record record{nullptr, i};
      array->InsertAtIndex(&record, 2147483647);
    }
  }
  perElement(state);
}
BENCHMARK(appendByIndex)->Arg(3)->Arg(400);

void appendInline(benchmark::State& state) {
  for (auto _ : state) {
    ky::Owned<AArray> array(AArray::NewWithSlotAndBlock(sizeof(Record), 200, short(state.range(0))));
    for (Long i = 0; i < kCount; ++i) ky::appendElement(array.get(), Record{nullptr, i});
  }
  perElement(state);
}
BENCHMARK(appendInline)->Arg(3)->Arg(400);

void appendVector(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<Record> records;
    for (Long i = 0; i < kCount; ++i) records.push_back({nullptr, i});
    benchmark::DoNotOptimize(records.data());
  }
  perElement(state);
}
BENCHMARK(appendVector);

template <class Walk>
void walk(benchmark::State& state, Walk sum) {
  ky::Owned<AArray> array(AArray::NewWithSlotAndBlock(sizeof(Record), kCount, 3));
  for (Long i = 0; i < kCount; ++i) ky::appendElement(array.get(), Record{nullptr, i});
  for (auto _ : state) benchmark::DoNotOptimize(sum(array.get()));
  perElement(state);
}
BENCHMARK_CAPTURE(walk, ReferenceItem, [](AArray* array) {
  Int64 sum = 0;
  for (Long i = 1; i <= kCount; ++i) sum += static_cast<const Record*>(array->ReferenceItem(i))->length;
  return sum;
});
BENCHMARK_CAPTURE(walk, elements, [](AArray* array) {
  Int64 sum = 0;
  for (const Record& record : ky::elements<Record>(array)) sum += record.length;
  return sum;
});

void walkList(benchmark::State& state) {
  ky::Owned<CKyList> list(CKyList::New());
  list->SetItemsAreObjects(false);
  for (Long i = 1; i <= kCount; ++i) list->Append(reinterpret_cast<AObject*>(LongPtr{i}));
  for (auto _ : state) {
    Interator_t it;
    Int64 sum = 0;
    for (AObject* item = list->GetFirstItem(&it, nullptr); item; item = list->GetNextItem(&it, nullptr)) ++sum;
    benchmark::DoNotOptimize(sum);
  }
  perElement(state);
}
BENCHMARK(walkList);

template <class Element>
int compareFirst(const void* a, const void* b) {
  Long x, y;
  std::memcpy(&x, a, sizeof x);
  std::memcpy(&y, b, sizeof y);
  return x < y ? -1 : x > y;
}

template <class Element, class Sort>
void sort(benchmark::State& state, Sort sorted) {
  std::mt19937 random(1);
  std::vector<Element> source(kCount), elements;
  Long i = 0;
  for (Element& element : source) {
    // Arg 0: random; 1: in order but for one element in ten thousand.
    const Long key = state.range(0) == 0 || random() % 10000 == 0 ? Long(random()) : i;
    std::memcpy(&element, &key, sizeof key);
    ++i;
  }
  for (auto _ : state) {
    state.PauseTiming();
    elements = source;
    state.ResumeTiming();
    sorted(elements);
  }
  perElement(state);
}

template <class Element>
void byRqsort(benchmark::State& state) {
  sort<Element>(state, [](auto& elements) {
    rqsort(elements.data(), elements.size(), sizeof(Element),
           [](void* a, void* b) { return compareFirst<Element>(a, b); });
  });
}

template <class Element>
void byQsort(benchmark::State& state) {
  sort<Element>(state, [](auto& elements) {
    std::qsort(elements.data(), elements.size(), sizeof(Element), compareFirst<Element>);
  });
}

template <class Element>
void byStdSort(benchmark::State& state) {
  // Through a pointer that the compiler cannot see through, as the two above.
  int (*volatile compare)(const void*, const void*) = compareFirst<Element>;
  sort<Element>(state, [&](auto& elements) {
    std::sort(elements.begin(), elements.end(),
              [call = compare](const Element& a, const Element& b) { return call(&a, &b) < 0; });
  });
}

using Wide = std::array<char, 24>;
BENCHMARK(byRqsort<Long>)->Arg(0)->Arg(1);
BENCHMARK(byQsort<Long>)->Arg(0)->Arg(1);
BENCHMARK(byStdSort<Long>)->Arg(0)->Arg(1);
BENCHMARK(byRqsort<Wide>)->Arg(0);
BENCHMARK(byQsort<Wide>)->Arg(0);
BENCHMARK(byStdSort<Wide>)->Arg(0);

}  // namespace

int main(int argc, char** argv) {
  KyStartHost(KyHostSettings{});
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
