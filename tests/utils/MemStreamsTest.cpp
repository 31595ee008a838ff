#include "core/utils/MemStreams.h"

#include "tests/support/Test.h"
#include "tests/utils/StreamSupport.h"

using namespace ky;
using namespace ky::test;

TEST(AMemStream, OwnsItsMemoryOnlyWhenTold) {
  const NothingStays memory;
  const OwnedHandle handle = OwnedHandle::ofSize(10);
  const Owned<AMemStream> stream(AMemStream::New(KyNewHandle(4), 4));
  stream->SetDisposeMem(true);
  const OwnedHandle first(stream->AdoptHandle(handle.get(), 3, 10));
  EXPECT_EQ(first.size(), 4);
  EXPECT_EQ(stream->GetLength(), 3);
  EXPECT_EQ(stream->AdoptPtr(KyNewPtr(5), 0, 5), nullptr);
  EXPECT_EQ(handle.size(), 10);
  stream->DisposeMem();
  EXPECT_EQ(codeRaisedBy([&] { stream->WriteChar("v", 1); }), "STRM_EOF");
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
}

TEST(ADynamicMemStream, LetsItsLogicalEndFollowReadsAndSeeks) {
  OwnedHandle handle = OwnedHandle::ofSize(100);
  std::memset(handle.data(), 0xEE, 100);
  handle.resize(0);
  const Owned<ADynamicMemStream> stream(ADynamicMemStream::New(handle.get()));
  stream->SetGrowSize(100);
  const std::pair<std::function<void()>, Long> rows[] = {
      {[&] { stream->WriteLong("v", 9); }, 4},
      {[&] { EXPECT_EQ(stream->ReadLong("v"), 0) << "grown bytes are clear"; }, 8},
      {[&] { stream->SetPosition(50); }, 50},
      {[&] { stream->SetPosition(46), stream->SetLength(20); }, 20},
      {[&] { EXPECT_EQ(stream->ReadLong("v"), 0); }, 50},
      {[&] { stream->SetPosition(0); }, 50},
      {[&] { EXPECT_EQ(stream->ReadLong("v"), 9) << "what was written stays"; }, 50},
  };
  for (const auto& [act, end] : rows) {
    act();
    EXPECT_EQ(stream->GetLogicalEOF(), end);
  }
  stream->DoesAutoGrow(false);
  EXPECT_EQ(codeRaisedBy([&] { stream->SetPosition(101); }), "STRM_BAD_POSITION");
  EXPECT_EQ(codeRaisedBy([&] { stream->SetPosition(99), stream->ReadShort("v"); }), "STRM_EOF");
  stream->WriteShort("v", 1);  // a write grows it all the same
  EXPECT_EQ(handle.size(), 200);
}
