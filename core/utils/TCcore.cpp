#include "core/utils/TCcore.h"

#include <array>
#include <cstring>

#include "core/error/Assert.h"
#include "core/utils/TCfields.h"
#include "platform/Clock.h"

using namespace ky;

timecodeDesc_t ky::defaultTimecodeDesc{0, 30, 0};

namespace {

bool sTCLoops = false;
bool sTCLoopsIsSet = false;

/// `a` at the rate of `b`.
timecode_t atRateOf(timecode_t a, const timecode_t& b) {
  if (described(&a.desc).fps != described(&b.desc).fps) TCChangeFramesSec(&a, static_cast<unsigned short>(b.desc.fps));
  return a;
}

}  // namespace

timecodeDesc_t TCCreateDesc(unsigned char drop, unsigned short fps) { return {drop && fps == 30 ? kDrop : 0, fps, 0}; }

void TCSetDefaultFormat(unsigned short fps, unsigned char drop) {
  if (fps != 0) defaultTimecodeDesc.fps = fps;
  setDrop(defaultTimecodeDesc, drop);
}

timecode_t TCGetDefault(Long frames) { return {defaultTimecodeDesc, frames}; }

timecode_t TCConstruct(short days, short hours, short minutes, short seconds, short frames,
                       const timecodeDesc_t* desc) {
  return constructed({days, hours, minutes, seconds, frames}, described(desc));
}

void TCDeconstruct(timecode_t tc, short* days, short* hours, short* minutes, short* seconds, short* frames) {
  const Fields f = fieldsOf(tc);
  const auto give = [](short* out, Long value) {
    if (out) *out = static_cast<short>(value);
  };
  give(days, f.days);
  give(hours, f.hours);
  give(minutes, f.minutes);
  give(seconds, f.seconds);
  give(frames, f.frames);
}

Long TCGetMaxDuration(const timecodeDesc_t* desc) { return TCConstruct(5, 0, 0, 0, 0, desc).frames; }

timecode_t TCGetMaxTC(const timecodeDesc_t* desc) { return TCAdd(TCConstruct(5, 0, 0, 0, 0, desc), -1); }

unsigned char TCIsMaxTC(timecode_t tc) { return tc.frames == TCGetMaxTC(&tc.desc).frames; }

unsigned char TCDescEqual(timecodeDesc_t a, timecodeDesc_t b) { return a.flags == b.flags && a.fps == b.fps; }

unsigned char TCEqual(timecode_t a, timecode_t b) { return TCDescEqual(a.desc, b.desc) && a.frames == b.frames; }

timecode_t TCAdd(timecode_t tc, Long frames) { return {tc.desc, tc.frames + frames}; }

timecode_t TCAddModDay(timecode_t tc, Long frames) {
  tc.frames += frames;
  const Long day = unitsOf(described(&tc.desc)).day;
  if (day <= 0) return tc;  // a rate at which a day outgrows the count
  if (tc.frames < 0) {
    tc.frames = tc.frames % day;
    if (tc.frames < 0) tc.frames += day;
  } else if (tc.frames > day) {
    tc.frames = (tc.frames - 1) % day + 1;
  }
  return tc;
}

Long TCDiff(timecode_t a, timecode_t b) { return TCGetLoop() ? TCDiffModDay(a, b) : b.frames - atRateOf(a, b).frames; }

Long TCDiffModDay(timecode_t a, timecode_t b) {
  a = atRateOf(a, b);
  const Long plain = b.frames - a.frames;
  if (a.frames <= b.frames) return plain;
  const Long day = unitsOf(described(&b.desc)).day;
  const Long forward = plain + day;
  const Long backward = plain - day;
  const auto size = [](Long n) { return n < 0 ? -n : n; };
  if (size(plain) <= size(forward) && size(plain) <= size(backward)) return plain;
  return size(backward) < size(forward) ? backward : forward;
}

Long TCDiffModDayForward(timecode_t a, timecode_t b) {
  a = atRateOf(a, b);
  const Long plain = b.frames - a.frames;
  return a.frames <= b.frames ? plain : plain + unitsOf(described(&b.desc)).day;
}

timecode_t TCCreateDur(Long frames, const timecodeDesc_t* desc) { return {described(desc), frames}; }

