// Values and documents through file streams, beside the same through memory streams.
//
// Files lie in the page cache. "floor" moves the same bytes by the system's calls alone, in pieces as large as the
// stream's buffer; a stream over a file cannot be faster than one over memory and the floor together.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/Clips.h"
#include "core/objsys/AFileStream.h"
#include "core/objsys/ObjectSystem.h"
#include "core/os/HostStart.h"

#if defined(KY_HAS_QT6CORE)
#include <QDataStream>
#include <QFile>
#endif

using namespace ky;
using namespace ky::bench;
using benchmark::State;

namespace {

constexpr int values = 1 << 20;
constexpr Long largest = values * 40;  // bytes of memory that the longest run takes
constexpr Long bufferSize = 0x40000;
std::string path;

void perValue(State& state) {
  state.counters["per_value"] =
      benchmark::Counter(double(values), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// ---- places to write to and to read from

struct Memory {
  static AStream* toWrite() {
    static char** const handle = KyNewHandle(largest);
    return AMemStream::New(handle, 0);
  }
  static AStream* toRead() {
    AStream* const stream = toWrite();
    stream->SetLength(largest);
    return stream;
  }
};

struct File {
  static AStream* open(unsigned short flags) {
    AStream* const stream = AFileStream::New(openFile(path.c_str(), flags, 0, OSVolID()), true, nullptr);
    stream->SetSeqBuf(bufferSize, 0);
    return stream;
  }
  static AStream* toWrite() { return open(kFileReadWrite); }
  static AStream* toRead() { return open(kFileRead); }
};

/// The bytes of `total`, moved by write or read.
template <class Move>
void movePieces(int flags, std::size_t total, Move move) {
  static std::vector<char> piece(bufferSize, 'x');
  const int file = open(path.c_str(), flags | O_CLOEXEC, 0666);
  for (std::size_t done = 0; done < total; done += piece.size()) {
    if (move(file, piece.data(), std::min(piece.size(), total - done)) <= 0) std::abort();
  }
  close(file);
}

// ---- typed values: argument 1 for a tagged section

struct Longs {
  static constexpr std::size_t size = 4, tags = 1;
  static void put(AStream* s, Long i) { s->WriteLong("v", i); }
  static void get(AStream* s) { benchmark::DoNotOptimize(s->ReadLong("v")); }
};
struct Shorts {
  static constexpr std::size_t size = 2, tags = 1;
  static void put(AStream* s, Long i) { s->WriteShort("v", short(i)); }
  static void get(AStream* s) { benchmark::DoNotOptimize(s->ReadShort("v")); }
};
struct Doubles {
  static constexpr std::size_t size = 8, tags = 1;
  static void put(AStream* s, Long i) { s->WriteDouble("v", i); }
  static void get(AStream* s) { benchmark::DoNotOptimize(s->ReadDouble("v")); }
};
struct Names {
  static constexpr std::size_t size = 14, tags = 1;
  static void put(AStream* s, Long) { s->WriteString("v", "Clip_0000012"); }
  static void get(AStream* s) {
    char text[32];
    benchmark::DoNotOptimize(s->ReadString("v", text, sizeof text));
  }
};

/// One of each.
struct Records {
  static constexpr std::size_t size = Shorts::size + Longs::size + Doubles::size + Names::size, tags = 4;
  static void put(AStream* s, Long i) {
    Shorts::put(s, i);
    Longs::put(s, i);
    Doubles::put(s, i);
    Names::put(s, i);
  }
  static void get(AStream* s) {
    Shorts::get(s);
    Longs::get(s);
    Doubles::get(s);
    Names::get(s);
  }
};

// One loop for all places, since where a loop lies in memory makes more of a difference than what is measured here.

template <class Value>
[[gnu::noinline]] void putAll(AStream* stream, bool tagged) {
  stream->SetUseTags(tagged);
  if (tagged) stream->WriteBeginTagMark(1);
  for (Long i = 0; i < values; ++i) Value::put(stream, i);
}

template <class Value>
[[gnu::noinline]] void getAll(AStream* stream, bool tagged) {
  stream->SetUseTags(tagged);
  if (tagged) stream->ReadBeginTagMark();
  for (Long i = 0; i < values; ++i) Value::get(stream);
}

template <class Place, class Value>
void put(State& state) {
  for (auto _ : state) putAll<Value>(Owned<AStream>(Place::toWrite()).get(), state.range(0));
  perValue(state);
}

template <class Place, class Value>
void get(State& state) {
  putAll<Value>(Owned<AStream>(Place::toWrite()).get(), state.range(0));
  for (auto _ : state) getAll<Value>(Owned<AStream>(Place::toRead()).get(), state.range(0));
  perValue(state);
}

template <class Value>
void putFloor(State& state) {
  const std::size_t total = (Value::size + Value::tags * std::size_t(state.range(0))) * values;
  for (auto _ : state) movePieces(O_RDWR | O_CREAT, total, write);
  perValue(state);
}

template <class Value>
void getFloor(State& state) {
  const std::size_t total = (Value::size + Value::tags * std::size_t(state.range(0))) * values;
  movePieces(O_RDWR | O_CREAT, total, write);
  for (auto _ : state) movePieces(O_RDONLY, total, read);
  perValue(state);
}

template <class Value>
void enrolValues(const std::string& name) {
  const struct {
    const char* name;
    void (*run)(State&);
  } cases[] = {{"put/memory/", put<Memory, Value>}, {"put/file/", put<File, Value>}, {"put/floor/", putFloor<Value>},
               {"get/memory/", get<Memory, Value>}, {"get/file/", get<File, Value>}, {"get/floor/", getFloor<Value>}};
  for (const auto& c : cases) benchmark::RegisterBenchmark((c.name + name).c_str(), c.run)->Arg(0)->Arg(1);
}

#if defined(KY_HAS_QT6CORE)
void putQt(State& state) {
  for (auto _ : state) {
    QFile file(path.c_str());
    file.open(QIODevice::ReadWrite);
    QDataStream out(&file);
    out.setByteOrder(QDataStream::LittleEndian);
    for (Long i = 0; i < values; ++i) out << i;
  }
  perValue(state);
}

void getQt(State& state) {
  movePieces(O_RDWR | O_CREAT, std::size_t{4} * values, write);
  for (auto _ : state) {
    QFile file(path.c_str());
    file.open(QIODevice::ReadOnly);
    QDataStream in(&file);
    in.setByteOrder(QDataStream::LittleEndian);
    Long v = 0;
    for (Long i = 0; i < values; ++i) benchmark::DoNotOptimize((in >> v, v));
  }
  perValue(state);
}
#endif

void putStdio(State& state) {
  for (auto _ : state) {
    std::FILE* const file = std::fopen(path.c_str(), "r+");
    std::setvbuf(file, nullptr, _IOFBF, bufferSize);
    for (Long i = 0; i < values; ++i) fwrite_unlocked(&i, sizeof i, 1, file);
    std::fclose(file);
  }
  perValue(state);
}

void getStdio(State& state) {
  movePieces(O_RDWR | O_CREAT, std::size_t{4} * values, write);
  for (auto _ : state) {
    std::FILE* const file = std::fopen(path.c_str(), "r");
    std::setvbuf(file, nullptr, _IOFBF, bufferSize);
    Long v = 0;
    for (Long i = 0; i < values; ++i) benchmark::DoNotOptimize(fread_unlocked(&v, sizeof v, 1, file));
    std::fclose(file);
  }
  perValue(state);
}

// ---- a million clips

struct FileDocument {
  using Clip = RingClip;
  struct Saved {
    std::size_t size = 0;
  };
  static void save(std::vector<Clip*>& ring, Saved& saved) {
    Owned<AFileStream> stream(AFileStream::New(openFile(path.c_str(), kFileReadWrite, 0, OSVolID()), true, nullptr));
    Owned<AObjDoc> doc(AObjDoc::New(stream.get(), 0, Long(MakeChar4("RING"))));
    doc->CopyIn(ring[0]);
    saved.size = std::size_t(stream->GetLength());
  }
  static Clip* load(const Saved&) {
    Owned<AFileStream> stream(AFileStream::New(openFile(path.c_str(), kFileRead, 0, OSVolID()), true, nullptr));
    Owned<ADomain> doc(ADomain::OpenFromStream(stream.get(), 0));
    return static_cast<Clip*>(doc->CopyOut());
  }
};

template <class Document>
void save(State& state) {
  auto ring = build<RingClip>(false);
  typename Document::Saved saved;
  Document::save(ring, saved);
  for (auto _ : state) Document::save(ring, saved);
  report(state, saved.size);
  endRing(ring[0]);
}

template <class Document>
void load(State& state) {
  auto ring = build<RingClip>(false);
  typename Document::Saved saved;
  Document::save(ring, saved);
  endRing(ring[0]);
  endRing(Document::load(saved));
  for (auto _ : state) {
    auto* const first = Document::load(saved);
    state.PauseTiming();
    endRing(first);
    state.ResumeTiming();
  }
  report(state, saved.size);
}

void documentFloor(State& state, bool saving) {
  auto ring = build<RingClip>(false);
  FileDocument::Saved saved;
  FileDocument::save(ring, saved);
  endRing(ring[0]);
  for (auto _ : state) {
    saving ? movePieces(O_RDWR, saved.size, write) : movePieces(O_RDONLY, saved.size, read);
  }
  report(state, saved.size);
}

void enrolDocuments() {
  const struct {
    const char* name;
    void (*run)(State&);
  } cases[] = {{"save/memory", save<ObjectDocument>},
               {"save/file", save<FileDocument>},
               {"save/floor", [](State& state) { documentFloor(state, true); }},
               {"load/memory", load<ObjectDocument>},
               {"load/file", load<FileDocument>},
               {"load/floor", [](State& state) { documentFloor(state, false); }}};
  for (const auto& c : cases) benchmark::RegisterBenchmark(c.name, c.run)->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char** argv) {
  KyStartHost();
  ObjectSystemClassInit();
  RingClip::PCRegister();
  if (const char* wanted = std::getenv("DOCS_CLIPS")) count = std::strtoul(wanted, nullptr, 10);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  char folder[] = "/tmp/bench_files-XXXXXX";
  if (!mkdtemp(folder)) return 1;
  path = std::string(folder) + "/file";

  enrolValues<Shorts>("Short");
  enrolValues<Longs>("Long");
  enrolValues<Doubles>("Double");
  enrolValues<Names>("String");
  enrolValues<Records>("Record");
  benchmark::RegisterBenchmark("put/stdio/Long", putStdio);
  benchmark::RegisterBenchmark("get/stdio/Long", getStdio);
#if defined(KY_HAS_QT6CORE)
  benchmark::RegisterBenchmark("put/QDataStream/Long", putQt);
  benchmark::RegisterBenchmark("get/QDataStream/Long", getQt);
#endif
  enrolDocuments();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  unlink(path.c_str());
  rmdir(folder);
}
