#include "core/lists/RangeArray.h"

#include <algorithm>
#include <cstdint>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/Owned.h"
#include "core/utils/AStream.h"

using namespace ky;

namespace {

constexpr Long kStart = INT32_MIN;
constexpr Long kEnd = INT32_MAX;
constexpr short kBlock = 3;

}  // namespace

RangeArray* RangeArray::New(Long slots, Long initial) {
  Owned<RangeArray> array(new RangeArray);
  array->IRangeArray(slots);
  const Entry first{initial, kStart};
  array->InsertAtIndex(&first, array->indexBase);
  return array.release();
}

void RangeArray::IRangeArray(Long count) {
  if (count != 0) {
    IArrayWithSlotAndBlock(sizeof(Entry), count, kBlock);
  } else {
    IArray(sizeof(Entry));
  }
}

void RangeArray::Dump(KyPrint print, int) {
  for (Long place = 0; place < numItems; ++place) {
    const Entry each = entry(place);
    print("Value: %ld,  From: %ld\n", static_cast<long>(each.value), static_cast<long>(each.from));
  }
}

void RangeArray::DebugCheck() {
  AArray::DebugCheck();
  for (Long place = 1; place < numItems; ++place) {
    check(entry(place - 1).from < entry(place).from, "entries ascend");
    check(entry(place - 1).value != entry(place).value, "neighbours differ");
  }
}

Long RangeArray::placeOf(Long from) const {
  const Entry* first = &entry(0);
  const auto below = [](const Entry& each, Long wanted) { return each.from < wanted; };
  return static_cast<Long>(std::lower_bound(first, first + numItems, from, below) - first);
}

bool RangeArray::replaceEntries(Long place, Long removed, const Entry* added, Long count) {
  if (!replaceCells(place, removed, count)) return false;
  std::copy(added, added + count, &entry(place));
  return true;
}

void RangeArray::SetRange(Long value, Long from, Long to) {
  if (numItems == 0) {
    const Entry only{value, from};
    return InsertAtIndex(&only, indexBase);
  }
  const Long first = placeOf(from);
  const bool found = first < numItems && entry(first).from == from;
  if (!check(found || first > 0, "found || index > 1")) return;
  if (!check(to > from, "to > from")) return;

  // The entries from `first` up to `behind` give way to at most two: the new range, and what resumes after it.
  Long behind = to == kEnd ? numItems : placeOf(to);
  Entry added[2];
  Long count = 0;
  if (first == 0 || entry(first - 1).value != value) added[count++] = {value, from};
  if (behind < numItems && entry(behind).from == to) {
    if (entry(behind).value == value) ++behind;
  } else if (to != kEnd && entry(behind - 1).value != value) {
    added[count++] = {entry(behind - 1).value, to};
  }
  replaceEntries(first, behind - first, added, count);
}

void RangeArray::GetRange(Long at, Long* value, Long* from, Long* to) {
  Long place = placeOf(at);
  if (place < numItems && entry(place).from == at) ++place;
  if (!check(place > 0, "index > 1")) return;
  if (value) *value = entry(place - 1).value;
  if (from) *from = entry(place - 1).from;
  if (to) *to = place < numItems ? entry(place).from : kEnd;
}

void RangeArray::AppendNextValue(Long value, Long from) {
  if (numItems > 0) {
    const Entry last = entry(numItems - 1);
    if (!check(from > last.from, "from > lastRange.from")) return;
    if (value == last.value) return;
  }
  const Entry next{value, from};
  InsertAtIndex(&next, kEnd);
}

void RangeArray::OffsetRange(Long from, Long delta) {
  if (delta == 0 || numItems == 0) return;
  const Long first = from == kEnd ? numItems : placeOf(from + 1);
  Long kept = first;
  // What would come to lie at or before `from`: the last of it begins there, the others have no length left.
  while (kept < numItems && Int64{entry(kept).from} + delta <= from) ++kept;
  Long last = numItems;
  while (last > kept && Int64{entry(last - 1).from} + delta > kEnd) --last;
  if (last < numItems && !replaceEntries(last, numItems - last, nullptr, 0)) return;

  Long moved = first;
  if (kept > first) {
    const Entry clamped{entry(kept - 1).value, from};
    const Long start = first > 0 && entry(first - 1).from == from ? first - 1 : first;
    const Long count = start > 0 && entry(start - 1).value == clamped.value ? 0 : 1;
    if (!replaceEntries(start, kept - start, &clamped, count)) return;
    moved = start + count;
  }
  for (Long place = moved; place < numItems; ++place) entry(place).from += delta;
}

void WriteRangeArray(RangeArray* array, AStream* stream, AIODesc*) {
  const Long count = array ? array->GetNumItems() : 0;
  if (count > INT16_MAX) {
    +XError("CORE_INTEGER_TOO_BIG", "str className", "RangeArray", "str methodName", "WriteRangeArray", "str intName",
            "numRanges", "long intVal", count, "long maxIntVal", Long{INT16_MAX}, 0);
  }
  stream->WriteShort("numRanges", static_cast<short>(count));
  if (count == 0) return;
  stream->WriteLong("initial", elements<RangeArray::Entry>(array)[0].value);
  for (const RangeArray::Entry& each : elements<RangeArray::Entry>(array).subspan(1)) {
    stream->WriteLong("value", each.value);
    stream->WriteLong("from", each.from);
  }
}

RangeArray* ReadRangeArray(AStream* stream, AIODesc*) {
  const short count = stream->ReadShort("numRanges");
  if (count <= 0) return nullptr;
  constexpr Int64 kLongBytes = 4;
  if ((2 * Int64{count} - 1) * kLongBytes > remaining(stream)) +XError("STRM_EOF", 0);

  Owned<RangeArray> array(RangeArray::New(count, stream->ReadLong("initial")));
  Long last = kStart;
  for (short read = 1; read < count; ++read) {
    const Long value = stream->ReadLong("value");
    const Long from = stream->ReadLong("from");
    if (from <= last) +XError("DOMAIN_BAD_STRM_DATA", "str reason", "from > lastRange.from", 0);
    array->AppendNextValue(value, from);
    last = from;
  }
  return array.release();
}
