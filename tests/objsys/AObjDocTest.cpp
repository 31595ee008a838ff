#include "core/objsys/AObjDoc.h"

#include <optional>

#include "core/lists/AUnknownArray.h"
#include "core/objsys/AUnknown.h"
#include "core/os/VersionInfo.h"
#include "platform/Threads.h"
#include "tests/objsys/Film.h"
#include "tests/support/Faults.h"
#include "tests/support/FormatPage.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr std::size_t kTimestamp = 24;
constexpr std::size_t kUid = 55;
constexpr std::size_t kFirstRecord = 119;

std::string fromHex(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) bytes += char(std::stoi(digits.substr(i, 2), nullptr, 16));
  return bytes;
}

struct NamedProgram {
  NamedProgram() {
    version.major = 1;
    setProgramVersion(&version);
  }
  ~NamedProgram() { setProgramVersion(nullptr); }
  ProgramVersion version;
};

struct Ring {
  Ring() {
    a->rate = 25;
    b->rate = 30;
    a->next = b.get();
    b->next = a.get();
  }
  Owned<Clip> a{Clip::New("A", 1)};
  Owned<Clip> b{Clip::New("B", 2)};
};

/// Takes a loaded ring of two apart and tells it; ends both.
std::string described(APortable* root) {
  auto* const a = static_cast<Clip*>(root);
  Clip* const b = a->next;
  std::string text;
  for (Clip* clip : {a, b})
    text += std::string(clip->nameText()) + ' ' + std::to_string(clip->in) + '@' + std::to_string(clip->rate) + ' ';
  text += b->next == a ? "closed" : "open";
  a->Dispose();
  b->Dispose();
  return text;
}

std::string reasonRaisedBy(const std::string& document) {
  const LeaksAreNoFault leaks;
  const XError error = errorRaisedBy([&] { Owned<APortable>(loaded(document)); });
  if (!error.GetCode()) return "";
  char text[256];
  const int level = error.FindLevel("DOMAIN_BAD_STRM_DATA");
  if (level && error.GetParmAsString(text, sizeof text, level, "reason")) return text;
  return error.GetLevelCode(1);
}

/// A document whose one object is of a class that nobody registered, with `body` for its bytes.
std::string documentOfUnknown(const std::string& body) {
  std::string document = saved(nullptr);
  const auto putLong = [&](std::size_t at, Long value) { std::memcpy(&document[at], &value, 4); };
  document += std::string("MYST") + std::string(4, '\0') + body;
  putLong(43, 1);
  putLong(47, 1);
  putLong(kFirstRecord + 4, Long(body.size()));
  return document;
}

/// What saving raises when there is no memory for the quick way.
std::string refusalOfSlowSave(APortable* root) {
  struct SlowDoc : AObjDoc {
    explicit SlowDoc(AStream* stream) { IObjDoc(stream, 0, 1, Long(kFilmType)); }
    void SpeedyCopyIn(APortable*) override { +XError("MEM_OUT_OF_MEMORY", 0); }
  };
  registerFilm();
  const Bytes bytes;
  const Owned<SlowDoc> doc(new SlowDoc(bytes.stream.get()));
  return codeRaisedBy([&] { doc->CopyIn(root); });
}

TEST(AObjDoc, AFailedLoadDisposesWhatNobodyRefersTo) {
  Owned<Reel> reel(Reel::New({Clip::New("a"), Clip::New("b"), Clip::New("c")}));
  std::string document = saved(reel.get());
  document.back() = 0;  // the root's end mark, read last of all
  const Long alive = Clip::alive;
  EXPECT_EQ(reasonRaisedBy(document), "STRM_UNEXPECTED_TAG");
  EXPECT_EQ(Clip::alive, alive);
}

TEST(AObjDoc, UnknownsCanBeDropped) {
  // The reel is read behind its item, the unknown, and sees none; a reel read ahead of it would keep its address.
  Owned<Reel> reel(Reel::New({Clip::New("item")}));
  std::string document = saved(reel.get());
  document.replace(kFirstRecord, 4, "MYST");
  AObjDoc::SetNoUnknowns(1);
  Owned<Reel> without(static_cast<Reel*>(loaded(document)));
  EXPECT_EQ(loaded(documentOfUnknown("\x03")), nullptr);
  AObjDoc::SetNoUnknowns(0);
  ASSERT_EQ(without->count, 1);
  EXPECT_EQ(without->items[0], nullptr);
  Owned<Reel> with(static_cast<Reel*>(loaded(document)));
  EXPECT_TRUE(with->items[0]->IsInstanceOf("AUnknown"));
}

}  // namespace

TEST(AObjDoc, WritesTheBytesThatThePageShows) {
  const NamedProgram program;
  const Ring ring;
  const std::string page = bytesOfPage("object-document.md", "example");
  ASSERT_EQ(page.size(), 177u);
  // No two documents share the time and the identifier.
  EXPECT_EQ(saved(ring.a.get()).replace(kTimestamp, 19, page, kTimestamp, 19).replace(kUid, 8, page, kUid, 8), page);
}

