#include "core/objsys/ADomain.h"

#include "tests/objsys/Film.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

/// Tells of its end; closing it may fail.
struct Watched : AStream {
  explicit Watched(bool fails = false) : fails(fails) { IStream(); }
  void Dispose() override {
    ++ended;
    const bool raises = fails;
    AStream::Dispose();
    if (raises) +XError("STREAM_CLOSE", 0);
  }
  static inline int ended = 0;
  const bool fails;
};

std::string prologueWith(std::size_t at, const char* bytes) {
  std::string text = saved(nullptr);
  text.replace(at, std::strlen(bytes), bytes);
  return text;
}

}  // namespace

TEST(ADomain, OpensByTheKeyAndRefusesAPrologueThatIsNone) {
  registerFilm();
  expectRefusals({
      {"DOMAIN_BAD_MAGIC", [] { loaded(prologueWith(2, "domain")); }},
      {"DOMAIN_BAD_MAGIC", [] { loaded(prologueWith(0, "\x07")); }},
      {"STRM_EOF", [] { loaded(""); }},
      {"DOMAIN_DUPLICATE_KEY", [] { ADomain::Register(Long(MakeChar4("OBJD")), nullptr); }},
  });
  EXPECT_EQ(wordsOf(errorRaisedBy([] { loaded(prologueWith(8, "XJBO")); })),
            "Exception: DOMAIN_KEY_UNKNOWN, key:" + std::to_string(Long(MakeChar4("OBJX"))));
}

TEST(ADomain, ClosesTheStreamThatIsItsAndEndsEvenIfThatFails) {
  registerFilm();
  Watched::ended = 0;
  AObjDoc* doc = AObjDoc::New(new Watched, 1, 0);
  doc->SetStream(new Watched, 0);
  EXPECT_EQ(Watched::ended, 1);
  doc->SetDeleteDev(1);
  doc->Close();
  EXPECT_EQ(Watched::ended, 2);
  Owned<Watched> mine(new Watched);
  AObjDoc::New(mine.get(), 0, 0)->Close();
  EXPECT_EQ(Watched::ended, 2);
  doc = AObjDoc::New(new Watched(true), 1, 0);
  EXPECT_EQ(codeRaisedBy([&] { doc->Close(); }), "STREAM_CLOSE");
  EXPECT_EQ(Watched::ended, 3);
}

TEST(ADomain, KeepsItsDescriptorOverAChangeOfStreamAndOldTailsOverAWrite) {
  registerFilm();
  Bytes one, two;
  Owned<AObjDoc> doc(AObjDoc::New(one.stream.get(), 0, Long(kFilmType)));
  AIODesc* const desc = doc->GetIODesc();
  doc->SetStream(two.stream.get(), 0);
  EXPECT_EQ(doc->GetIODesc(), desc);
  EXPECT_EQ(doc->GetContentStartPos(), 21);
  Owned<Clip> clip(Clip::New("a long name"));
  doc->CopyIn(clip.get());
  const std::string first = two.text();
  EXPECT_EQ(first.substr(119), saved(clip.get()).substr(119));
  doc->CopyIn(nullptr);
  EXPECT_EQ(two.text().size(), first.size());
  EXPECT_EQ(two.text().substr(119), first.substr(119));
  EXPECT_EQ(doc->CopyOut(), nullptr);
}
