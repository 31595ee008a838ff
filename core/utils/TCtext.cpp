// Timecode from text, and the names of pulldown phases.
#include <array>
#include <cstring>
#include <iterator>

#include "core/math/CUtils.h"
#include "core/utils/TCfields.h"

using namespace ky;

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
