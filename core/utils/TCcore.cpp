#include "core/utils/TCcore.h"

#include <array>
#include <cstring>
#include <iterator>

#include "core/error/Assert.h"
#include "core/math/CUtils.h"
#include "platform/Clock.h"

using namespace ky;

namespace {

constexpr ULong kDrop = 1;

timecodeDesc_t sDefaultDesc{0, 30, 0};
bool sTCLoops = false;
bool sTCLoopsIsSet = false;

const timecodeDesc_t& described(const timecodeDesc_t* desc) {
  return desc && (desc->fps & 0xFFFF) != 0 ? *desc : sDefaultDesc;
}

bool isDrop(const timecodeDesc_t& desc) { return desc.flags & kDrop; }

void setDrop(timecodeDesc_t& desc, bool drop) { desc.flags = drop ? desc.flags | kDrop : desc.flags & ~kDrop; }

/// Frames per unit. A drop-frame minute is the length of minutes 1 to 9 of each ten.
struct Units {
  Long second, minute, tenMinutes, hour, day;
};

constexpr Units kDropUnits{30, 1798, 17982, 107892, 2589408};

constexpr Units nonDropUnits(ULong fps) {
  const auto f = [fps](ULong seconds) { return static_cast<Long>(seconds * fps); };
  return {f(1), f(60), f(600), f(3600), f(86400)};
}

Units unitsOf(const timecodeDesc_t& desc) { return isDrop(desc) ? kDropUnits : nonDropUnits(desc.fps); }

struct Fields {
  Long days = 0, hours = 0, minutes = 0, seconds = 0, frames = 0;
};

inline Long counted(const Fields& f, const Units& u) {
  return f.days * u.day + f.hours * u.hour + f.minutes / 10 * u.tenMinutes + f.minutes % 10 * u.minute +
         f.seconds * u.second + f.frames;
}

/// The quotients do not wait for each other: each is taken from the whole count.
template <class Number>
inline Fields dropFields(Number n) {
  constexpr Number ten = kDropUnits.tenMinutes, minute = kDropUnits.minute, second = kDropUnits.second;
  const Number allTens = n / ten, allHours = n / (ten * 6), days = n / (ten * 144);
  n -= allTens * ten;
  const Number ones = (n == 0 || n == 1 ? 0 : n - 2) / minute;
  n -= ones * minute;
  const Number seconds = n / second;
  return {Long(days), Long(allHours - days * 24), Long((allTens - allHours * 6) * 10 + ones), Long(seconds),
          Long(n - seconds * second)};
}

template <class Number>
inline Fields nonDropFields(Number n, Number fps) {
  const Number allSeconds = fps == 30 ? n / 30 : n / fps;  // the usual rate divides by a constant
  const Number allMinutes = allSeconds / 60, allHours = allSeconds / 3600, days = allSeconds / 86400;
  return {Long(days), Long(allHours - days * 24), Long(allMinutes - allHours * 60), Long(allSeconds - allMinutes * 60),
          Long(n - allSeconds * fps)};
}

/// Counts that are known not to be negative are split as unsigned numbers, which is quicker.
template <class Number>
inline Fields fieldsOf(Number n, const timecodeDesc_t& desc, bool drop) {
  return drop ? dropFields(n) : nonDropFields(n, static_cast<Number>(desc.fps & 0xFFFF));
}

Fields fieldsOf(const timecode_t& tc) {
  const timecodeDesc_t& desc = described(&tc.desc);
  return fieldsOf(tc.frames, desc, isDrop(desc));
}

timecode_t constructed(const Fields& fields, timecodeDesc_t desc) {
  if (desc.fps != 30) setDrop(desc, false);
  return {desc, counted(fields, unitsOf(desc))};
}

/// `a` at the rate of `b`.
timecode_t atRateOf(timecode_t a, const timecode_t& b) {
  if (described(&a.desc).fps != described(&b.desc).fps) TCChangeFramesSec(&a, static_cast<unsigned short>(b.desc.fps));
  return a;
}

}  // namespace

timecodeDesc_t TCCreateDesc(unsigned char drop, unsigned short fps) { return {drop && fps == 30 ? kDrop : 0, fps, 0}; }

void TCSetDefaultFormat(unsigned short fps, unsigned char drop) {
  if (fps != 0) sDefaultDesc.fps = fps;
  setDrop(sDefaultDesc, drop);
}

timecode_t TCGetDefault(Long frames) { return {sDefaultDesc, frames}; }

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
    std::memmove(digits, digits + blanks, static_cast<std::size_t>(kTextLength - blanks + 1));
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

// Text in.

namespace {

/// The fields that a backward scan has met, and what the separators said about drop-frame.
class FieldScan {
 public:
  explicit FieldScan(timecodeDesc_t desc) : desc(desc) {}

  void digit(Long value) {
    if (met >= 10) return;
    const int field = met < 8 ? met / 2 : 4;
    values[field] += met % 2 ? value * 10 : value;
    ++met;
  }
  void separator(bool semicolon) {
    if (desc.fps != 30) return;
    if (semicolon) sawSemicolon = true;
    setDrop(desc, sawSemicolon);
  }

  Fields fields() const { return {values[4], values[3], values[2], values[1], values[0]}; }

  timecodeDesc_t desc;

