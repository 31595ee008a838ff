// Saving a million clips to memory and loading them back, beside a hand-written QDataStream and Boost.Serialization.
//
// A ring of doubly linked clips: three numbers, a name of 12 characters, a timecode of four numbers. "warm" reuses
// memory that the process has touched before; "cold" is the first time in a process of its own, which pays for fresh
// pages; "shuffled" has the clips lie in memory in another order than the ring's.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "core/mem/Owned.h"
#include "core/objsys/AObjDoc.h"
#include "core/objsys/ObjectSystem.h"
#include "core/objsys/TypedRead.h"
#include "core/os/HostStart.h"
#include "core/utils/AUndoable.h"
#include "core/utils/MemStreams.h"

#if defined(KY_HAS_QT6CORE)
#include <QByteArray>
#include <QDataStream>
#include <QIODevice>
#endif
#if defined(HAS_BOOST)
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#endif

using namespace ky;

namespace {

std::size_t count = 1000000;

template <class Clip>
void fill(Clip& clip, std::size_t i) {
  clip.in = Long(i);
  clip.out = Long(i) + 50;
  clip.track = Long(i) & 15;
  clip.tc[0] = 1;
  clip.tc[1] = 30;
  clip.tc[3] = Long(i) * 3;
  char name[32];
  std::snprintf(name, sizeof name, "Clip_%07lu", static_cast<unsigned long>(i));
  clip.setName(name);
}

/// The clips in ring order; shuffled, each lies where chance made it.
template <class Clip>
std::vector<Clip*> build(bool shuffled) {
  std::vector<Clip*> lying(count), ring(count);
  for (Clip*& clip : lying) clip = Clip::make();
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  if (shuffled) std::shuffle(order.begin(), order.end(), std::mt19937_64(7));
  for (std::size_t i = 0; i < count; ++i) fill(*(ring[i] = lying[order[i]]), i);
  for (std::size_t i = 0; i < count; ++i) {
    ring[i]->next = ring[(i + 1) % count];
    ring[i]->prev = ring[(i + count - 1) % count];
  }
  return ring;
}

// ---- this library

class RingClip : public AUndoable {
  KY_PORTABLE(RingClip, AUndoable, "CLIP", 1, 1, 1)

 public:
  static RingClip* make() { return new RingClip; }
  static void end(RingClip* clip) { clip->Dispose(); }
  void setName(const char* text) {
    name = KyNewHandle(Long(std::strlen(text)) + 1);
    std::strcpy(*name, text);
  }
  void Put(AStream* stream, AIODesc* desc) override {
    AUndoable::Put(stream, desc);
    WriteClassMark(stream);
    stream->WriteLong("in", in);
    stream->WriteLong("out", out);
    stream->WriteLong("track", track);
    stream->WriteStringHandle("name", name);
    for (const Long part : tc) stream->WriteLong("tc", part);
    stream->WriteObjPtr("next", next);
    stream->WriteObjPtr("prev", prev);
  }
  void Get(AStream* stream, AIODesc* desc) override {
    AUndoable::Get(stream, desc);
    CheckClassMark(stream);
    in = stream->ReadLong("in");
    out = stream->ReadLong("out");
    track = stream->ReadLong("track");
    name = stream->ReadStringHandle("name");
    for (Long& part : tc) part = stream->ReadLong("tc");
    next = readObjPtrOf<RingClip>(stream, "next");
    prev = readObjPtrOf<RingClip>(stream, "prev");
  }

  Long in = 0, out = 0, track = 0;
  Long tc[4] = {};
  char** name = nullptr;
  RingClip* next = nullptr;
  RingClip* prev = nullptr;

 protected:
  ~RingClip() override {
    if (name) KyDisposeHandle(name);
  }
};

struct ObjectDocument {
  using Clip = RingClip;
  struct Saved {
    OwnedHandle handle;
    std::size_t size = 0;
  };
  static void save(std::vector<Clip*>& ring, Saved& saved) {
    if (!saved.handle) saved.handle.reset(KyNewHandle(0));
    Owned<ADynamicMemStream> stream(ADynamicMemStream::New(saved.handle.get()));
    stream->SetGrowSize(0x40000);
    Owned<AObjDoc> doc(AObjDoc::New(stream.get(), 0, Long(MakeChar4("RING"))));
    doc->CopyIn(ring[0]);
    saved.size = std::size_t(stream->GetLogicalEOF());
  }
  static Clip* load(const Saved& saved) {
    Owned<AMemStream> stream(AMemStream::New(saved.handle.get(), Long(saved.size)));
    Owned<ADomain> doc(ADomain::OpenFromStream(stream.get(), 0));
    return static_cast<Clip*>(doc->CopyOut());
  }
};

// ---- the peers

/// A plain struct; `end` and `make` as the compiler has them.
struct PlainClip {
  static PlainClip* make() { return new PlainClip; }
  static void end(PlainClip* clip) { delete clip; }
  void setName(const char* text) { name = text; }

