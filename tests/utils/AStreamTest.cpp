#include "core/utils/AStream.h"

#include "core/objsys/AFileStream.h"
#include "core/utils/ABlockMemStream.h"
#include "tests/filesys/DiskSupport.h"
#include "tests/utils/SomeValues.h"

using namespace ky;
using namespace ky::test;

namespace {

/// The roads that a value can take, all of which must lead to the same bytes.
std::vector<Owned<AStream>> roads(const TempFolder& folder) {
  std::vector<Owned<AStream>> all;
  all.emplace_back(streamOf({}).release());
  all.emplace_back(streamOf({}).release())->SetTraceFunc(countLine);
  all.emplace_back(ABlockMemStream::New(3, 2));
  all.emplace_back(ABlockMemStream::New(300, 1));
  for (const Long buffer : {0, 1, 2, 3, 4, 5, 7, 8, 9, 13, 64, 1000}) {
    const std::string path = folder / std::to_string(buffer);
    AFileStream* const file = AFileStream::New(open(path, kFileCreate | kFileReadWrite), true, nullptr);
    file->SetSeqBuf(buffer, 0);
    all.emplace_back(file);
  }
  return all;
}

TEST(AStream, CodesEveryKindOfValueOnEveryRoad) {
  for (const Coding coding : allCodings) {
    Bytes once;
    for (const Value& value : values) {
      if (coding.tagged) once.push_back(value.tag);
      once = joined(once, coding.swapped ? value.swapped : value.native);
    }
    const TempFolder folder;
    for (const Owned<AStream>& stream : roads(folder)) {
      SCOPED_TRACE(testing::Message() << stream->ClassName() << ", tagged " << coding.tagged << ", swapped "
                                      << coding.swapped);
      const Owned<AStream> counting(AStream::New());
      for (AStream* s : {stream.get(), counting.get()}) {
        apply(coding, s);
        for (int round = 0; round < 3; ++round)
          for (const Value& value : values) value.put(s);
      }
      EXPECT_EQ(counting->GetPosition(), stream->GetPosition());
      EXPECT_EQ(contents(stream.get()), joined(joined(once, once), once));
      stream->SetPosition(0);
      for (int round = 0; round < 3; ++round)
        for (const Value& value : values) ASSERT_TRUE(value.comesBack(stream.get())) << "tag " << int(value.tag);
      for (const Value& value : values) {
        EXPECT_TRUE(codeRaisedBy([&] { value.comesBack(stream.get()); }).ends_with("_EOF")) << int(value.tag);
      }
    }
  }
}

// ---- 64-bit values in either form

TEST(AStream, ReadsTheShortFormWithItsOddSigns) {
  const std::tuple<Bytes, bool, Int64> cases[] = {
      {{0xFE, 255, 255, 255}, false, -2},    // sign-extended, also unsigned
      {{0, 0, 0, 0x80}, true, -4294967168},  // the sign is that of the last byte on the wire
      {{0x80, 0, 0, 1}, true, 2147483649},   // the first byte's sign is lost
  };
  for (const auto& [bytes, swapped, want] : cases) {
    const Owned<AVariMemStream> stream = streamOf(bytes);
    stream->SetSwapBytes(swapped);
    EXPECT_EQ(stream->ReadInt64orLong("v"), want);
    stream->SetPosition(0);
    EXPECT_EQ(static_cast<Int64>(stream->ReadUInt64orULong("v")), want);
  }
}

TEST(AStream, TellsTheTwoFormsApartByTheTag) {
  for (const bool swapped : {false, true}) {
    const Owned<AVariMemStream> stream = streamOf({});
    apply({true, swapped}, stream.get());
    const Int64 written[] = {2147483648, -7, 7, -(1LL << 40)};
    for (const Int64 value : written) stream->WriteInt64orLong("v", value);
    stream->WriteUInt64orULong("v", 1ULL << 32);
    EXPECT_EQ(stream->GetPosition(), 4 * 9 - 2 * 4 + 9);
    stream->SetPosition(0);
    for (const Int64 value : written) EXPECT_EQ(stream->ReadInt64orLong("v"), value);
    EXPECT_EQ(stream->ReadUInt64orULong("v"), 1ULL << 32);
  }
}

// ---- text

TEST(AStream, RefusesTextThatCannotBeRight) {
  const struct {
    const char* name;
    Bytes bytes;
    Long room;
    const char* code;
  } cases[] = {
      {"no room for the terminator", {2, 0, 'a', 'b'}, 2, "STRM_BUF_SMALL"},
      {"length -2", {0xFE, 0xFF, 'a', 'b'}, 100, "STRM_INCORRECT_LENGTH"},
      {"cut short", {4, 0, 'a', 'b'}, 100, "STRM_EOF"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    char buffer[100];
    EXPECT_EQ(codeRaisedBy([&] { streamOf(c.bytes)->ReadString("v", buffer, c.room); }), c.code);
    if (c.room < 100) continue;
    EXPECT_EQ(codeRaisedBy([&] { streamOf(c.bytes)->ReadStringHandle("v"); }), c.code);
  }
}

// ---- what moves the bytes

TEST(AStream, PassesEveryValueThroughAClientsCoreFunctions) {
  const Owned<AVariMemStream> stream = streamOf({9, 0, 0, 0});
  stream->SetCoreReadFunc(
      [](void*, void* buffer, Long length) { std::memset(buffer, 7, static_cast<std::size_t>(length)); });
  EXPECT_EQ(stream->ReadLong("v"), 0x07070707);
  static Long passed;
  stream->SetCoreWriteFunc([](void*, void*, Long length) { passed += length; });
  stream->WriteString("v", "ab");
  EXPECT_EQ(passed, 4);
}

// ---- patches, permission, callbacks

TEST(AStream, FillsPatchesWithTheLengthSince) {
  const Owned<AVariMemStream> stream = streamOf(Bytes(12, 0xAA));
  stream->AddPatch(2, 0, true);
  stream->AddPatch(3, 4, false);
  stream->SetPosition(12);
  stream->WritePatches();
  EXPECT_EQ(stream->GetPosition(), 12);
  EXPECT_EQ(contents(stream.get()), (Bytes{10, 0, 0, 0, 0, 0, 0, 9, 0xAA, 0xAA, 0xAA, 0xAA}));
}

}  // namespace
