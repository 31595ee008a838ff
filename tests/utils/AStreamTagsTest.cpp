// Marks of objects, and stepping over what is not known.
#include "tests/support/Test.h"
#include "tests/utils/StreamSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr Long clip = Long(MakeChar4("CLIP"));

/// A stream that codes a class version as one byte, as documents do.
Owned<AVariMemStream> objectStream(Coding coding, const Bytes& bytes) {
  Owned<AVariMemStream> stream = streamOf(bytes);
  stream->SetClassFuncW([](void*, AStream* s, Long, char version) { s->WriteChar("version", version); }, nullptr);
  stream->SetClassFuncR([](void*, AStream* s, Long) { return s->ReadChar("version"); }, nullptr);
  stream->SetUseTags(coding.tagged);
  stream->SetSwapBytes(coding.swapped);
  return stream;
}

TEST(AStreamTags, LayAnObjectOutByteByByte) {
  const std::pair<Coding, Bytes> cases[] = {
      {{true, false}, {0x02, 3, 0x01, 2, 0x47, 5, 0, 0, 0, 0x4C, 2, 0, 'a', 'b', 0x41, 1, 0, 0, 0, 'c', 0x03}},
      {{true, true}, {0x02, 3, 0x01, 2, 0x47, 0, 0, 0, 5, 0x4C, 0, 2, 'a', 'b', 0x41, 0, 0, 0, 1, 'c', 0x03}},
      {{false, false}, {3, 2, 5, 0, 0, 0, 2, 0, 'a', 'b', 'c'}},
      {{false, true}, {3, 2, 0, 0, 0, 5, 0, 2, 'a', 'b', 'c'}},
  };
  for (const auto& [coding, want] : cases) {
    const Owned<AVariMemStream> stream = objectStream(coding, {});
    stream->WriteClassMark(clip, 3);
    stream->WriteBeginTagMark(2);
    stream->WriteLong("length", 5);
    stream->WriteString("name", "ab");
    stream->WriteBytes("bytes", "c", 1);
    stream->WriteEndObject();
    EXPECT_EQ(contents(stream.get()), want);

    stream->SetPosition(0);
    char name[3];
    EXPECT_EQ(stream->CheckClassMark(clip, 1, 3), 3);
    EXPECT_EQ(stream->ReadBeginTagMark(), 2);
    EXPECT_EQ(stream->ReadLong("length"), 5);
    EXPECT_STREQ(stream->ReadString("name", name, 3), "ab");
    const Long at = stream->GetPosition();
    EXPECT_EQ(codeRaisedBy([&] { stream->ReadBytes("bytes", name, 0); }), coding.tagged ? "STRM_INCORRECT_LENGTH" : "");
    stream->SetPosition(at);
    stream->ReadBytes("bytes", name, 1);
    EXPECT_EQ(name[0], 'c');
    stream->ReadEndObject();
    EXPECT_EQ(stream->GetPosition(), Long(want.size()));
  }
}

TEST(AStreamTags, StepOverWhatANewerWriterAppended) {
  for (const bool swapped : {false, true}) {
    const Owned<AVariMemStream> stream = objectStream({true, swapped}, {});
    stream->WriteBeginTagMark(1);
    stream->WriteBoolean("v", 1);
    stream->WriteShort("v", 0x0303);
    stream->WriteFloat("v", 1);
    stream->WriteDouble("v", 1);
    stream->WriteString("v", "\3\3\3");
    stream->WriteBytes("v", "\3\3\3\3\3", 5);
    stream->WriteUInt64("v", 0x0303030303030303);
    stream->WriteEndObject();
    const Long end = stream->GetPosition();
    stream->SetPosition(0);
    EXPECT_EQ(stream->ReadBeginTagMark(), 1);
    stream->ReadEndObject();
    EXPECT_EQ(stream->GetPosition(), end);
  }
}

TEST(AStreamTags, RaiseForWhatCannotBeSteppedOver) {
  const struct {
    const char* name;
    Bytes bytes;
    const char* code;
    Long position;
  } cases[] = {
      {"Rational", {0x4F, 1, 0, 0, 0, 1, 0, 0, 0, 3}, "STRM_UNEXPECTED_TAG", 1},
      {"string that would lead back to its own tag", {0x4C, 0xFD, 0xFF, 3}, "STRM_UNEXPECTED_TAG", 3},
      {"bytes beyond the end", {0x41, 0xFF, 255, 255, 0x7F, 3}, "STRM_BAD_POSITION", 5},
      {"no end mark", {0x42, 1}, "STRM_EOF", 2},
  };
  for (const auto& c : cases) {
    const Owned<AVariMemStream> stream = objectStream({true, false}, c.bytes);
    EXPECT_EQ(codeRaisedBy([&] { stream->ReadEndObject(); }), c.code) << c.name;
    EXPECT_EQ(stream->GetPosition(), c.position) << c.name;
  }
}

TEST(AStreamTags, RefuseVersionsOutOfRange) {
  const std::pair<void (*)(AStream*), const char*> cases[] = {
      {[](AStream* s) { s->WriteClassMark(clip, 0); },
       "STRM_ILLEGAL_OBJECT_VERSION, pcid:CLIP, version:0, min:1, max:127"},
      {[](AStream* s) { s->WriteBeginTagMark(0); },
       "STRM_ILLEGAL_MINOR_VERSION, TagMark, MinorVersion:0, min:1, max:127"},
      {[](AStream* s) { s->CheckClassMark(clip, 1, 4); },
       "STRM_ILLEGAL_OBJECT_VERSION, pcid:CLIP, version:5, min:1, max:4"},
      {[](AStream* s) { s->Skip(1), s->ReadBeginTagMark(); },
       "STRM_ILLEGAL_MINOR_VERSION, minorVersion:-1, min:1, max:127"},
  };
  for (const auto& [use, error] : cases) {
    const Owned<AVariMemStream> stream = objectStream({false, false}, {5, 0xFF});
    EXPECT_EQ(wordsOf(errorRaisedBy([&] { use(stream.get()); })), std::string("Exception: ") + error);
  }
}

}  // namespace
