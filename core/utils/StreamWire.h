// The typed operations of a stream, written once for all kinds of value.
#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "core/base/Sanitizers.h"
#include "core/utils/AStream.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ky {

/// The byte ahead of each value of a tagged section, and of the marks of an object.
enum Tag : char {
  noTag = 0x00,
  beginTag = 0x01,
  classTag = 0x02,
  endTag = 0x03,
  bytesTag = 0x41,
  booleanTag = 0x42,
  charTag = 0x43,
  ucharTag = 0x44,
  shortTag = 0x45,
  ushortTag = 0x46,
  longTag = 0x47,
  ulongTag = 0x48,
  char4Tag = 0x49,
  floatTag = 0x4A,
  doubleTag = 0x4B,
  stringTag = 0x4C,
  int64Tag = 0x4D,
  uint64Tag = 0x4E,
  rationalTag = 0x4F,
};

template <class T>
T reversed(T value) {
  if constexpr (sizeof(T) == 1) {
    return value;
  } else if constexpr (sizeof(T) == 2) {
    return std::bit_cast<T>(__builtin_bswap16(std::bit_cast<std::uint16_t>(value)));
  } else if constexpr (sizeof(T) == 4) {
    return std::bit_cast<T>(__builtin_bswap32(std::bit_cast<std::uint32_t>(value)));
  } else {
    static_assert(sizeof(T) == 8);
    return std::bit_cast<T>(__builtin_bswap64(std::bit_cast<std::uint64_t>(value)));
  }
}

/// std::strlen() for texts that mostly end within their first 16 bytes, as names do that lie in a block of their own.
[[gnu::always_inline]] inline std::size_t lengthOfText(const char* text) {
#if defined(__SSE2__)
  // An aligned unit lies in one page, so that what it holds ahead of the text and behind its end can be read too.
  if constexpr (!kAddressesChecked && !kThreadsChecked) {
    const auto ahead = reinterpret_cast<std::uintptr_t>(text) % sizeof(__m128i);
    const __m128i unit = _mm_load_si128(reinterpret_cast<const __m128i*>(text - ahead));
    const unsigned ends = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(unit, _mm_setzero_si128()))) >> ahead;
    if (ends) [[likely]]
      return static_cast<std::size_t>(std::countr_zero(ends));
  }
#endif
  return std::strlen(text);
}

/// Copies a text: names of clips, tracks and reels have some ten characters, for which a call would cost more than the
/// copy. A short one is covered by two pieces that overlap.
[[gnu::always_inline]] inline void copyText(char* to, const char* from, std::size_t length) {
  const auto copyEnds = [&](auto piece) {
    auto last = piece;
    std::memcpy(&piece, from, sizeof piece);
    std::memcpy(&last, from + length - sizeof last, sizeof last);
    std::memcpy(to, &piece, sizeof piece);
    std::memcpy(to + length - sizeof last, &last, sizeof last);
  };
  if (length - 8 <= 8) [[likely]]
    return copyEnds(std::uint64_t{});
  if (length - 4 < 4) return copyEnds(std::uint32_t{});
  std::memcpy(to, from, length);
}

/// Works inside the stream's window where that has room, and goes by the core functions where it has not; while a trace
/// or a client's core function is at work the window has no room. The shortest way is for values that lie bare, outside
/// tagged sections and in the host's byte order: for all others its limits leave no room.
struct StreamWire {
  static constexpr std::ptrdiff_t kRecordHead = 8;
  static constexpr const char* kClassIDLabel = "ClassID";
  static constexpr const char* kLengthLabel = "Length";

  static bool hasToRead(const AStream& s, std::ptrdiff_t length) { return s.readLimit - s.cursor >= length; }
  static bool hasToWrite(const AStream& s, std::ptrdiff_t length) { return s.writeLimit - s.cursor >= length; }

  template <Tag tag, class T>
  [[gnu::always_inline]] static void put(AStream& s, const char* label, T value) {
    char* const at = s.cursor;
    if (s.plainWriteLimit - at >= std::ptrdiff_t(sizeof value)) [[likely]] {
      std::memcpy(at, &value, sizeof value);
      s.cursor = at + sizeof value;
      return;
    }
    const std::ptrdiff_t tagLength = s.tagLength;
    if (!hasToWrite(s, tagLength + std::ptrdiff_t(sizeof value))) [[unlikely]]
      return putByCore<T>(s, tag, label, value);
    *at = tag;  // where there are no tags the value covers it
    if (s.swapBytes) value = reversed(value);
    std::memcpy(at + tagLength, &value, sizeof value);
    s.cursor = at + tagLength + sizeof value;
  }

