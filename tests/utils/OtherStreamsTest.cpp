// Streams over buffers, sections, checksums and print: what the random operations do not meet.
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

TEST(ABlockMemStream, StaysAsItWasWhereMemoryRunsOut) {
  const Owned<ABlockMemStream> stream(ABlockMemStream::New(400, 1));
  stream->WriteLong("v", 1);
  for (const Long nth : {1, 2, 2}) {  // the first block, the table, the second block
    const AllocationFailure shortage(nth);
    EXPECT_EQ(codeRaisedBy([&] { stream->Write(Bytes(500).data(), 500); }), "MEM_OUT_OF_MEMORY");
  }
  stream->WriteLong("v", 2);
  EXPECT_EQ(contents(stream.get()), (Bytes{1, 0, 0, 0, 2, 0, 0, 0}));
}

TEST(BufferStream, RefusesWhatItsLimitCannotHold) {
  const Owned<BufferStream> stream(new BufferStream(10, 100, false));
  stream->Write(Bytes(99).data(), 99);
  EXPECT_EQ(codeRaisedBy([&] { stream->WriteChar("v", 1); }), "STRM_INCORRECT_LENGTH");
  EXPECT_EQ(stream->GetPosition(), 99);
  const Owned<BufferStream> largest(new BufferStream(10, INT_MAX, false));
  EXPECT_EQ(codeRaisedBy([&] { largest->SetPosition(INT_MAX); }), "STRM_INCORRECT_LENGTH");
}

TEST(ASectionStream, DeliversWhatFitsAndThenRaises) {
  const Owned<AVariMemStream> whole = streamOf({0, 1, 2, 3, 4, 5, 6, 7});
  const Owned<ASectionStream> section(ASectionStream::New(0, nullptr, nullptr, whole.get(), 2, 6, 0));
  Bytes got(6, 0xEE);
  EXPECT_EQ(codeRaisedBy([&] { section->Read(got.data(), 6); }), "SECTSTRM_EOF");
  EXPECT_EQ(got, (Bytes{2, 3, 4, 5, 0xEE, 0xEE}));
  section->SetLength(3);
  EXPECT_EQ(codeRaisedBy([&] { section->SetLength(-1); }), "STRM_BAD_POSITION");
  EXPECT_EQ(whole->GetLength(), 5);
}

TEST(ASectionStream, SharesItsParentAndReportsItsEnd) {
  static LongPtr closed;
  const auto note = [](void*, AStream* stream, LongPtr value) { closed = value + stream->GetLength(); };
  const Owned<AVariMemStream> whole = streamOf(Bytes(20));
  Owned<ASectionStream> first(ASectionStream::New(0, note, nullptr, whole.get(), 0, 0, 77));
  const Owned<ASectionStream> second(ASectionStream::New(0, nullptr, nullptr, whole.get(), 8, 8, 0));
  for (Long i = 0; i < 2; ++i) {
    first->WriteLong("v", 10 + i);
    second->WriteLong("v", 20 + i);
  }
  first->SetPosition(0);
  second->SetPosition(0);
  for (Long i = 0; i < 2; ++i) {
    EXPECT_EQ(second->ReadLong("v"), 20 + i);
    EXPECT_EQ(first->ReadLong("v"), 10 + i);
  }
  first.reset();
  EXPECT_EQ(closed, 77 + 8);
}

TEST(ACrcStream, DigestsWhatIsWritten) {
  const Owned<ACrcStream> stream(ACrcStream::New());
  Bytes bytes;
  for (Long i = 0; i < 1000; ++i) {
    stream->WriteLong("v", i);
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(std::uint8_t(i >> shift));
    if (i == 500) stream->SetPosition(0);
    if (i == 800) stream->Write(bytes.data(), 600), bytes.insert(bytes.end(), bytes.begin(), bytes.begin() + 600);
  }
  EXPECT_EQ(stream->GetResultCrc(), crcGenerate(bytes.data(), Long(bytes.size())));
}

TEST(APrintStream, PrintsALineForEachValue) {
  Printed out;
  const Owned<APrintStream> stream(APrintStream::New(Printed::print, 2));
  stream->WriteLong("length", 5);
  stream->WriteBytes("bytes", "abc", 3);
  stream->WriteObjPtr("next", nullptr);
  EXPECT_EQ(out.text(),
            "   long             length          : 5\n"
            "   bytes            bytes           : 6162 63\n"
            "   ptr              next            : NULL\n");
}
