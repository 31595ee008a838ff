// Values written and read one at a time, beside QDataStream, string streams and plain copies. Figures are per value.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "core/mem/KyHandles.h"
#include "core/mem/Owned.h"
#include "core/os/HostStart.h"
#include "core/utils/ABlockMemStream.h"
#include "core/utils/ASectionStream.h"
#include "core/utils/MemStreams.h"

#if defined(KY_HAS_QT6CORE)
#include <QBuffer>
#include <QDataStream>
#endif

using namespace ky;
using benchmark::State;

namespace {

constexpr int count = 20000;
constexpr char longTag = 0x47;

/// Numbers of all magnitudes.
const std::vector<Long>& longs() {
  static const std::vector<Long> values = [] {
    std::mt19937_64 random(42);
    std::vector<Long> v(count);
    for (Long& x : v) x = Long(ULong(random() >> 32) >> random() % 28);
    return v;
  }();
  return values;
}

/// Twelve characters each.
const std::vector<std::string>& names() {
  static const std::vector<std::string> values = [] {
    std::mt19937 random(42);
    std::vector<std::string> v(count);
    char text[32];
    for (auto& x : v) {
      std::snprintf(text, sizeof text, "Clip_%07u", unsigned(random() % 9999999));
      x = text;
    }
    return v;
  }();
  return values;
}

void perValue(State& state) {
  state.SetItemsProcessed(state.iterations() * count);
  state.counters["per_value"] =
      benchmark::Counter(double(count), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// ---- this library: argument 0 bare, 1 tagged, 2 tagged and swapped, 3 bare and swapped

enum Coding { bare, tagged, taggedSwapped, bareSwapped };

void setCoding(AStream* stream, State& state) {
  const auto coding = state.range(0);
  stream->SetUseTags(coding == tagged || coding == taggedSwapped);
  if (coding == tagged || coding == taggedSwapped) stream->WriteBeginTagMark(1);
  stream->SetSwapBytes(coding == taggedSwapped || coding == bareSwapped);
}

Owned<AStream> memory() {
  AMemStream* const stream = AMemStream::New(KyNewHandle(count * 32), 0);
  stream->SetDisposeMem(true);
  return Owned<AStream>(stream);
}

void putLongs(AStream* stream) {
  for (const Long x : longs()) stream->WriteLong("x", x);
}

void writeLongs(State& state, AStream* stream) {
  setCoding(stream, state);
  benchmark::DoNotOptimize(stream);
  for (auto _ : state) {
    stream->SetPosition(0);
    putLongs(stream);
  }
  perValue(state);
}

void longWrite(State& state) { writeLongs(state, memory().get()); }
BENCHMARK(longWrite)->DenseRange(0, 3);

void longWriteBlocks(State& state) { writeLongs(state, Owned<AStream>(ABlockMemStream::New(0x800, 0x14)).get()); }
BENCHMARK(longWriteBlocks)->DenseRange(0, 1);

void longWriteSection(State& state) {
  const Owned<AStream> whole = memory();
  writeLongs(state, Owned<AStream>(ASectionStream::New(0, nullptr, nullptr, whole.get(), 0, 0, 0)).get());
}
BENCHMARK(longWriteSection)->DenseRange(0, 1);

void longCount(State& state) { writeLongs(state, Owned<AStream>(AStream::New()).get()); }
BENCHMARK(longCount)->DenseRange(0, 1);

void longRead(State& state) {
  const Owned<AStream> owned = memory();
  AStream* stream = owned.get();
  setCoding(stream, state);
  const Long begin = stream->GetPosition();
  putLongs(stream);
  benchmark::DoNotOptimize(stream);
  for (auto _ : state) {
    stream->SetPosition(begin);
    Int64 sum = 0;
    for (int i = 0; i < count; ++i) sum += stream->ReadLong("x");
    benchmark::DoNotOptimize(sum);
  }
  perValue(state);
}
BENCHMARK(longRead)->DenseRange(0, 3);

void stringWrite(State& state) {
  const Owned<AStream> owned = memory();
  AStream* stream = owned.get();
  setCoding(stream, state);
  benchmark::DoNotOptimize(stream);
  for (auto _ : state) {
    stream->SetPosition(0);
    for (const auto& x : names()) stream->WriteString("x", x.c_str());
  }
  perValue(state);
}
BENCHMARK(stringWrite)->DenseRange(0, 1);

void stringRead(State& state) {
  const Owned<AStream> owned = memory();
  AStream* stream = owned.get();
  setCoding(stream, state);
  const Long begin = stream->GetPosition();
  for (const auto& x : names()) stream->WriteString("x", x.c_str());
  benchmark::DoNotOptimize(stream);
  char text[64];
  for (auto _ : state) {
    stream->SetPosition(begin);
    Int64 sum = 0;
    for (int i = 0; i < count; ++i) sum += stream->ReadString("x", text, sizeof text)[3];
    benchmark::DoNotOptimize(sum);
  }
  perValue(state);
}
BENCHMARK(stringRead)->DenseRange(0, 1);

// ---- the floor

void longCopy(State& state) {
  std::vector<char> store(count * 4);
  for (auto _ : state) {
    char* to = store.data();
    for (const Long x : longs()) {
      std::memcpy(to, &x, sizeof x);
      to += sizeof x;
      asm volatile("" : "+r"(to));
    }
    benchmark::ClobberMemory();
  }
  perValue(state);
}
BENCHMARK(longCopy);

// ---- std::stringstream

void longWriteStringStream(State& state) {
  std::stringstream stream;
  for (auto _ : state) {
    stream.seekp(0);
    for (const Long x : longs()) stream.write(reinterpret_cast<const char*>(&x), sizeof x);
  }
  perValue(state);
}
BENCHMARK(longWriteStringStream);

void longReadStringStream(State& state) {
  std::stringstream stream;
  for (const Long x : longs()) stream.write(reinterpret_cast<const char*>(&x), sizeof x);
  for (auto _ : state) {
    stream.clear();
    stream.seekg(0);
    Int64 sum = 0;
    for (int i = 0; i < count; ++i) {
      Long x;
      stream.read(reinterpret_cast<char*>(&x), sizeof x);
      sum += x;
    }
    benchmark::DoNotOptimize(sum);
  }
  perValue(state);
}
BENCHMARK(longReadStringStream);

// ---- QDataStream on QBuffer: argument 0 little-endian, 1 a tag byte ahead, 2 big-endian

#if defined(KY_HAS_QT6CORE)

struct QtStream {
  explicit QtStream(State& state) : tags(state.range(0) == 1) {
    buffer.open(QIODevice::ReadWrite);
    stream.setDevice(&buffer);
    stream.setByteOrder(state.range(0) == 2 ? QDataStream::BigEndian : QDataStream::LittleEndian);
  }
  void putLongs() {
    if (tags) {
      for (const Long x : longs()) stream << quint8(longTag) << qint32(x);
    } else {
      for (const Long x : longs()) stream << qint32(x);
    }
  }

  bool tags;
  QBuffer buffer;
  QDataStream stream;
};

void longWriteQDataStream(State& state) {
  QtStream qt(state);
  for (auto _ : state) {
    qt.buffer.seek(0);
    qt.putLongs();
  }
  perValue(state);
}
BENCHMARK(longWriteQDataStream)->DenseRange(0, 2);

void longReadQDataStream(State& state) {
  QtStream qt(state);
  qt.putLongs();
  for (auto _ : state) {
    qt.buffer.seek(0);
    Int64 sum = 0;
    for (int i = 0; i < count; ++i) {
      qint32 x;
      if (qt.tags) {
        quint8 tag;
        qt.stream >> tag;
        if (tag != longTag) std::abort();
      }
      qt.stream >> x;
      sum += x;
    }
    benchmark::DoNotOptimize(sum);
  }
  perValue(state);
}
BENCHMARK(longReadQDataStream)->DenseRange(0, 2);

void stringWriteQDataStream(State& state) {
  QtStream qt(state);
  for (auto _ : state) {
    qt.buffer.seek(0);
    for (const auto& x : names()) qt.stream.writeBytes(x.data(), uint(x.size()));
  }
  perValue(state);
}
BENCHMARK(stringWriteQDataStream)->Arg(0);

void stringReadQDataStream(State& state) {
  QtStream qt(state);
  for (const auto& x : names()) qt.stream.writeBytes(x.data(), uint(x.size()));
  char text[64];
  for (auto _ : state) {
    qt.buffer.seek(0);
    Int64 sum = 0;
    for (int i = 0; i < count; ++i) {
      quint32 length;
      qt.stream >> length;
      qt.stream.readRawData(text, int(length));
      text[length] = 0;
      sum += text[3];
    }
    benchmark::DoNotOptimize(sum);
  }
  perValue(state);
}
BENCHMARK(stringReadQDataStream)->Arg(0);

#endif

}  // namespace

int main(int argc, char** argv) {
  KyStartHost();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