  template <Tag tag, class T>
  [[gnu::always_inline]] static T get(AStream& s, const char* label) {
    const char* const at = s.cursor;
    T value;
    if (s.plainReadLimit - at >= std::ptrdiff_t(sizeof value)) [[likely]] {
      std::memcpy(&value, at, sizeof value);
      s.cursor += sizeof value;
      return value;
    }
    const std::ptrdiff_t tagLength = s.tagLength;
    if (!hasToRead(s, tagLength + std::ptrdiff_t(sizeof value)) || (tagLength && *at != tag)) [[unlikely]]
      return getByCore<T>(s, tag, label);
    std::memcpy(&value, at + tagLength, sizeof value);
    s.cursor += tagLength + sizeof value;
    return s.swapBytes ? reversed(value) : value;
  }

  template <class T>
  [[gnu::noinline, gnu::cold]] static void putByCore(AStream& s, Tag tag, const char* label, T value) {
    if (s.inTaggedFields) s.CoreWriteTag(tag);
    if (s.traceFunc) traceValue(s, tag, label, &value);
    putBare(s, value);
  }

  template <class T>
  [[gnu::noinline, gnu::cold]] static T getByCore(AStream& s, Tag tag, const char* label) {
    if (s.inTaggedFields) s.CoreReadTag(tag);
    T value{};
    s.coreRead(&s, &value, sizeof value);
    // A code shows in the trace as it came from the wire.
    if (s.traceFunc && tag == char4Tag) traceValue(s, tag, label, &value);
    if (s.swapBytes) value = reversed(value);
    if (s.traceFunc && tag != char4Tag) traceValue(s, tag, label, &value);
    return value;
  }

  /// Moves a value by the core functions, in the stream's byte order, with neither tag nor trace.
  template <class T>
  static void putBare(AStream& s, T value) {
    if (s.swapBytes) value = reversed(value);
    s.coreWrite(&s, &value, sizeof value);
  }
  template <class T>
  static T getBare(AStream& s) {
    T value{};
    s.coreRead(&s, &value, sizeof value);
    return s.swapBytes ? reversed(value) : value;
  }

  static void putBytes(AStream& s, const void* bytes, Long length) {
    s.coreWrite(&s, const_cast<void*>(bytes), length);
  }

  /// ReadBytes; `wantedLabel` is how the error names the length that was asked for.
  static void getBytes(AStream& s, const char* label, void* buffer, Long length, const char* wantedLabel);

  template <Tag tag, class T, Tag shortTag>
  static T getEitherLength(AStream& s, const char* label);
  static bool putStringInWindow(AStream& s, const char* string);

  // What documents consist of beside the fields of objects goes straight into the window where that has room, and by
  // the stream's own operations where it has not.

  /// The class and the length ahead of an object.
  [[gnu::always_inline]] static void putRecordHead(AStream& s, Char4 classID, Long length) {
    if (char* const at = s.cursor; s.plainWriteLimit - at >= kRecordHead) [[likely]] {
      std::memcpy(at, &classID, sizeof classID);
      std::memcpy(at + sizeof classID, &length, sizeof length);
      s.cursor = at + kRecordHead;
      return;
    }
    s.WriteChar4(kClassIDLabel, classID);
    s.WriteLong(kLengthLabel, length);
  }
  struct RecordHead {
    Char4 classID;
    Long length;
  };
  [[gnu::always_inline]] static RecordHead getRecordHead(AStream& s) {
    if (const char* const at = s.cursor; s.plainReadLimit - at >= kRecordHead) [[likely]] {
      RecordHead head;
      std::memcpy(&head, at, sizeof head);
      s.cursor += kRecordHead;
      return head;
    }
    const Char4 classID = s.ReadChar4(kClassIDLabel);
    return {classID, s.ReadLong(kLengthLabel)};
  }

