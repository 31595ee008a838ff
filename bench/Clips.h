// Rings of clips for the benchmarks of documents.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "core/mem/Owned.h"
#include "core/objsys/AObjDoc.h"
#include "core/objsys/TypedRead.h"
#include "core/utils/AUndoable.h"
#include "core/utils/MemStreams.h"

namespace ky::bench {

inline std::size_t count = 1000000;

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

/// Documents in memory.
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

inline void report(benchmark::State& state, std::size_t bytes) {
  state.counters["each_clip"] = benchmark::Counter(double(state.iterations()) * double(count),
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  if (bytes) state.counters["bytes_per_clip"] = double(bytes) / double(count);
}

}  // namespace ky::bench
