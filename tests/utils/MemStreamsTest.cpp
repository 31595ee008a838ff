#include "core/utils/MemStreams.h"

#include "tests/support/Test.h"
#include "tests/utils/StreamSupport.h"

using namespace ky;
using namespace ky::test;

TEST(AMemStream, OwnsItsMemoryOnlyWhenTold) {
  const NothingStays memory;
  const OwnedHandle handle = OwnedHandle::ofSize(10);
  Owned<AMemStream>(AMemStream::New(handle.get(), 10)).reset();
  EXPECT_EQ(handle.size(), 10);

  const Owned<AMemStream> stream(AMemStream::New(KyNewHandle(4), 4));
  stream->SetDisposeMem(true);
  stream->WriteLong("v", 1);
  const OwnedHandle first(stream->AdoptHandle(handle.get(), 3, 10));
  EXPECT_EQ(first.size(), 4);
  EXPECT_EQ(stream->GetPosition(), 0);
  EXPECT_EQ(stream->GetLength(), 3);
  EXPECT_EQ(stream->GetBuf(), handle.get());
  void* const pointer = KyNewPtr(5);
  EXPECT_EQ(stream->AdoptPtr(pointer, 0, 5), nullptr);
  EXPECT_EQ(stream->GetPtr(), pointer);
  expectRefusals({{"STRM_EOF", [&] { stream->SetLength(6); }}, {"STRM_BAD_POSITION", [&] { stream->SetLength(-1); }}});
  stream->WriteLong("v", 1);
  stream->DisposeMem();
  expectRefusals({
      {"STRM_EOF", [&] { stream->WriteChar("v", 1); }},
      {"buffer", [] { AMemStream::New(nullptr, 0); }},
      {"buffer", [] { AMemStream::NewFromPtr(nullptr, 0, 4); }},
  });
}

TEST(AMemStream, FollowsAHandleThatItsOwnerMoves) {
  const OwnedHandle handle = OwnedHandle::ofSize(8);
  const Owned<AMemStream> stream(AMemStream::New(handle.get(), 0));
  stream->WriteLong("v", 1);
  const OwnedHandle other = OwnedHandle::ofSize(8);
  stream->GetBuf();
  KySetHandleSize(handle.get(), 1 << 20);
  stream->WriteLong("v", 2);
  EXPECT_EQ(handle.as<Long>()[1], 2);
  KyReallocHandle(handle.get(), 8);
  stream->SetPosition(0);
  stream->WriteLong("v", 3);
  EXPECT_EQ(*handle.as<Long>(), 3);
}

TEST(AVariMemStream, GrowsToAMultipleOfTwiceItsCapacity) {
  const Long rows[][3] = {{10, 35, 40}, {10, 20, 20}, {0, 7, 7}};
  for (const auto& [capacity, wanted, grown] : rows) {
    const Owned<AVariMemStream> stream = streamOf(Bytes(std::size_t(capacity)));
    stream->SetLength(wanted);
    EXPECT_EQ(KyGetHandleSize(stream->GetBuf()), grown);
    EXPECT_EQ(stream->GetLength(), wanted);
  }
  const Owned<AVariMemStream> part(AVariMemStream::NewWithEOF(KyNewHandle(10), 4));
  part->SetDisposeMem(true);
  EXPECT_EQ(part->GetLength(), 4);
}

TEST(ADynamicMemStream, GrowsInSteps) {
  const Long rows[][3] = {{4096, 5000, 8192}, {4096, 4095, 8192}, {4096, 4094, 4096}, {0, 5000, 5000}, {1, 5000, 5000}};
  for (const auto& [step, wanted, grown] : rows) {
    const OwnedHandle handle = OwnedHandle::ofSize(0);
    const Owned<ADynamicMemStream> stream(ADynamicMemStream::New(handle.get()));
    stream->SetGrowSize(step);
    stream->SetLength(wanted);
    EXPECT_EQ(handle.size(), grown) << step;
    EXPECT_EQ(stream->GetLogicalEOF(), 0);
    EXPECT_EQ(stream->GetLength(), 0x7FFFFFFF);
    EXPECT_EQ(remaining(stream.get()), grown);
  }
}

TEST(ADynamicMemStream, LetsItsLogicalEndFollowReadsAndSeeks) {
  OwnedHandle handle = OwnedHandle::ofSize(100);
  std::memset(handle.data(), 0xEE, 100);
  handle.resize(0);
  const Owned<ADynamicMemStream> stream(ADynamicMemStream::New(handle.get()));
  stream->SetGrowSize(100);
  const std::pair<std::function<void()>, Long> rows[] = {
      {[&] { stream->WriteLong("v", 7); }, 4},
      {[&] { stream->WriteLong("v", 9); }, 8},
      {[&] { EXPECT_EQ(stream->ReadLong("v"), 0) << "grown bytes are clear"; }, 12},
      {[&] { stream->SetPosition(50); }, 50},
      {[&] { stream->SetPosition(46), stream->SetLength(20); }, 20},
      {[&] { EXPECT_EQ(stream->ReadLong("v"), 0); }, 50},
      {[&] { stream->ReadChar("v"), stream->SetPosition(4); }, 51},
      {[&] { EXPECT_EQ(stream->ReadLong("v"), 9) << "what was written stays"; }, 51},
  };
  for (const auto& [act, end] : rows) {
    act();
    EXPECT_EQ(stream->GetLogicalEOF(), end);
  }
  EXPECT_EQ(stream->DoesAutoGrow(false), 1);
  expectRefusals({
      {"STRM_BAD_POSITION", [&] { stream->SetPosition(101); }},
      {"STRM_BAD_POSITION", [&] { stream->Skip(0x7FFFFFFF); }},
      {"STRM_EOF", [&] { stream->SetPosition(99), stream->ReadShort("v"); }},
  });
  stream->WriteShort("v", 1);  // a write grows it all the same
  EXPECT_EQ(handle.size(), 200);
  EXPECT_EQ(stream->DoesAutoGrow(true), 0);
  stream->SetPosition(250);
  EXPECT_EQ(handle.size(), 300);
}
