#include "core/lists/RangeArray.h"

#include <array>

#include "tests/support/Damage.h"
#include "tests/support/Test.h"
#include "tests/utils/StreamSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr Long kStart = INT_MIN;
constexpr Long kEnd = INT_MAX;

using Entries = std::vector<std::pair<Long, Long>>;

Entries entries(RangeArray& array) {
  array.DebugCheck();
  Entries all;
  for (const auto& each : ky::elements<RangeArray::Entry>(&array)) all.emplace_back(each.value, each.from);
  return all;
}

Owned<RangeArray> ranges(const Entries& of) {
  Owned<RangeArray> array(RangeArray::New(0, of.at(0).first));
  for (std::size_t i = 1; i < of.size(); ++i) array->AppendNextValue(of[i].first, of[i].second);
  return array;
}

/// A window of the axis with a value for each point, wide enough that what happens in it never leaves it unseen.
struct Points {
  const Long origin;
  std::vector<Long> values = std::vector<Long>(1000, 0);

  Long at(std::size_t i) const { return origin + Long(i); }
  /// A move to the right stretches the value at `from`; one to the left brings to it what lay further on.
  void offset(Long from, Long delta) {
    const auto old = values;
    for (Long i = from; i < 1000; ++i) values[i] = old[std::clamp(i - delta, from, Long{999})];
  }
  void expectSame(RangeArray& array) const {
    array.DebugCheck();
    Long value = -99, from = 0, to = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
      array.GetRange(at(i), &value, &from, &to);
      ASSERT_EQ(value, values[i]) << "at " << at(i);
      ASSERT_TRUE(from <= at(i) && (at(i) < to || to == kEnd)) << from << " to " << to << " at " << at(i);
      ASSERT_EQ(from == at(i), i == 0 ? from == at(0) : value != values[i - 1]) << "at " << at(i);
    }
  }
};

TEST(RangeArray, IsTheStepFunctionThatItsPointsSay) {
  const std::pair<Long, Long> windows[] = {{kStart, 0}, {-30, 0}, {kEnd - 999, 930}};
  std::mt19937 random(17);
  for (int round = 0; round < 90 && !HasFatalFailure(); ++round) {
    SCOPED_TRACE(round);
    const auto& [origin, first] = windows[round % 3];
    Points points{origin};
    Owned<RangeArray> array(RangeArray::New(round % 4, 0));
    for (int step = 0; step < 40; ++step) {
      const Long from = first + Long(random() % 69);
      if (random() % 3 == 0) {
        const Long delta = Long(random() % 41) - 20;
        array->OffsetRange(points.at(from), delta);
        points.offset(from, delta);
      } else {
        // A range up to the last point of all takes that in.
        const Long to = from + 1 + Long(random() % 70), value = Long(random() % 4);
        const bool all = to >= 999;
        array->SetRange(value, points.at(from), all ? kEnd : points.at(to));
        std::fill(points.values.begin() + from, points.values.begin() + (all ? 1000 : to), value);
      }
      points.expectSame(*array);
    }
  }
}

TEST(RangeArray, JoinsRangesThoughMemoryRunsOut) {
  const Owned<RangeArray> array = ranges({{1, kStart}, {2, 0}, {3, 1}, {4, 2}, {5, 3}, {6, 4}, {7, 5}, {8, 6}});
  array->Resize(100);
  const AllocationFailure failure(1);
  array->SetRange(9, 0, 5);
  EXPECT_TRUE(failure.happened());
  EXPECT_EQ(entries(*array), (Entries{{1, kStart}, {9, 0}, {7, 5}, {8, 6}}));
}

const Bytes kThreeRanges = {3, 0, 1, 0, 0, 0, 2, 0, 0, 0, 5, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 7, 0, 0, 0};

Bytes written(RangeArray* array) {
  return bytesWritten([&](AStream* stream) { WriteRangeArray(array, stream, nullptr); });
}
Owned<RangeArray> readFrom(const Bytes& bytes) {
  return Owned<RangeArray>(ReadRangeArray(streamOf(bytes).get(), nullptr));
}

TEST(RangeArrayOnStreams, WritesAndReadsItsEntries) {
  EXPECT_EQ(written(ranges({{1, kStart}, {2, 5}, {-2, 7}}).get()), kThreeRanges);
  EXPECT_EQ(entries(*readFrom(kThreeRanges)), (Entries{{1, kStart}, {2, 5}, {-2, 7}}));
  EXPECT_EQ(written(nullptr), (Bytes{0, 0}));
  EXPECT_FALSE(readFrom({0, 0}));

  Owned<RangeArray> many(RangeArray::New(0, 0));
  for (Long at = 0; at < 32766; ++at) many->AppendNextValue(at + 1, at);
  EXPECT_EQ(readFrom(written(many.get()))->GetNumItems(), 32767);
  many->AppendNextValue(0, 40000);
  EXPECT_EQ(codeRaisedBy([&] { written(many.get()); }), "CORE_INTEGER_TOO_BIG");
}

TEST(RangeArrayOnStreams, LoadsOrRaisesWhateverTheBytes) {
  const auto outcome = [](const Bytes& bytes) { return codeRaisedBy([&] { readFrom(bytes); }); };
  damageEveryByte(kThreeRanges, [&](const Bytes& bytes) {
    const std::string code = outcome(bytes);
    EXPECT_TRUE(code == "" || code == "STRM_EOF" || code == "DOMAIN_BAD_STRM_DATA") << code;
    return code == "";
  });
  Bytes notAscending = kThreeRanges;
  notAscending[18] = 5;
  EXPECT_EQ(outcome(notAscending), "DOMAIN_BAD_STRM_DATA");
}

}  // namespace
