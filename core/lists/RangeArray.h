// A step function of long to long.
#pragma once

#include "core/lists/AArray.h"

class AIODesc;
class AStream;

/// Each entry says that the function has `value` from its `from` up to the next entry's `from`.
///
/// Invariant: entries ascend in `from`, no two neighbours have the same value. An array made by New() begins at
///           -2147483648.
class KY_API RangeArray : public AArray {
  KY_CLASS(RangeArray, AArray)

 public:
  struct Entry {
    Long value = 0;
    Long from = 0;
  };

  /// A function that is `initial` everywhere.
  static RangeArray* New(Long slots, Long initial);
  /// An empty array, with room for `slots` entries if that is not 0.
  void IRangeArray(Long slots);

  void Dump(KyPrint print, int indent) override;
  void DebugCheck() override;

  /// Makes the function `value` from `from` up to `to`; a `to` of 2147483647 means to the end. In an empty array it
  /// becomes the first entry, whatever `to` is.
  ///
  /// Requires: "found || index > 1" (the function begins at or before `from`), "to > from".
  void SetRange(Long value, Long from, Long to);
  /// The range that holds `at`; `*to` is 2147483647 for the last. Each pointer may be null.
  ///
  /// Requires: "index > 1" (the function begins at or before `at`).
  void GetRange(Long at, Long* value, Long* from, Long* to);
  /// Adds the range that begins behind all others. The value of the last one makes no new entry.
  ///
  /// Requires: "from > lastRange.from".
  void AppendNextValue(Long value, Long from);
  /// Moves all entries behind `from` by `delta`. Those that would come to lie at or before `from` become one that
  /// begins at `from`; those that would lie beyond 2147483647 are dropped.
  void OffsetRange(Long from, Long delta);

 protected:
  RangeArray() = default;

 private:
  Entry& entry(Long place) const { return reinterpret_cast<Entry*>(*hItems)[place]; }
  /// Returns:  the zero-based place of the first entry with a `from` not below the given one.
  Long placeOf(Long from) const;
  bool replaceEntries(Long place, Long removed, const Entry* added, Long count);
};

/// Wire:     short count; if above 0, long value of the first entry, then long value and long from of each other.
///           A null array counts 0.
/// Raises:   CORE_INTEGER_TOO_BIG for more than 32767 entries, before anything is written.
KY_API void WriteRangeArray(RangeArray* array, AStream* stream, AIODesc* desc);
/// Returns:  a new array, or null if the count is not above 0.
/// Raises:   DOMAIN_BAD_STRM_DATA for entries that do not ascend, and what the stream raises.
KY_API RangeArray* ReadRangeArray(AStream* stream, AIODesc* desc);