void TCChangeDrop(timecode_t* tc, unsigned char drop) {
  const bool wanted = drop & 1;
  timecodeDesc_t desc = described(&tc->desc);
  if (isDrop(desc) == wanted) return;
  if (tc->frames == kTCAbsent) {
    setDrop(tc->desc, wanted);
    return;
  }
  setDrop(desc, wanted);
  *tc = constructed(fieldsOf(*tc), desc);
}

void TCChangeFramesSec(timecode_t* tc, unsigned short fps) {
  if (tc->desc.fps == fps) return;
  timecodeDesc_t desc = described(&tc->desc);
  desc.fps = fps;
  *tc = constructed(fieldsOf(*tc), described(&desc));
}

void TCConvertFPS(timecode_t* tc, unsigned short fps) {
  if (tc->desc.fps == fps) return;
  timecodeDesc_t desc = described(&tc->desc);
  Fields fields = fieldsOf(*tc);
  const timecodeDesc_t old = desc;
  desc.fps = fps;
  desc = described(&desc);
  fields.frames = static_cast<Long>(static_cast<double>(fields.frames) * desc.fps / old.fps + 0.5);
  *tc = constructed(fields, desc);
}

void TCSetLoop(unsigned char loop) {
  check(!sTCLoopsIsSet, "!sTCLoopsIsSet");
  sTCLoops = loop;
  sTCLoopsIsSet = true;
}

unsigned char TCGetLoop() {
  check(sTCLoopsIsSet, "sTCLoopsIsSet");
  return sTCLoops;
}

timecode_t TCCreateTOD(const timecodeDesc_t* desc) {
  const std::tm now = platform::localTime(platform::wallSeconds());
  return constructed({0, now.tm_hour, now.tm_min, now.tm_sec, 0}, described(desc));
}

// Text out.

namespace {

constexpr Long kTextLength = 11;  // hh:mm:ss:ff

/// The two characters of 0 to 99, the tens in the low byte.
constexpr auto kPairs = [] {
  std::array<std::uint16_t, 100> pairs{};
  for (int i = 0; i < 100; ++i) pairs[i] = static_cast<std::uint16_t>(('0' + i / 10) | ('0' + i % 10) << 8);
  return pairs;
}();

UInt64 pairOf(Long field) { return kPairs[static_cast<std::size_t>(field)]; }

/// Frames beyond two digits spill into the characters behind '9', as adding to the digits has it.
UInt64 framesPair(Long frames) {
  if (frames < static_cast<Long>(kPairs.size())) [[likely]]
    return pairOf(frames);
  return static_cast<unsigned char>('0' + frames / 10) | static_cast<UInt64>('0' + frames % 10) << 8;
}

/// Writes the fields of a count that is not negative, eleven characters and the end.
inline void writeFields(const Fields& f, char separator, char* to) {
  const UInt64 s = static_cast<unsigned char>(separator);
  const UInt64 front = pairOf(f.hours) | s << 16 | pairOf(f.minutes) << 24 | s << 40 | pairOf(f.seconds) << 48;
  const auto back = static_cast<ULong>(s | framesPair(f.frames) << 8);
  std::memcpy(to, &front, sizeof(front));
  std::memcpy(to + sizeof(front), &back, sizeof(back));
}

/// Blanks the leading zeros of the first three pairs.
///
/// Returns:  how many characters became blank.
Long blankZeros(char* digits) {
  Long i = 0;
  while (i < 9 && digits[i] == '0') {
    digits[i++] = ' ';
    if (digits[i] != '0') break;
    digits[i++] = ' ';
    digits[i++] = ' ';
  }
  return i;
}

char signFor(Long frames, short flags) {
  if (frames < 0) return '-';
  return flags & kTCSign ? '+' : ' ';
}

/// Writes the digits of a count without its sign; the lowest count, which has no opposite, shows as 0.
inline void writeCount(Long frames, const timecodeDesc_t& desc, bool drop, char* to) {
  const Long size = frames < 0 ? -frames : frames;
  writeFields(fieldsOf(static_cast<ULong>(size < 0 ? 0 : size), desc, drop), drop ? ';' : ':', to);
}

[[gnu::noinline]] void writeFlagged(Long frames, const timecodeDesc_t& desc, bool drop, char* buf, short flags) {
  char* digits = buf;
  const char sign = flags & (kTCSign | kTCBlankSign) ? signFor(frames, flags) : '\0';
  if (sign) *digits++ = sign;
  writeCount(frames, desc, drop, digits);

  if (!(flags & (kTCBlankZeros | kTCTrimZeros))) return;
  const Long blanks = blankZeros(digits);
  if (flags & kTCTrimZeros) {
    const Long kept = kTextLength - blanks + 1;
    std::memmove(digits, digits + blanks, static_cast<std::size_t>(kept));
  } else if (sign && blanks > 0) {
    buf[0] = ' ';
    digits[blanks - 1] = sign;
  }
}

}  // namespace

