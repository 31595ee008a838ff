// Random operations on every kind of store, compared with a vector of bytes.
#include "core/utils/ABlockMemStream.h"
#include "core/utils/ASectionStream.h"
#include "core/utils/BufferStream.h"
#include "tests/support/Test.h"
#include "tests/utils/StreamSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr Long kNoLimit = INT_MAX;
constexpr Long kBufferRoom = 500;

struct Kind {
  const char* name;
  AStream* (*open)();
  Long room = kNoLimit;
  bool cuts = false;                ///< its length can be set
  bool takesWhereItStands = false;  ///< its length includes the byte that it stands on
  const char* pastEnd = "STRM_EOF";
};

AStream* fixedStream() {
  AMemStream* const stream = AMemStream::NewFromPtr(KyNewPtrClear(300), 0, 300);
  stream->SetDisposeMem(true);
  return stream;
}

AStream* section() {
  static Owned<AStream> parent;
  parent.reset(streamOf(Bytes(11)).release());
  return ASectionStream::New(0, nullptr, nullptr, parent.get(), 11, 11, 0);
}

template <Long size, Long blocks>
AStream* blockStream() {
  return ABlockMemStream::New(size, blocks);
}

AStream* bufferStream() { return new BufferStream(16, kBufferRoom, true); }

const Kind kinds[] = {
    {.name = "fixed", .open = fixedStream, .room = 300, .cuts = true},
    {.name = "doubling", .open = []() -> AStream* { return streamOf({}).release(); }, .cuts = true},
    {.name = "blocks of 7", .open = blockStream<7, 1>},
    {.name = "blocks of 400", .open = blockStream<400, 20>},
    {.name = "section", .open = section, .pastEnd = "SECTSTRM_EOF"},
    {.name = "buffer", .open = bufferStream, .room = kBufferRoom, .cuts = true, .takesWhereItStands = true},
};

/// A stream, and a vector that says what it must hold.
class Twin {
 public:
  Twin(const Kind& kind, unsigned seed) : kind_(kind), random_(seed), stream_(kind.open()) {}

  void step() {
    const Long choice = below(9);
    if (choice < 4) {
      write();
    } else if (choice < 6) {
      read();
    } else if (choice == 6) {
      seek(below(!kind_.takesWhereItStands ? end_ + 2 : below(9) ? end_ + 1 : kind_.room));
    } else if (choice == 7) {
      if (kind_.cuts && below(4) == 0) cut();
    } else {
      stream_->SetTraceFunc(below(3) ? nullptr : countLine);
    }
    ASSERT_EQ(stream_->GetPosition(), at_);
    const Long length = below(3) ? length_ : stream_->GetLength();
    ASSERT_EQ(length, length_);
  }

  void expectSame() {
    stream_->SetPosition(0);
    Bytes got(std::size_t(end_), 0);
    stream_->Read(got.data(), end_);
    EXPECT_EQ(got, Bytes(store_.begin(), store_.begin() + end_));
  }

 private:
  Long below(Long n) { return Long(random_() % unsigned(n)); }

  void standAt(Long to) {
    at_ = to;
    end_ = std::max(end_, to);
    store_.resize(std::max(store_.size(), std::size_t(end_)));
    length_ = std::max(length_, to + kind_.takesWhereItStands);
  }

  void write() {
    const bool typed = below(2);
    Bytes bytes(std::size_t(typed ? 4 : below(30) ? below(20) : below(600)));
    for (auto& byte : bytes) byte = std::uint8_t(random_());
    const Long to = at_ + Long(bytes.size());
    if (kind_.takesWhereItStands && to >= kind_.room) return;
    Long value = 0;
    if (typed) std::memcpy(&value, bytes.data(), 4);
    // What takes room where it stands may lack that room alone, with the bytes stored.
    const AllocationFailure shortage(kind_.takesWhereItStands || below(4) ? INT_MAX : 1 + below(2));
    const std::string code = codeRaisedBy(
        [&] { typed ? stream_->WriteLong("v", value) : stream_->Write(bytes.data(), Long(bytes.size())); });
    ASSERT_EQ(code, shortage.happened() ? "MEM_OUT_OF_MEMORY" : bytes.empty() || to <= kind_.room ? "" : "STRM_EOF");
    if (!code.empty() || bytes.empty()) return;
    const Long from = at_;
    standAt(to);
    std::copy(bytes.begin(), bytes.end(), store_.begin() + from);
  }

  void read() {
    const bool typed = below(2);
    Bytes got(std::size_t(typed ? 2 : below(40)));
    const Long to = at_ + Long(got.size());
    const std::string code = codeRaisedBy([&] {
      if (!typed) return stream_->Read(got.data(), Long(got.size()));
      const short value = stream_->ReadShort("v");
      std::memcpy(got.data(), &value, 2);
    });
    ASSERT_EQ(code, got.empty() || to <= end_ ? "" : kind_.pastEnd);
    if (!code.empty()) return seek(std::min(at_, end_));
    if (got.empty()) return;
    ASSERT_TRUE(std::equal(got.begin(), got.end(), store_.begin() + at_));
    standAt(to);
  }

  void seek(Long to) {
    tracedLines = 0;
    const std::string code = codeRaisedBy([&] { stream_->SetPosition(to); });
    ASSERT_EQ(code, to <= end_ || kind_.takesWhereItStands ? "" : "STRM_BAD_POSITION");
    ASSERT_EQ(tracedLines > 0, stream_->GetTraceFunc() != nullptr) << "a seek that is refused shows too";
    if (code.empty()) standAt(to);
  }

  void cut() {
    length_ = kind_.takesWhereItStands ? std::min(1 + below(length_ + 1), kind_.room) : below(Long(store_.size()) + 1);
    end_ = kind_.takesWhereItStands ? std::min(end_, length_) : length_;
    stream_->SetLength(length_);
  }

  const Kind& kind_;
  std::mt19937 random_;
  Owned<AStream> stream_;
  Bytes store_;
  Long at_ = 0;
  Long end_ = 0;  ///< what can be read
  Long length_ = 0;
};

}  // namespace

TEST(StreamModel, HoldsForRandomOperations) {
  for (const Kind& kind : kinds) {
    for (unsigned seed = 1; seed <= 5; ++seed) {
      SCOPED_TRACE(testing::Message() << kind.name << ", seed " << seed);
      Twin twin(kind, seed);
      for (int step = 0; step < 2500 && !HasFailure(); ++step) twin.step();
      twin.expectSame();
    }
  }
}
