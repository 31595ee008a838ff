// Streams over blocks, buffers, sections, checksums and print: what the random operations do not meet.
#include "core/objsys/APortable.h"
#include "core/utils/ABlockMemStream.h"
#include "core/utils/ACrcStream.h"
#include "core/utils/APrintStream.h"
#include "core/utils/ASectionStream.h"
#include "core/utils/BufferStream.h"
#include "core/utils/Crc.h"
#include "tests/support/Printed.h"
#include "tests/support/Test.h"
#include "tests/utils/StreamSupport.h"

using namespace ky;
using namespace ky::test;

TEST(ABlockMemStream, AddsABlockOnlyWhenTheNextByteNeedsIt) {
  const Owned<ABlockMemStream> stream(ABlockMemStream::New(1000, 2));
  const Long one = stream->Size();
  stream->Write(Bytes(1000).data(), 1000);
  stream->SetPosition(1000);
  EXPECT_EQ(stream->GetPosition(), 1000);
  EXPECT_EQ(stream->Size(), one);
  stream->WriteChar("v", 1);
  EXPECT_EQ(stream->Size(), one + 1000);
  stream->SetPosition(2);
  stream->Write(Bytes(2000).data(), 2000);
  EXPECT_EQ(stream->Size(), one + 2000 + 2 * Long(sizeof(char**)));
  EXPECT_EQ(codeRaisedBy([&] { stream->SetLength(3); }), "FATAL_ERROR");
}

TEST(BufferStream, TakesAByteWhereItStands) {
  const Owned<BufferStream> stream(new BufferStream(10, 100, false));
  stream->SetPosition(5);
  EXPECT_EQ(stream->GetLength(), 6);
  stream->SetPosition(0);
  stream->Write(Bytes(99).data(), 99);
  EXPECT_EQ(stream->GetLength(), 100);
  expectRefusals({
      {"STRM_INCORRECT_LENGTH", [&] { stream->WriteChar("v", 1); }},
      {"STRM_INCORRECT_LENGTH", [&] { stream->SetLength(101); }},
      {"STRM_INCORRECT_LENGTH", [&] { stream->SetPosition(0x7FFFFFFE); }},
  });
}

TEST(ASectionStream, DeliversWhatFitsAndThenRaises) {
  const Owned<AVariMemStream> whole = streamOf({0, 1, 2, 3, 4, 5, 6, 7});
  const Owned<ASectionStream> section(ASectionStream::New(0, nullptr, nullptr, whole.get(), 2, 6, 0));
  EXPECT_EQ(section->GetLength(), 4);
  Bytes got(6, 0xEE);
  EXPECT_EQ(codeRaisedBy([&] { section->Read(got.data(), 6); }), "SECTSTRM_EOF");
  EXPECT_EQ(got, (Bytes{2, 3, 4, 5, 0xEE, 0xEE}));
  EXPECT_EQ(section->GetPosition(), 4);
  EXPECT_EQ(codeRaisedBy([&] { section->SetPosition(-1); }), "STRM_BAD_POSITION");
  section->SetPosition(1);
  section->Skip(2);
  EXPECT_EQ(section->ReadChar("v"), 5);
  section->SetLength(3);
  EXPECT_EQ(whole->GetLength(), 5);
}

TEST(ASectionStream, SharesItsParent) {
  const Owned<AVariMemStream> whole = streamOf(Bytes(20));
  const auto sectionAt = [&](Long at) {
    return Owned<ASectionStream>(ASectionStream::New(0, nullptr, nullptr, whole.get(), at, 8, 0));
  };
  const Owned<ASectionStream> first = sectionAt(0), second = sectionAt(8);
  for (Long i = 0; i < 2; ++i) {
    first->WriteLong("v", 10 + i);
    second->WriteLong("v", 20 + i);
  }
  EXPECT_EQ(second->GetLength(), 8);
  first->SetPosition(0);
  second->SetPosition(0);
  for (Long i = 0; i < 2; ++i) {
    EXPECT_EQ(second->ReadLong("v"), 20 + i);
    EXPECT_EQ(first->ReadLong("v"), 10 + i);
  }
}

TEST(ASectionStream, ReportsItsEndToWhoOpenedIt) {
  static LongPtr closed;
  const auto note = [](void*, AStream* stream, LongPtr value) { closed = value + stream->GetLength(); };
  const auto fail = [](void*, AStream*, LongPtr) { +XError("CLOSE_FAILED"); };
  const Owned<AVariMemStream> whole = streamOf({});
  ASectionStream* const section = ASectionStream::New(0, note, nullptr, whole.get(), 0, 0, 77);
  section->WriteLong("v", 1);
  section->Close();
  EXPECT_EQ(closed, 77 + 4);
  AStream* const failing = ASectionStream::New(0, fail, nullptr, whole.get(), 0, 0, 1);
  EXPECT_EQ(codeRaisedBy([&] { failing->Close(); }), "CLOSE_FAILED");
}

TEST(ACrcStream, DigestsWhatIsWritten) {
  const Owned<ACrcStream> stream(ACrcStream::New());
  stream->Write("123456789", 9);
  EXPECT_EQ(stream->GetResultCrc(), 0xCBF43926);
  EXPECT_EQ(stream->GetCurrentCrc(), ~0xCBF43926);

  Bytes bytes;
  stream->ResetCrc();
  EXPECT_EQ(stream->GetResultCrc(), 0u);
  for (Long i = 0; i < 1000; ++i) {
    stream->WriteLong("v", i);
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(std::uint8_t(i >> shift));
    if (i == 500) stream->SetPosition(0);
    if (i == 600) stream->Read(nullptr, 0);
    if (i == 700) stream->SetCurrentCrc(stream->GetCurrentCrc());
    if (i == 800) stream->Write(bytes.data(), 600), bytes.insert(bytes.end(), bytes.begin(), bytes.begin() + 600);
  }
  EXPECT_EQ(stream->GetResultCrc(), crcGenerate(bytes.data(), Long(bytes.size())));
  EXPECT_EQ(stream->GetPosition(), 499 * 4 + 600);
}

TEST(APrintStream, PrintsValuesAndPointers) {
  class Numbered : public APortable {
    Long GetDomainData() override { return 12; }
  };
  const Printed out;
  const Owned<APrintStream> stream(APrintStream::New(Printed::print, 1));
  EXPECT_EQ(stream->Indent(1), 2);
  stream->WriteLong("length", 5);
  stream->WriteObjPtr("next", nullptr);
  const Owned<Numbered> object(new Numbered);
  stream->WriteObjPtr(nullptr, object.get());
  char pointer[40];
  std::snprintf(pointer, sizeof pointer, "0x%08lX", reinterpret_cast<unsigned long>(object.get()));
  EXPECT_EQ(out.text(), std::string("   long             length          : 5\n"
                                    "   ptr              next            : NULL\n"
                                    "   ptr                              : ") +
                            pointer + " (#12)\n");
  EXPECT_EQ(stream->GetPosition(), 4);
  EXPECT_EQ(codeRaisedBy([&] { stream->SetTraceFunc(nullptr); }), "FATAL_ERROR");
  EXPECT_EQ(codeRaisedBy([&] { stream->IndentTrace(1); }), "FATAL_ERROR");
}