char* TCToStr(timecode_t tc, char* buf, Long, short flags) {
  if (!check(buf != nullptr, "buf != NULL")) return buf;
  if ((flags & kTCEmptyForZero && tc.frames == 0) || (flags & kTCEmptyForAbsent && tc.frames == kTCAbsent)) {
    buf[0] = '\0';
    return buf;
  }
  const timecodeDesc_t& desc = described(&tc.desc);
  const bool drop = isDrop(desc) && !(flags & kTCNonDrop);
  if (flags & (kTCSign | kTCBlankSign | kTCBlankZeros | kTCTrimZeros)) {
    writeFlagged(tc.frames, desc, drop, buf, flags);
  } else {
    writeCount(tc.frames, desc, drop, buf);
  }
  return buf;
}

// Conversion to and from 24 frames, in the text.

namespace {

enum CountedAs : short { kAs25 = 2, kFilmSpeed = 3, kAs30 = 4 };

bool hasTwoDigits(const char* text) { return text[0] >= '0' && text[0] <= '9' && text[1] >= '0' && text[1] <= '9'; }

/// The factors are single-precision values; their products are not.
void scaleFrames(char* text, double factor) {
  if (!hasTwoDigits(text + 9)) return;
  const Long frames = (text[9] - '0') * 10 + (text[10] - '0');
  const auto scaled = static_cast<Long>(frames * factor + 0.5);
  text[9] = static_cast<char>('0' + scaled / 10);
  text[10] = static_cast<char>('0' + scaled % 10);
}

void reinterpretAt(char* text, unsigned short from, ULong to) {
  const timecodeDesc_t desc = TCCreateDesc(0, from);
  timecode_t tc;
  TCStrToTC(&tc, text, 0, &desc);
  tc.desc.fps = to;
  TCToStr(tc, text, kTextLength + 1, 0);
}

void makeNonDrop(char* text) {
  const timecodeDesc_t desc = TCCreateDesc(1, 30);
  timecode_t tc;
  TCStrToTC(&tc, text, 0, &desc);
  TCChangeDrop(&tc, 0);
  TCToStr(tc, text, kTextLength + 1, 0);
}

bool hasFramesField(const char* text) { return strnlen(text, kTextLength) == kTextLength; }

}  // namespace

void TCcvtTo24(short mode, char* text, unsigned char flag) {
  if (!hasFramesField(text)) return;
  if (mode == kFilmSpeed) {
    if (flag && text[9] == '2' && text[10] == '4') {
      text[9] = text[10] = '0';
      ++text[7];  // no carry: a 9 becomes a colon, which the reader below takes for a separator
    }
    reinterpretAt(text, 25, 24);
  } else if (mode == kAs30 && text[8] == ';') {
    makeNonDrop(text);
    scaleFrames(text, 0.8f);
  } else if (mode == kAs25 || mode == kAs30) {
    if (check(text[8] == ':', "textbuf[8] == ':'")) scaleFrames(text, mode == kAs25 ? 0.96f : 0.8f);
  }
}

void TCcvtFrom24(short mode, char* text, unsigned char) {
  if (!hasFramesField(text)) return;
  constexpr float perFrame = 0.0416666679f;
  if (mode == kFilmSpeed) {
    reinterpretAt(text, 24, 25);
  } else if (mode == kAs25 || mode == kAs30) {
    if (check(text[8] == ':', "textbuf[8] == ':'")) scaleFrames(text, (mode == kAs25 ? 25.0 : 30.0) * perFrame);
  }
}
