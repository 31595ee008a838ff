// A small family of persistent classes, and documents of them in memory.
#pragma once

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "core/mem/Owned.h"
#include "core/objsys/AObjDoc.h"
#include "core/objsys/ObjectSystem.h"
#include "core/objsys/TypedRead.h"
#include "core/utils/AUndoable.h"
#include "core/utils/MemStreams.h"
#include "tests/support/Damage.h"

namespace ky::test {

/// Points at another clip that it does not own; its rate came in with minor version 1.
class Clip : public AUndoable {
  KY_PORTABLE_EXTENDED(Clip, AUndoable, "CLIP", 1, 1, 1, "rate (1)")

 public:
  static Clip* New(const char* text, Long in = 0) {
    auto* clip = new Clip;
    clip->setName(text);
    clip->in = in;
    return clip;
  }
  void Put(AStream* stream, AIODesc* desc) override {
    AUndoable::Put(stream, desc);
    WriteClassMark(stream);
    stream->WriteLong("in", in);
    stream->WriteStringHandle("name", name);
    stream->WriteObjPtr("next", next);
    stream->WriteBeginTagMark(1);
    stream->WriteLong("rate", rate);
  }
  void Get(AStream* stream, AIODesc* desc) override {
    AUndoable::Get(stream, desc);
    CheckClassMark(stream);
    in = stream->ReadLong("in");
    OwnedHandle text(stream->ReadStringHandle("name"));
    OwnedHandle(std::exchange(name, text.release()));
    next = readObjPtrOf<Clip>(stream, "next");
    rate = stream->ReadBeginTagMark() >= 1 ? stream->ReadLong("rate") : 0;
  }
  void setName(const char* text) {
    const auto size = std::strlen(text) + 1;
    name = KyNewHandle(Long(size));
    std::memcpy(*name, text, size);
  }
  const char* nameText() const { return name ? *name : ""; }

  static inline Long alive = 0;
  Long in = 0;
  char** name = nullptr;
  Clip* next = nullptr;
  Long rate = 0;

 protected:
  Clip() { ++alive; }
  ~Clip() override {
    --alive;
    OwnedHandle(name).reset();
  }
};

/// Owns its items, whatever class they are of, and points at one clip.
class Reel : public AUndoable {
  KY_PORTABLE(Reel, AUndoable, "REEL", 2, 2, 3)

 public:
  static constexpr Long kMost = 8;

  static Reel* New(std::vector<AUndoable*> contents) {
    auto* reel = new Reel;
    for (AUndoable* item : contents) reel->items[reel->count++] = item;
    return reel;
  }
  void Put(AStream* stream, AIODesc* desc) override {
    AUndoable::Put(stream, desc);
    WriteClassMark(stream);
    stream->WriteLong("count", count);
    for (Long i = 0; i < count; ++i) stream->WriteObjPtr("item", items[i]);
    stream->WriteObjPtr("leader", leader);
  }
  void Get(AStream* stream, AIODesc* desc) override {
    AUndoable::Get(stream, desc);
    CheckClassMark(stream);
    const Long stored = stream->ReadLong("count");
    if (stored < 0 || stored > kMost) raiseBadStreamData("Too many items in a reel");
    for (count = 0; count < stored; ++count) items[count] = readOwnedObjPtr<AUndoable>(stream, desc, "item");
    leader = readObjPtrOf<AUndoable>(stream, "leader");
    deferCheck(desc, this, verify);
  }

  Long count = 0;
  AUndoable* items[kMost] = {};
  AUndoable* leader = nullptr;

 protected:
  ~Reel() override {
    for (Long i = 0; i < count; ++i)
      if (items[i]) items[i]->Dispose();
  }

 private:
  /// A reel led by a clip of its own must be led by one with a name.
  static void verify(AObject* object) {
    auto* const reel = static_cast<Reel*>(object);
    if (!reel->leader || reel->leader->GetClassID() != Clip::portableID) return;
    if (!static_cast<Clip*>(reel->leader)->name) raiseBadStreamData("A leader without a name");
  }
};

inline void registerFilm() {
  static bool done = false;
  if (std::exchange(done, true)) return;
  ObjectSystemClassInit();
  Clip::PCRegister();
  Reel::PCRegister();
}

inline constexpr Char4 kFilmType = MakeChar4("FILM");

/// A stream over a copy of `bytes`, for reading and for writing on.
struct Bytes {
  explicit Bytes(const std::string& bytes = "") : handle(KyNewHandle(Long(bytes.size()))) {
    std::memcpy(*handle.get(), bytes.data(), bytes.size());
    stream.reset(ADynamicMemStream::New(handle.get()));
    if (!bytes.empty()) stream->SetLength(Long(bytes.size()));
    stream->SetGrowSize(0x10000);
  }
  std::string text() const { return std::string(*handle.get(), std::size_t(stream->GetLogicalEOF())); }

  OwnedHandle handle;
  Owned<ADynamicMemStream> stream;
};

inline void save(APortable* root, Bytes& bytes) {
  registerFilm();
  Owned<AObjDoc> doc(AObjDoc::New(bytes.stream.get(), 0, Long(kFilmType)));
  doc->CopyIn(root);
}

inline std::string saved(APortable* root) {
  Bytes bytes;
  save(root, bytes);
  return bytes.text();
}

/// Returns:  the root, which the caller owns.
inline APortable* loaded(const std::string& document) {
  registerFilm();
  OwnedHandle handle(KyNewHandle(Long(document.size())));
  std::memcpy(*handle.get(), document.data(), document.size());
  Owned<AMemStream> stream(AMemStream::New(handle.get(), Long(document.size())));
  Owned<ADomain> doc(ADomain::OpenFromStream(stream.get(), 0));
  return doc->CopyOut();
}

}  // namespace ky::test
