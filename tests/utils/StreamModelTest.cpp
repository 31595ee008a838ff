// Random operations on every kind of store, compared with a vector of bytes.
#include <optional>

#include "core/utils/ABlockMemStream.h"
#include "core/utils/ASectionStream.h"
#include "core/utils/BufferStream.h"
#include "tests/support/Test.h"
#include "tests/utils/StreamSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

/// What a store of bytes does, told in plain words.
struct Model {
  Bytes store;
  Long end = 0;
  Long at = 0;
  Long room = 0x7FFFFFFF;

  bool write(const Bytes& bytes) {
    const Long to = at + Long(bytes.size());
    if (bytes.empty()) return true;
    if (to > room) return false;
    if (to > Long(store.size())) store.resize(std::size_t(to));
    std::copy(bytes.begin(), bytes.end(), store.begin() + at);
    at = to;
    end = std::max(end, to);
    return true;
  }
  std::optional<Bytes> read(Long n) {
    if (n > 0 && at + n > end) return std::nullopt;
    at += n;
    return Bytes(store.begin() + at - n, store.begin() + at);
  }
};

struct Kind {
  const char* name;
  Long room;
  bool cuts;  // whether its length can be set
  const char* pastEnd;
  AStream* (*open)();
};

Owned<AStream> parent;

const Kind kinds[] = {
    {"fixed", 300, true, "STRM_EOF",
     [] {
       AMemStream* const stream = AMemStream::NewFromPtr(KyNewPtrClear(300), 0, 300);
       stream->SetDisposeMem(true);
       return static_cast<AStream*>(stream);
     }},
    {"doubling", 0x7FFFFFFF, true, "STRM_EOF", [] { return static_cast<AStream*>(streamOf({}).release()); }},
    {"blocks of 1", 0x7FFFFFFF, false, "STRM_EOF", [] { return static_cast<AStream*>(ABlockMemStream::New(1, 3)); }},
    {"blocks of 7", 0x7FFFFFFF, false, "STRM_EOF", [] { return static_cast<AStream*>(ABlockMemStream::New(7, 1)); }},
    {"blocks of 400", 0x7FFFFFFF, false, "STRM_EOF",
     [] { return static_cast<AStream*>(ABlockMemStream::New(400, 20)); }},
    {"section", 0x7FFFFFFF, false, "SECTSTRM_EOF",
     [] {
       parent.reset(streamOf(Bytes(11)).release());
       return static_cast<AStream*>(ASectionStream::New(0, nullptr, nullptr, parent.get(), 11, 11, 0));
     }},
};

class StreamModel : public testing::TestWithParam<int> {};

TEST_P(StreamModel, HoldsForRandomOperations) {
  std::mt19937 random(static_cast<unsigned>(GetParam()));
  const auto below = [&random](Long n) { return Long(random() % unsigned(n)); };
  for (const Kind& kind : kinds) {
    SCOPED_TRACE(kind.name);
    const Owned<AStream> stream(kind.open());
    Model model;
    model.room = kind.room;
    for (int step = 0; step < 2000; ++step) {
      switch (below(9)) {
        case 0:
        case 1:
        case 2:
        case 3: {
          const bool typed = below(2);
          Bytes bytes(std::size_t(typed ? 4 : below(30) ? below(20) : below(600)));
          for (auto& byte : bytes) byte = std::uint8_t(random());
          const std::string code = codeRaisedBy([&] {
            if (typed) {
              Long value;
              std::memcpy(&value, bytes.data(), 4);
              stream->WriteLong("v", value);
            } else {
              stream->Write(bytes.data(), Long(bytes.size()));
            }
          });
          ASSERT_EQ(code, model.write(bytes) ? "" : "STRM_EOF");
          break;
        }
        case 4:
        case 5: {
          const bool typed = below(2);
          Bytes got(std::size_t(typed ? 2 : below(40)));
          const auto want = model.read(Long(got.size()));
          const std::string code = codeRaisedBy([&] {
            if (typed) {
              const short value = stream->ReadShort("v");
              std::memcpy(got.data(), &value, 2);
            } else {
              stream->Read(got.data(), Long(got.size()));
            }
          });
          ASSERT_EQ(code, want ? "" : kind.pastEnd);
          ASSERT_EQ(got, want.value_or(got));
          if (!want) stream->SetPosition(model.at = std::min(model.at, model.end));
          break;
        }
        case 6: {
          const Long to = below(model.end + 2);
          const std::string code = codeRaisedBy([&] { stream->SetPosition(to); });
          ASSERT_EQ(code, to <= model.end ? "" : "STRM_BAD_POSITION");
          if (to <= model.end) model.at = to;
          break;
        }
        case 7:
          if (kind.cuts && below(4) == 0) stream->SetLength(model.end = below(Long(model.store.size()) + 1));
          break;
        default:
          stream->SetTraceFunc(below(3) ? nullptr : silent);
      }
      ASSERT_EQ(stream->GetPosition(), model.at);
      if (below(3) == 0) {
        ASSERT_EQ(stream->GetLength(), model.end);
      }
    }
    stream->SetTraceFunc(nullptr);
    stream->SetPosition(std::min(model.at, model.end));
    EXPECT_EQ(contents(stream.get()), Bytes(model.store.begin(), model.store.begin() + model.end));
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, StreamModel, testing::Range(1, 6));

TEST(BufferStream, HoldsForRandomOperations) {
  constexpr Long most = 500;
  for (unsigned seed = 1; seed <= 5; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&random](Long n) { return Long(random() % unsigned(n)); };
    const Owned<BufferStream> stream(new BufferStream(16, most, seed % 2));
    Bytes store(most);
    Long at = 0, length = 0, highWater = 0;
    const auto stand = [&](Long position) {
      if (position >= length) length = position + 1;
      highWater = std::max(highWater, position);
      at = position;
    };
    for (int step = 0; step < 3000; ++step) {
      switch (below(4)) {
        case 0: {
          const auto value = Long(random());
          if (at + 4 >= most) break;
          stream->WriteLong("v", value);
          std::memcpy(store.data() + at, &value, 4);
          stand(at + 4);
          break;
        }
        case 1: {
          short got = 0, want = 0;
          const std::string code = codeRaisedBy([&] { got = stream->ReadShort("v"); });
          ASSERT_EQ(code, at + 2 <= highWater ? "" : "STRM_EOF");
          if (!code.empty()) break;
          std::memcpy(&want, store.data() + at, 2);
          ASSERT_EQ(got, want);
          stand(at + 2);
          break;
        }
        case 2: {
          const Long to = below(highWater + 1);
          stream->SetPosition(to);
          stand(to);
          break;
        }
        default: {
          if (below(20)) break;
          const Long to = 1 + below(length + 1);
          if (to > most) break;
          stream->SetLength(to);
          length = to;
          highWater = std::min(highWater, to);
        }
      }
      ASSERT_EQ(stream->GetPosition(), at);
      if (below(3) == 0) {
        ASSERT_EQ(stream->GetLength(), length);
      }
    }
  }
}

}  // namespace
