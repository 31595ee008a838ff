// The checksum of small and large blocks, each way that this processor has, beside zlib and libdeflate.
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

#include "core/utils/Crc.h"
#include "core/utils/CrcKernels.h"

#if KY_HAS_ZLIB
#include <zlib.h>
#endif
#if KY_HAS_LIBDEFLATE
#include <libdeflate.h>
#endif

namespace {

std::vector<unsigned char> randomBytes(std::size_t n) {
  std::mt19937 random(11);
  std::vector<unsigned char> bytes(n);
  for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
  return bytes;
}

template <class Checksum>
void run(benchmark::State& state, Checksum checksum) {
  const auto bytes = randomBytes(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(checksum(bytes.data(), bytes.size()));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <class Checksum>
void add(const std::string& name, Checksum checksum) {
  benchmark::RegisterBenchmark(name.c_str(), [checksum](benchmark::State& state) { run(state, checksum); })
      ->Arg(8)
      ->Arg(64)
      ->Arg(4096)
      ->Arg(1 << 20);
}

}  // namespace

int main(int argc, char** argv) {
  crcInit();
#if KY_HAS_ZLIB
  add("zlib", [](const unsigned char* data, std::size_t n) { return crc32(0, data, static_cast<uInt>(n)); });
#endif
#if KY_HAS_LIBDEFLATE
  add("libdeflate", [](const unsigned char* data, std::size_t n) { return libdeflate_crc32(0, data, n); });
#endif
  add("crcGenerate", [](const unsigned char* data, std::size_t n) { return crcGenerate(data, static_cast<Long>(n)); });
  for (const ky::CrcWay& way : ky::crcWays()) {
    if (way.usable) {
      add(way.name, [way](const unsigned char* data, std::size_t n) { return ~way.run(0xFFFFFFFF, data, n); });
    }
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