TEST(AObjDoc, KeepsTheByteOrderAndIdentityOfADocumentThatItWritesBack) {
  const NamedProgram program;
  registerFilm();
  for (const char* kind : {"example", "big-endian"}) {
    const std::string page = bytesOfPage("object-document.md", kind);
    Bytes bytes(page);
    Owned<ADomain> doc(ADomain::OpenFromStream(bytes.stream.get(), 0));
    auto* const a = static_cast<Clip*>(doc->CopyOut());
    doc->CopyIn(a);
    EXPECT_EQ(bytes.text().replace(kTimestamp, 19, page, kTimestamp, 19), page) << kind;
    EXPECT_EQ(described(a), "A 1@25 B 2@30 closed") << kind;

    // Opened again on the stream as it is by now, and written more than once without having been read.
    const Ring ring;
    bytes.stream->SetPosition(0);
    doc.reset(ADomain::OpenFromStream(bytes.stream.get(), 0));
    for (int i = 0; i < 2; ++i) doc->CopyIn(ring.a.get());
    EXPECT_EQ(described(doc->CopyOut()), "A 1@25 B 2@30 closed") << kind;
    EXPECT_EQ(described(loaded(bytes.text())), "A 1@25 B 2@30 closed") << kind;
  }
}

// The records of B and of A.
TEST(AObjDoc, ReadsOlderVersionsAndStepsOverWhatLaterProgramsAppend) {
  const std::string untagged = "434c49500000000c010000000200014200000002434c49500000000c010000000100014100000001";
  const std::string b = "434c495000000015020100000002000142000000020101470000001e03";
  const struct {
    std::string version, records;
    const char* want;
  } rows[] = {
      // 1: numbers of one byte, the root last
      {"01", "434c495000000009010000000200014202434c495000000009010000000100014101", "A 1@0 B 2@0 closed"},
      // 2: numbers of four bytes, any of them the root
      {"02", "00000002" + untagged, "A 1@0 B 2@0 closed"},
      {"02", "00000001" + untagged, "B 2@0 A 1@0 closed"},
      // 3: tags and minor versions
      {"03", "00000002" + b + "434c495000000015020100000001000141000000010101470000001903", "A 1@25 B 2@30 closed"},
      // fields of a later program: a string, 64 bits, and a level of its own with bytes
      {"03",
       "00000002" + b + "434c49500000002d02010000000100014100000001010147000000194c000203034d0000000000000003" +
           "02090103410000000103" + "03",
       "A 1@25 B 2@30 closed"},
  };
  for (const auto& row : rows) {
    const std::string document = "0006446f6d61696e4f424a440007414f626a446f63" + row.version +
                                 "0013323032362f31312f32312030323a34323a333500000002" + row.records;
    EXPECT_EQ(described(loaded(fromHex(document))), row.want);
  }
}

TEST(AObjDoc, AnyFailingAllocationOfASaveIsRaisedOrWorkedAround) {
  const Ring ring;
  std::optional<Bytes> bytes;
  Owned<AObjDoc> doc;
  int cameThrough = 0;
  const auto begin = [&] { doc.reset(AObjDoc::New(bytes.emplace().stream.get(), 0, Long(kFilmType))); };
  failEachStep(
      memoryFault(), begin, [&] { doc->CopyIn(ring.a.get()); },
      [&](const XError& error) {
        cameThrough += !error.GetCode();
        if (error.GetCode()) {
          EXPECT_STREQ(error.GetCode(), "DOMAIN_COPYIN_FAILED");
        } else {
          EXPECT_EQ(described(loaded(bytes->text())), "A 1@25 B 2@30 closed");
        }
      });
  EXPECT_GT(cameThrough, 1);  // the last run meets no failure
}

TEST(AObjDoc, TheLowMemoryWriteRefusesToNestTooDeep) {
  std::vector<Owned<Clip>> chain;
  for (int i = 0; i < 20001; ++i) {
    chain.emplace_back(Clip::New("c"));
    if (i) chain[std::size_t(i)]->next = chain[std::size_t(i - 1)].get();
  }
  EXPECT_EQ(refusalOfSlowSave(chain[20000].get()), "DOMAIN_COPYIN_FAILED");
#if !defined(KY_SANITIZED)  // whose frames are too large for so many
  EXPECT_EQ(refusalOfSlowSave(chain[19999].get()), "");
#endif
  EXPECT_EQ(refusalOfSlowSave(chain[2000].get()), "");

  std::pair<APortable*, std::string> save{chain[19999].get(), ""};
  platform::NativeThread thread;  // whose stack ends first
  const auto run = [](void* it) {
    auto& [root, refusal] = *static_cast<std::pair<APortable*, std::string>*>(it);
    refusal = refusalOfSlowSave(root);
  };
  ASSERT_EQ(thread.start(run, &save, 0x80000), 0);
  thread.join();
  EXPECT_EQ(save.second, "DOMAIN_COPYIN_FAILED");
}

