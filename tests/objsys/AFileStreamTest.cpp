#include "core/objsys/AFileStream.h"

#include "tests/filesys/DiskSupport.h"
#include "tests/support/Faults.h"
#include "tests/utils/StreamSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

int reads = 0;

class FileStream : public DiskTest {
 protected:
  FileStream() {
    SetKYReadLogTransferCB([](unsigned long length) -> unsigned char {
      reads += length != 0;
      return 1;
    });
    reads = 0;
  }
  ~FileStream() override { SetKYReadLogTransferCB(nullptr); }

  /// A stream that closes its file, with a buffer of so many bytes.
  Owned<AFileStream> open(unsigned short flags, Long buffer) const {
    Owned<AFileStream> stream(AFileStream::New(ky::test::open(path, flags), true, nullptr));
    stream->SetSeqBuf(buffer, 0);
    return stream;
  }
  Bytes onDisk() const { return bytesOf(path); }
};

// ---- against models

class FileStreamModel : public FileStream, public testing::WithParamInterface<Long> {};

TEST_P(FileStreamModel, HoldsForRandomTransfersSeeksAndCuts) {
  std::mt19937 random(static_cast<unsigned>(GetParam()));
  const auto below = [&random](Long n) { return Long(random() % unsigned(n)); };
  const Owned<AFileStream> stream = open(kFileReadWrite, GetParam());
  Bytes model;
  Long at = 0;
  for (int i = 0; i < 3000; ++i) {
    const Long end = Long(model.size()), kind = below(7);
    Bytes data(static_cast<std::size_t>(below(5) ? below(20) : below(150)), static_cast<std::uint8_t>(i));
    const Long length = Long(data.size()), there = std::clamp<Long>(end - at, 0, length);
    if (kind < 2) {
      stream->Write(data.data(), length);
      if (length > 0) model.resize(std::size_t(std::max(end, at + length)));
      std::copy(data.begin(), data.end(), model.begin() + std::min(at, Long(model.size())));
      at += length;
    } else if (kind < 4) {
      EXPECT_EQ(codeRaisedBy([&] { stream->Read(data.data(), length); }), there < length ? "DISK_EOF" : "");
      ASSERT_TRUE(there == 0 || std::equal(data.begin(), data.begin() + there, model.begin() + at)) << i;
      at = GetParam() > 0 || there == length ? at + there : stream->GetPosition();  // one that fails unbuffered stays
    } else if (kind == 4) {
      stream->SetPosition(at = below(3) ? std::clamp<Long>(at + below(30) - 20, 0, end) : below(end + 20));
    } else if (kind == 5) {
      stream->SetTrailingBufLen(below(20));
    } else if (kind == 6) {
      if (below(4) == 0) stream->Flush();
      if (below(20) == 0) stream->SetSeqBuf(below(2) ? GetParam() : 1 + below(40), 0);
      if (below(5) != 0) continue;
      stream->SetLength(below(end + 1));
      model.resize(std::size_t(KYGetLength(stream->GetFileHdl())));
    }
    ASSERT_EQ(stream->GetPosition(), at) << i;
    ASSERT_GE(stream->GetLength(), Long(model.size())) << i;
  }
  stream->Flush();
  EXPECT_EQ(onDisk(), model);
}

INSTANTIATE_TEST_SUITE_P(Buffers, FileStreamModel, testing::Values(0, 1, 2, 3, 4, 5, 7, 8, 9, 13, 64, 1000, 100000));

// ---- what is asked of the file

TEST_F(FileStream, StepsBackInsideWhatItHoldsWithoutReadingAgain) {
  writeBytes(path, counted(200));
  const Owned<AFileStream> stream = open(kFileRead, 40);
  EXPECT_EQ(stream->ReadChar("v"), 1);
  stream->SetTrailingBufLen(100);  // cut to 10
  stream->SetPosition(150);
  EXPECT_EQ(stream->ReadUChar("v"), 151);
  EXPECT_EQ(reads, 2);
  stream->SetPosition(140);
  EXPECT_EQ(stream->ReadUChar("v"), 141);
  EXPECT_EQ(reads, 2) << "what lies before the place was read too";
  stream->SetPosition(139);
  EXPECT_EQ(stream->ReadUChar("v"), 140);
  EXPECT_EQ(reads, 3);
}

TEST_F(FileStream, OwnsItsBufferAndItsFileAsTold) {
  const auto descriptors = openDescriptors();
  fileRec_t** const file = ky::test::open(path, kFileReadWrite);
  Owned<AFileStream> stream(AFileStream::New(file, false, KyNewHandle(10)));
  stream->WriteLong("v", 5);
  stream.reset();
  EXPECT_EQ(onDisk().size(), 4u);
  stream.reset(AFileStream::New(file, true, nullptr));
  stream->SetSeqBuf(100, 0);
  {
    const AllocationFailure failure(1);  // then it goes without a buffer
    EXPECT_EQ(stream->ReadLong("v"), 5);
  }
  stream.reset(AFileStream::New(ky::test::open("/dev/full", kFileWrite), true, KyNewHandle(50)));
  stream->WriteLong("v", 1);
  EXPECT_EQ(codeRaisedBy([&] { stream.release()->Dispose(); }), "DISK_FULL");
  EXPECT_EQ(openDescriptors(), descriptors);
}

// ---- failures

TEST_F(FileStream, WritesOnAfterAFailedWrite) {
  for (const Long buffer : {0, 8, 64, 1000}) {
    Owned<AFileStream> stream;
    const auto begin = [&] { stream = open(kFileCreate | kFileReadWrite, buffer); };
    const auto writeOn = [&] {
      for (Long i = stream->GetPosition() / 4; i < 50; ++i) stream->WriteLong("v", i);
      stream->Flush();
    };
    const int met = failEachStep(diskFaults()[1], begin, writeOn, [&](const XError& error) {
      if (error.GetCode()) writeOn();
      stream.reset();  // the next run is to have the file alone
      const Bytes bytes = onDisk();
      ASSERT_EQ(bytes.size(), 200u);
      for (std::size_t i = 0; i < bytes.size(); ++i) ASSERT_EQ(bytes[i], i % 4 ? 0 : i / 4);
    });
    EXPECT_EQ(met, buffer ? (200 + buffer - 1) / buffer : 50);
  }
}

TEST_F(FileStream, ReadsOnAfterAFailedRead) {
  writeBytes(path, counted(60));
  for (const Long buffer : {0, 7, 30}) {
    Owned<AFileStream> stream;
    char next = 1;
    const auto begin = [&] {
      stream = open(kFileReadWrite, buffer);
      stream->AllocSeqBuf();
      stream->SetTrailingBufLen(3);
      next = 1;
    };
    const auto readOn = [&] {
      for (; next <= 60; ++next) EXPECT_EQ(stream->ReadChar("v"), next);
    };
    const int met = failEachStep(diskFaults()[0], begin, readOn, [&](const XError&) { readOn(); });
    EXPECT_EQ(met, buffer == 0 ? 60 : buffer == 7 ? 10 : 3);
  }
}

}  // namespace