  Long in = 0, out = 0, track = 0;
  std::string name;
  Long tc[4] = {};
  PlainClip* next = nullptr;
  PlainClip* prev = nullptr;
  Long index = 0;
};

#if defined(KY_HAS_QT6CORE)
/// Numbers the graph breadth-first by a mark in the object, and writes each pointer as its number.
struct QtDataStream {
  using Clip = PlainClip;
  struct Saved {
    QByteArray bytes;
    std::size_t size = 0;
  };
  static std::vector<Clip*> numbered(Clip* head) {
    std::vector<Clip*> all{head};
    head->index = 1;
    for (std::size_t i = 0; i < all.size(); ++i) {
      for (Clip* target : {all[i]->next, all[i]->prev}) {
        if (target->index) continue;
        all.push_back(target);
        target->index = Long(all.size());
      }
    }
    return all;
  }
  static void save(std::vector<Clip*>& ring, Saved& saved) {
    const std::vector<Clip*> all = numbered(ring[0]);
    QDataStream out(&saved.bytes, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    out << quint32(all.size());
    for (const Clip* clip : all) {
      out << qint32(0x434C4950) << clip->in << clip->out << clip->track;
      out.writeBytes(clip->name.data(), uint(clip->name.size()));
      for (const Long part : clip->tc) out << part;
      out << clip->next->index << clip->prev->index;
    }
    for (Clip* clip : all) clip->index = 0;
    saved.size = std::size_t(saved.bytes.size());
  }
  static Clip* load(const Saved& saved) {
    QDataStream in(saved.bytes);
    in.setByteOrder(QDataStream::LittleEndian);
    quint32 size;
    in >> size;
    std::vector<Clip*> all(size);
    for (Clip*& clip : all) clip = new Clip;
    for (Clip* clip : all) {
      qint32 id, next, prev;
      quint32 length;
      in >> id >> clip->in >> clip->out >> clip->track >> length;
      clip->name.resize(length);
      in.readRawData(clip->name.data(), int(length));
      for (Long& part : clip->tc) in >> part;
      in >> next >> prev;
      clip->next = all[std::size_t(next - 1)];
      clip->prev = all[std::size_t(prev - 1)];
    }
    return all[0];
  }
};
#endif

#if defined(HAS_BOOST)
/// The fields in one pass and the links in a second, since following the links recurses once for each clip.
struct BoostArchive {
  struct Clip : PlainClip {
    static Clip* make() { return new Clip; }
    static void end(PlainClip* clip) { delete static_cast<Clip*>(clip); }
    template <class Archive>
    void serialize(Archive& archive, unsigned) {
      archive& in& out& track& name& tc;
    }
  };
  struct Saved {
    std::string bytes;
    std::size_t size = 0;
  };
  static void save(std::vector<Clip*>& ring, Saved& saved) {
    std::ostringstream bytes;
    boost::archive::binary_oarchive out(bytes, boost::archive::no_header);
    const auto& clips = ring;
    out << clips;
    for (const Clip* clip : ring) {
      const auto* next = static_cast<const Clip*>(clip->next);
      const auto* prev = static_cast<const Clip*>(clip->prev);
      out << next << prev;
    }
    saved.bytes = std::move(bytes).str();
    saved.size = saved.bytes.size();
  }
  static Clip* load(const Saved& saved) {
    std::istringstream bytes(saved.bytes);
    boost::archive::binary_iarchive in(bytes, boost::archive::no_header);
    std::vector<Clip*> ring;
    in >> ring;
    for (Clip* clip : ring) {
      Clip *next, *prev;
      in >> next >> prev;
      clip->next = next;
      clip->prev = prev;
    }
    return ring[0];
  }
};
#endif

// ---- measuring

template <class Clip>
void endRing(Clip* first) {
  std::vector<decltype(first->next)> all;
  auto* clip = static_cast<decltype(first->next)>(first);
  do {
    all.push_back(clip);
    clip = clip->next;
  } while (clip != first);
  for (auto* each : all) Clip::end(each);
}

double cpuSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

void report(benchmark::State& state, std::size_t bytes) {
  state.counters["each_clip"] = benchmark::Counter(double(state.iterations()) * double(count),
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  if (bytes) state.counters["bytes_per_clip"] = double(bytes) / double(count);
}

template <class Peer>
void save(benchmark::State& state, bool shuffled) {
  auto ring = build<typename Peer::Clip>(shuffled);
  typename Peer::Saved saved;
  Peer::save(ring, saved);
  for (auto _ : state) Peer::save(ring, saved);
  report(state, saved.size);
  endRing(ring[0]);
}

template <class Peer>
void load(benchmark::State& state) {
  auto ring = build<typename Peer::Clip>(false);
  typename Peer::Saved saved;
  Peer::save(ring, saved);
  endRing(ring[0]);
  endRing(Peer::load(saved));
  for (auto _ : state) {
    auto* first = Peer::load(saved);
    state.PauseTiming();
    endRing(first);
    state.ResumeTiming();
  }
  report(state, saved.size);
}

/// One save or load in this process, which has done nothing like it before.
template <class Peer>
double once(bool saving, bool shuffled) {
  auto ring = build<typename Peer::Clip>(shuffled);
  typename Peer::Saved saved;
  const double begin = cpuSeconds();
  Peer::save(ring, saved);
  if (saving) return cpuSeconds() - begin;
  // The ring stays, so that the loaded clips find no memory that was used before.
  malloc_trim(0);
  const double start = cpuSeconds();
  benchmark::DoNotOptimize(Peer::load(saved));
  return cpuSeconds() - start;
}

const char* ownPath = "";

void cold(benchmark::State& state, const std::string& peer, bool saving, bool shuffled) {
  for (auto _ : state) {
    const std::string command = std::string(ownPath) + " --once " + peer + (saving ? " save" : " load") +
                                (shuffled ? " shuffled" : " ordered") + " " + std::to_string(count);
    std::FILE* const child = popen(command.c_str(), "r");
    double seconds = 0;
    if (!child || std::fscanf(child, "%lf", &seconds) != 1) state.SkipWithError("the process of its own failed");
    if (child) pclose(child);
    state.SetIterationTime(seconds);
  }
  report(state, 0);
}

template <class Peer>
void enrol(const std::string& name) {
  const auto timed = [](benchmark::internal::Benchmark* run) { run->Unit(benchmark::kMillisecond)->MinTime(0.5); };
  timed(benchmark::RegisterBenchmark(("save/warm/" + name).c_str(), [](auto& state) { save<Peer>(state, false); }));
  timed(benchmark::RegisterBenchmark(("save/warm/shuffled/" + name).c_str(),
                                     [](auto& state) { save<Peer>(state, true); }));
  timed(benchmark::RegisterBenchmark(("load/warm/" + name).c_str(), [](auto& state) { load<Peer>(state); }));
  for (const bool saving : {true, false}) {
    const std::string title = std::string(saving ? "save" : "load") + "/cold/" + name;
    benchmark::RegisterBenchmark(title.c_str(), [=](auto& state) { cold(state, name, saving, false); })
        ->Unit(benchmark::kMillisecond)
        ->UseManualTime()
        ->Iterations(3);
  }
}

template <class Peer>
bool ranOnce(const char* name, char** argv) {
  if (std::strcmp(argv[2], name) != 0) return false;
  std::printf("%.9f\n", once<Peer>(std::strcmp(argv[3], "save") == 0, std::strcmp(argv[4], "shuffled") == 0));
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  ownPath = argv[0];
  KyStartHost();
  ObjectSystemClassInit();
  RingClip::PCRegister();
  if (const char* wanted = std::getenv("DOCS_CLIPS")) count = std::strtoul(wanted, nullptr, 10);
  if (argc == 6 && std::strcmp(argv[1], "--once") == 0) {
    count = std::strtoul(argv[5], nullptr, 10);
    if (ranOnce<ObjectDocument>("KyCore", argv)) return 0;
#if defined(KY_HAS_QT6CORE)
    if (ranOnce<QtDataStream>("QDataStream", argv)) return 0;
#endif
#if defined(HAS_BOOST)
    if (ranOnce<BoostArchive>("Boost", argv)) return 0;
#endif
    return 1;
  }
  // Warm means that freed memory stays with the process.
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TOP_PAD, 64 << 20);
  enrol<ObjectDocument>("KyCore");
#if defined(KY_HAS_QT6CORE)
  enrol<QtDataStream>("QDataStream");
#endif
#if defined(HAS_BOOST)
  enrol<BoostArchive>("Boost");
#endif
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