TEST(AObjDoc, AnUnknownClassIsCountedAndWrittenBackUnchanged) {
  const std::string document = documentOfUnknown(std::string("\x02\x07secret \0 bytes\x03", 17));
  const std::string body = document.substr(kFirstRecord);
  Owned<AUnknownArray> counts(AUnknownArray::New());
  gUnknownArray = counts.get();
  Owned<APortable> unknown(loaded(document));
  Owned<APortable>(loaded(document));
  gUnknownArray = nullptr;
  ASSERT_EQ(counts->GetNumItems(), 1);
  EXPECT_EQ(elements<AUnknownArray::Entry>(counts.get())[0].count, 2);

  EXPECT_EQ(saved(unknown.get()).substr(kFirstRecord), body);
  Bytes undone;
  Owned<AUndoDesc> undo(AUndoDesc::New());
  unknown->Put(undone.stream.get(), undo.get());
  undone.stream->SetPosition(0);
  Owned<AUnknown> redone(AUnknown::New(GetWriteClassID(unknown.get()), 0));
  redone->Get(undone.stream.get(), undo.get());
  EXPECT_EQ(saved(redone.get()).substr(kFirstRecord), body);
  Owned<AObject> copy(unknown->Copy());
  unknown.reset();
  EXPECT_EQ(saved(static_cast<APortable*>(copy.get())).substr(kFirstRecord), body);
}

TEST(AObjDoc, RefusesWhatCannotBeRight) {
  const Ring ring;
  const std::string ringDoc = saved(ring.a.get());
  Owned<Reel> reel(Reel::New({Reel::New({}), Reel::New({})}));
  // Records: the second inner reel, the first, the outer. A body is mark, count, items, leader, end.
  const std::string reelDoc = saved(reel.get());
  const std::size_t outerItems = kFirstRecord + 2 * (8 + 11) + 8 + 6;
  const std::string longest("\xFF\xFF\xFF\x7F", 4);
  const struct {
    const char* name;
    const std::string& document;
    std::size_t at;
    std::string bytes;
    const char* reason;
  } cases[] = {
      {"no document", ringDoc, 2, "domain", "DOMAIN_BAD_MAGIC"},
      {"unknown kind", ringDoc, 8, "XJBO", "DOMAIN_KEY_UNKNOWN"},
      {"another text", ringDoc, 14, "aObjDoc", "AOBJDOC_BAD_MAGIC"},
      {"version 5", ringDoc, 21, "\x05", "AOBJDOC_VERSION_MISMATCH"},
      {"huge count", ringDoc, 43, longest, "Object count out-of-bounds"},
      {"root 0", ringDoc, 47, std::string(4, '\0'), "Root object out-of-bounds"},
      {"huge length", ringDoc, kFirstRecord + 4, longest, "Object length out-of-bounds"},
      {"a body shorter than what is read", ringDoc, kFirstRecord + 8 + 21 + 4, "\x14", "Object read past its end"},
      {"unknown on file", ringDoc, kFirstRecord, "NKNU", "PCREG_UNKNOWN_ENCOUNTERED"},
      {"pointer beyond the last", ringDoc, kFirstRecord + 8 + 9, "\x03", "Object ID out-of-bounds"},
      {"pointer to another class", reelDoc, kFirstRecord, "PILC", "STRM_ILLEGAL_OBJECT_VERSION"},
      {"newer major version", ringDoc, kFirstRecord + 9, "\x02", "STRM_ILLEGAL_OBJECT_VERSION"},
      {"two owners", reelDoc, outerItems, "\x01", "An object has two owners"},
      {"owned root", reelDoc, outerItems, "\x03", "The root object has an owner"},
      {"a domain on file", reelDoc, kFirstRecord, "NMOD", "Domain portability not implemented."},
  };
  const Long alive = Clip::alive;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string document = c.document;
    document.replace(c.at, c.bytes.size(), c.bytes);
    EXPECT_EQ(reasonRaisedBy(document), c.reason);
  }
  EXPECT_EQ(codeRaisedBy(AObjDoc::InitClass), "DOMAIN_DUPLICATE_KEY");
  // A clip that another refers to is left to that one, which does not dispose its neighbour.
  EXPECT_LE(Clip::alive - alive, 2 * 4);
}

TEST(AObjDoc, DeferredChecksRunOnceAllIsLoaded) {
  Owned<Clip> clip(Clip::New("x"));
  OwnedHandle(std::exchange(clip->name, nullptr));
  Owned<Reel> reel(Reel::New({}));
  reel->leader = clip.get();
  EXPECT_EQ(reasonRaisedBy(saved(reel.get())), "A leader without a name");
}
