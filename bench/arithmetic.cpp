// Exact ratios and timecode text, beside boost::rational, GMP and libavutil.
#include <benchmark/benchmark.h>

#include <array>
#include <random>
#include <string>
#include <vector>

#include "core/math/Rational.h"
#include "core/utils/TCcore.h"

#if __has_include(<boost/rational.hpp>)
#include <boost/rational.hpp>
#define HAS_BOOST_RATIONAL 1
#endif
#if KY_HAS_GMP
#include <gmp.h>
#endif
#if KY_HAS_LIBAVUTIL
extern "C" {
#include <libavutil/rational.h>
#include <libavutil/timecode.h>
}
#endif

namespace {

constexpr std::size_t kMany = 4096;

/// Runs `operation(i)` over indexes that go round.
template <class Operation>
void over(benchmark::State& state, Operation operation) {
  std::size_t i = 0;
  for (auto _ : state) {
    auto result = operation(i);
    benchmark::DoNotOptimize(result);
    i = i + 2 < kMany ? i + 1 : 0;
  }
}

struct Ratio {
  int num, den;
};

enum Kind { kFrameRates, kEqualDenominators, kRandom };

std::vector<Ratio> ratios(std::int64_t kind) {
  constexpr std::array<Ratio, 8> rates{
      {{1001, 30000}, {1, 25}, {1, 24}, {1, 30}, {1001, 24000}, {1, 60}, {4, 3}, {16, 9}}};
  std::mt19937 random(3);
  const auto upTo1000 = [&] { return static_cast<int>(1 + random() % 1000); };
  std::vector<Ratio> all(kMany);
  for (auto& r : all) {
    r = kind == kFrameRates ? rates[random() % rates.size()]
                            : Ratio{upTo1000(), kind == kEqualDenominators ? 1001 : upTo1000()};
  }
  return all;
}

template <class Number>
std::vector<Number> numbers(const benchmark::State& state) {
  std::vector<Number> all;
  for (const Ratio& r : ratios(state.range(0))) all.push_back(Number(r.num, r.den));
  return all;
}

template <class Number>
void add(benchmark::State& state) {
  const auto q = numbers<Number>(state);
  over(state, [&](std::size_t i) { return q[i] + q[i + 1]; });
}

template <class Number>
void multiply(benchmark::State& state) {
  const auto q = numbers<Number>(state);
  over(state, [&](std::size_t i) { return q[i] * q[i + 1]; });
}

template <class Number>
void less(benchmark::State& state) {
  const auto q = numbers<Number>(state);
  over(state, [&](std::size_t i) { return q[i] < q[i + 1]; });
}

#define OVER_KINDS(...) BENCHMARK(__VA_ARGS__)->DenseRange(kFrameRates, kRandom)

OVER_KINDS(add<Rational>);
OVER_KINDS(multiply<Rational>);
OVER_KINDS(less<Rational>);

#if HAS_BOOST_RATIONAL
OVER_KINDS(add<boost::rational<int>>);
OVER_KINDS(multiply<boost::rational<int>>);
OVER_KINDS(less<boost::rational<int>>);
#endif

#if KY_HAS_LIBAVUTIL
void avutilAdd(benchmark::State& state) {
  const auto q = ratios(state.range(0));
  over(state, [&](std::size_t i) { return av_add_q({q[i].num, q[i].den}, {q[i + 1].num, q[i + 1].den}).num; });
}
OVER_KINDS(avutilAdd);

void avutilMultiply(benchmark::State& state) {
  const auto q = ratios(state.range(0));
  over(state, [&](std::size_t i) { return av_mul_q({q[i].num, q[i].den}, {q[i + 1].num, q[i + 1].den}).num; });
}
OVER_KINDS(avutilMultiply);
#endif

#if KY_HAS_GMP
template <auto Operation>
void gmp(benchmark::State& state) {
  std::vector<mpq_t> q(kMany);
  const auto all = ratios(state.range(0));
  for (std::size_t i = 0; i < kMany; ++i) {
    mpq_init(q[i]);
    mpq_set_si(q[i], all[i].num, static_cast<unsigned long>(all[i].den));
    mpq_canonicalize(q[i]);
  }
  mpq_t result;
  mpq_init(result);
  over(state, [&](std::size_t i) {
    Operation(result, q[i], q[i + 1]);
    return i;
  });
  mpq_clear(result);
  for (auto& number : q) mpq_clear(number);
}
OVER_KINDS(gmp<mpq_add>)->Name("gmpAdd");
OVER_KINDS(gmp<mpq_mul>)->Name("gmpMultiply");
#endif

std::vector<Long> counts() {
  std::mt19937 random(8);
  std::vector<Long> all(kMany);
  for (auto& n : all) n = static_cast<Long>(random() % 2589408);
  return all;
}

std::vector<std::string> texts(unsigned char drop) {
  std::vector<std::string> all;
  const timecodeDesc_t desc = TCCreateDesc(drop, 30);
  char buffer[16];
  for (const Long n : counts()) all.emplace_back(TCToStr(TCCreateDur(n, &desc), buffer, sizeof(buffer), 0));
  return all;
}

void toText(benchmark::State& state) {
  const timecodeDesc_t desc = TCCreateDesc(static_cast<unsigned char>(state.range(0)), 30);
  std::vector<timecode_t> all;
  for (const Long n : counts()) all.push_back(TCCreateDur(n, &desc));
  char buffer[16];
  over(state, [&](std::size_t i) {
    TCToStr(all[i], buffer, sizeof(buffer), 0);
    benchmark::ClobberMemory();
    return buffer[0];
  });
}
BENCHMARK(toText)->ArgName("drop")->Arg(0)->Arg(1);

void fromText(benchmark::State& state) {
  const auto all = texts(static_cast<unsigned char>(state.range(0)));
  const timecodeDesc_t desc = TCCreateDesc(0, 30);
  over(state, [&](std::size_t i) {
    timecode_t tc;
    TCStrToTC(&tc, all[i].c_str(), 0, &desc);
    return tc.frames;
  });
}
BENCHMARK(fromText)->ArgName("drop")->Arg(0)->Arg(1);

#if KY_HAS_LIBAVUTIL
AVTimecode avutilTimecode(bool drop) {
  AVTimecode tc;
  av_timecode_init(&tc, drop ? AVRational{30000, 1001} : AVRational{30, 1}, drop ? AV_TIMECODE_FLAG_DROPFRAME : 0, 0,
                   nullptr);
  return tc;
}

void avutilToText(benchmark::State& state) {
  const auto n = counts();
  const AVTimecode tc = avutilTimecode(state.range(0));
  char buffer[AV_TIMECODE_STR_SIZE];
  over(state, [&](std::size_t i) { return av_timecode_make_string(&tc, buffer, n[i]); });
}
BENCHMARK(avutilToText)->ArgName("drop")->Arg(0)->Arg(1);

void avutilFromText(benchmark::State& state) {
  const AVTimecode written = avutilTimecode(state.range(0));
  std::vector<std::string> all;
  char buffer[AV_TIMECODE_STR_SIZE];
  for (const Long n : counts()) all.emplace_back(av_timecode_make_string(&written, buffer, n));
  const AVRational rate = state.range(0) ? AVRational{30000, 1001} : AVRational{30, 1};
  over(state, [&](std::size_t i) {
    AVTimecode tc;
    av_timecode_init_from_string(&tc, rate, all[i].c_str(), nullptr);
    return tc.start;
  });
}
BENCHMARK(avutilFromText)->ArgName("drop")->Arg(0)->Arg(1);
#endif

}  // namespace

BENCHMARK_MAIN();
