// Saving a million clips to memory and loading them back, beside a hand-written QDataStream and Boost.Serialization.
//
// A ring of doubly linked clips: three numbers, a name of 12 characters, a timecode of four numbers. "warm" reuses
// memory that the process has touched before; "cold" is the first time in a process of its own, which pays for fresh
// pages; "shuffled" has the clips lie in memory in another order than the ring's.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sstream>
#include <string>
#include <vector>

#include "bench/Clips.h"
#include "core/objsys/ObjectSystem.h"
#include "core/os/HostStart.h"

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
using namespace ky::bench;

namespace {

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

double cpuSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
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