 private:
  Long values[5] = {};  // frames first, days last
  int met = 0;
  bool sawSemicolon = false;
};

/// Returns:  the value of two digits, or above 99.
inline ULong pairIn(const char* text) {
  const auto tens = static_cast<unsigned char>(text[0] - '0');
  if (tens > 9) return 100;
  const auto ones = static_cast<unsigned char>(text[1] - '0');
  return ones > 9 ? 100 : tens * 10u + ones;
}

/// Returns:  0 for a colon, 1 for a semicolon, or above 1.
inline ULong separatorIn(char c) { return static_cast<unsigned char>(c - ':'); }

/// The usual form: four pairs of digits with `:` or `;` between them.
///
/// Returns:  false for anything else, which the backward scan then judges.
inline bool readUsualForm(const char* text, timecodeDesc_t& desc, Fields& fields) {
  const ULong hours = pairIn(text);
  if (hours > 99) return false;
  const ULong first = separatorIn(text[2]);
  if (first > 1) return false;
  const ULong minutes = pairIn(text + 3);
  if (minutes > 99) return false;
  const ULong second = separatorIn(text[5]);
  if (second > 1) return false;
  const ULong seconds = pairIn(text + 6);
  if (seconds > 99) return false;
  const ULong third = separatorIn(text[8]);
  if (third > 1) return false;
  const ULong frames = pairIn(text + 9);
  if (frames > 99 || text[11] != '\0') return false;
  if (desc.fps == 30) setDrop(desc, first | second | third);
  fields = {0, static_cast<Long>(hours), static_cast<Long>(minutes), static_cast<Long>(seconds),
            static_cast<Long>(frames)};
  return true;
}

}  // namespace

unsigned char TCStrToTC(timecode_t* out, const char* text, short flags, const timecodeDesc_t* desc) {
  const timecodeDesc_t& given = described(desc);
  timecodeDesc_t start{given.flags, given.fps, given.reserved};  // word by word: the compiler keeps it in registers
  if (flags & kTCNonDrop) setDrop(start, false);
  Fields usual;
  if (readUsualForm(text, start, usual)) {
    *out = constructed(usual, start);
    return 1;
  }

  const std::size_t length = std::strlen(text);
  *out = {start, flags & kTCEmptyForAbsent ? kTCAbsent : 0};
  if (length == 0) return 0;
  FieldScan scan(start);
  bool negative = false;
  for (const char* p = text + length; p > text && !negative;) {
    const char c = *--p;
    if (c >= '0' && c <= '9') {
      scan.digit(c - '0');
    } else if (c == ';' || c == ':') {
      scan.separator(c == ';');
    } else if (c == '-') {
      negative = true;
    } else if (c != ' ' && c != '.' && c != '+') {
      *out = {scan.desc, 0};
      return 0;
    }
  }
  *out = constructed(scan.fields(), scan.desc);
  if (negative) out->frames = -out->frames;
  return 1;
}

Long TCAdjustStr(char* text, char separator, char sign) {
  Long digits = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    if (*p >= '0' && *p <= '9') text[digits++] = *p;
  }
  const Long signs = sign == '-' || sign == '+' ? 1 : 0;
  const Long length = signs + digits + (digits > 0 ? (digits - 1) / 2 : 0);
  text[length] = '\0';
  Long to = length;
  for (Long done = 0; done < digits; ++done) {  // from the right, so that nothing is overwritten before it moved
    if (done > 0 && done % 2 == 0) text[--to] = separator;
    text[--to] = text[digits - 1 - done];
  }
  if (signs) text[0] = sign;
  return length;
}

// Phases.

namespace {

struct PhaseRow {
  ULong mask;
  std::array<char[4], 32> names;
};

constexpr PhaseRow kPhases[] = {
    {0, {}},
    {0x80000000, {}},
    {0xD8000000, {"A", "B", "X", "C", "D"}},
    {0xFFF7FF80, {"A1", "A2", "A3", "A4", "A5", "A6", "A7", "A8", "A9", "A10", "A11", "B", "X",
                  "C1", "C2", "C3", "C4", "C5", "C6", "C7", "C8", "C9", "C10", "C11", "D"}},
};

/// The last row waits for the equipment that counts so finely: no mask reaches it.
const PhaseRow* phaseRow(ULong mask) {
  for (const PhaseRow* row = kPhases; row < std::end(kPhases) - 1; ++row) {
    if (row->mask == mask) return row;
  }
  return nullptr;
}

bool beginsAlike(const char* a, const char* b) {
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    const char first[2] = {*a}, second[2] = {*b};
    if (CIstrcmp(first, second) != 0) return false;
  }
  return true;
}

}  // namespace

unsigned char TCStrToPhase(unsigned char* phase, const char* text, ULong mask) {
  *phase = 0;
  const PhaseRow* row = phaseRow(mask);
  if (!row) return 0;
  for (std::size_t i = 0; i < row->names.size() && row->names[i][0] != '\0'; ++i) {
    if (!beginsAlike(row->names[i], text)) continue;
    *phase = static_cast<unsigned char>(i);
    return 1;
  }
  return 0;
}

void TCPrintPhase(unsigned char phase, ULong mask, char* buf, Long len) {
  if (len < 1) return;
  buf[0] = '\0';
  const PhaseRow* row = phaseRow(mask);
  if (row && phase < row->names.size()) strncpyz(buf, row->names[phase], len);
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