  /// The number that stands for an object pointer.
  [[gnu::always_inline]] static void putNumber(AStream& s, const char* label, ULong number) {
    char* const at = s.cursor;
    if (s.plainWriteLimit - at < std::ptrdiff_t(sizeof number)) return s.WriteULong(label, number);
    std::memcpy(at, &number, sizeof number);
    s.cursor = at + sizeof number;
  }
  /// Returns:  the number that comes next, without moving past it; 0 if only ReadULong() can tell.
  static ULong peekNumber(const AStream& s) {
    ULong number = 0;
    if (s.plainReadLimit - s.cursor >= std::ptrdiff_t(sizeof number)) std::memcpy(&number, s.cursor, sizeof number);
    return number;
  }
  static void stepOverNumber(AStream& s) { s.cursor += sizeof(ULong); }

  static void putEndOfObject(AStream& s) {
    if (!s.useTags || !hasToWrite(s, 1)) [[unlikely]]
      return s.WriteEndObject();
    *s.cursor++ = endTag;
    setTagged(s, false);
  }
  static void getEndOfObject(AStream& s) {
    if (!s.useTags || s.pendingTag || !hasToRead(s, 1) || *s.cursor != endTag) [[unlikely]]
      return s.ReadEndObject();
    ++s.cursor;
    setTagged(s, false);
  }

  static void skip(AStream& s, Long length) {
    if (length < 0 || !hasToRead(s, length)) [[unlikely]]
      return s.Skip(length);
    s.cursor += length;
  }

  /// Writes a tag; expects that tags are in use.
  static void putTag(AStream& s, Tag tag) {
    if (hasToWrite(s, 1)) [[likely]] {
      *s.cursor++ = tag;
    } else {
      s.CoreWriteTag(tag);
    }
  }

  /// SkipToTag, which mostly has nothing to skip; expects that tags are in use.
  static char skipTo(AStream& s, Tag wanted, bool stopAtObjectEdge) {
    if (!s.pendingTag && hasToRead(s, 1) && *s.cursor == wanted) [[likely]] {
      ++s.cursor;
      return wanted;
    }
    return s.SkipToTag(wanted, stopAtObjectEdge);
  }

  static void setTagged(AStream& s, bool tagged) {
    if (s.inTaggedFields != tagged) [[unlikely]]
      changeTagged(s, tagged);
  }
  static void changeTagged(AStream& s, bool tagged) {
    s.inTaggedFields = tagged;
    s.tagLength = tagged && s.useTags;
    s.setPlainLimits();
    s.TestAndSetInlineAllowed();
  }

  /// For a stream that keeps no bytes: moves past a value, and its tag in a tagged section, wherever the window lies.
  ///
  /// Returns:  false, with nothing done, while the value has to be seen.
  static bool steppedOverValue(AStream& s, Int64 bytes) {
    if (s.plainWriteLimit != s.window) [[likely]] {
      s.position += bytes;
      return true;
    }
    if (s.writeLimit == s.window) return false;
    s.position += bytes + s.tagLength;
    return true;
  }
  static bool isOpenForWriting(const AStream& s) { return s.writeLimit != s.window; }
  static bool isTagged(const AStream& s) { return s.tagLength != 0; }

  /// Where a stream stands; while it has a window, without a question through its table.
  static Int64 place(AStream& s) { return s.hasWindow() ? s.here() : s.GetPosition(); }

  /// Measures how far a stream goes on from here.
  class Distance {
   public:
    explicit Distance(AStream& s) : s_(s), inWindow_(s.hasWindow()), start_(inWindow_ ? s.here() : s.GetPosition()) {}
    Int64 gone() const { return (inWindow_ ? s_.here() : Int64{s_.GetPosition()}) - start_; }

   private:
    AStream& s_;
    bool inWindow_;
    Int64 start_;
  };

  // The long ways of marks.
  [[gnu::noinline]] static void putClassMark(AStream& s, Long pcid, char version);
  [[gnu::noinline]] static char checkClassMark(AStream& s, Long pcid, char min, char max);

  static Long stringInWindow(const AStream& s, char*& text);
  static short getStringLength(AStream& s);
  static Long lengthToSkip(AStream& s, char tag);

  // One line of the trace each. They expect a trace function.
  static void traceValue(const AStream& s, Tag tag, const char* label, const void* value);
  static void traceMark(const AStream& s, const char* word, const char* label, int value);
  static void traceString(const AStream& s, const char* label, const char* string);
  static void traceNull(const AStream& s, const char* label);
  static void traceLength(const AStream& s, const char* label, Long length);
  static void traceBytes(const AStream& s, const char* label, const void* bytes, Long length);
  static void tracePosition(const AStream& s, Long position);
};

}  // namespace ky
