// Timecode: a frame count with the rate and the way in which it is counted.
//
//   timecodeDesc_t ntsc = TCCreateDesc(true, 30);
//   timecode_t in;
//   TCStrToTC(&in, "01:00:00;02", 0, &ntsc);
//   char text[16];
//   TCToStr(TCAdd(in, 30), text, sizeof(text), 0);   // "01;00;01;02"
//
// Threads: the default description and the loop flag are plain statics; a host sets them at start-up.
// Source:  drop-frame counting as in SMPTE ST 12-1, but for labels that it skips, which are counted through.
#pragma once

#include "core/base/KyTypes.h"

/// How frames are counted. A null description, or one of 0 frames per second, stands for the default.
struct timecodeDesc_t {
  ULong flags = 0;  // bit 0: drop-frame, which holds at 30 frames per second only
  ULong fps = 0;    // the low 16 bits
  ULong reserved = 0;
};

struct timecode_t {
  timecodeDesc_t desc;
  Long frames = 0;
};

static_assert(sizeof(timecode_t) == 16, "timecodes travel as 16-byte records");

/// The count of an absent timecode.
inline constexpr Long kTCAbsent = INT32_MIN;

/// For TCToStr and, as far as said there, TCStrToTC.
enum TCTextFlags : short {
  kTCSign = 0x01,           // starts with "+" or "-"
  kTCBlankSign = 0x02,      // starts with " " or "-"
  kTCBlankZeros = 0x04,     // leading zero pairs become blanks, the sign moves up against the first digit
  kTCNonDrop = 0x08,        // as non-drop, whatever the value says
  kTCEmptyForZero = 0x10,   // a count of 0 gives an empty text
  kTCTrimZeros = 0x20,      // leading zero pairs are removed
  kTCEmptyForAbsent = 0x40  // the absent timecode gives, and is given by, an empty text
};

/// Drop holds only when `fps` is 30.
KY_API timecodeDesc_t TCCreateDesc(unsigned char drop, unsigned short fps);

/// The default starts as 30 frames per second, non-drop; an `fps` of 0 keeps the rate.
KY_API void TCSetDefaultFormat(unsigned short fps, unsigned char drop);
KY_API timecode_t TCGetDefault(Long frames);

/// The count that the fields stand for. No field is tested: a label that drop-frame skips is counted through, so
/// 00:01:00;00 is 1798 frames and shows as 00:00:59;28.
KY_API timecode_t TCConstruct(short days, short hours, short minutes, short seconds, short frames,
                              const timecodeDesc_t* desc);

/// The fields of a count; any pointer may be null. A negative count gives fields truncated towards zero: take the
/// absolute value before showing it.
KY_API void TCDeconstruct(timecode_t tc, short* days, short* hours, short* minutes, short* seconds, short* frames);

/// Five days.
KY_API Long TCGetMaxDuration(const timecodeDesc_t* desc);
/// One frame below five days.
KY_API timecode_t TCGetMaxTC(const timecodeDesc_t* desc);
KY_API unsigned char TCIsMaxTC(timecode_t tc);

/// Same rate and flags.
KY_API unsigned char TCDescEqual(timecodeDesc_t a, timecodeDesc_t b);
/// Same description and count; the same instant at another rate is not equal.
KY_API unsigned char TCEqual(timecode_t a, timecode_t b);

KY_API timecode_t TCAdd(timecode_t tc, Long frames);
/// Wraps at midnight; exactly one day stays, so 24:00:00:00 is a possible result.
KY_API timecode_t TCAddModDay(timecode_t tc, Long frames);

/// `b` minus `a`, at the rate of `b`; as TCDiffModDay when the loop flag is set.
///
/// Requires: "sTCLoopsIsSet".
KY_API Long TCDiff(timecode_t a, timecode_t b);
/// `b` minus `a`, or the nearest way around midnight when `a` is the later one.
KY_API Long TCDiffModDay(timecode_t a, timecode_t b);
/// `b` minus `a`, always forward: over midnight when `a` is the later one.
KY_API Long TCDiffModDayForward(timecode_t a, timecode_t b);

/// Writes the fields, separated by `;` in drop-frame, else by `:`. Days are not shown.
///
/// Requires: "buf != NULL"; room for 13 characters, whatever `bufLen` says.
/// Returns:  `buf`.
KY_API char* TCToStr(timecode_t tc, char* buf, Long bufLen, short flags);

/// Reads a text from its end backwards, so that missing fields are the leading ones: `12345` is 00:01:23:45. At rate 30
/// a `;` anywhere makes it drop-frame, and a `:` in a text without `;` makes it non-drop. No field is tested for its
/// range.
///
/// Returns:  false for any strange character, with count 0, and for an empty text, with count 0 or, for
///           kTCEmptyForAbsent, absent.
KY_API unsigned char TCStrToTC(timecode_t* out, const char* text, short flags, const timecodeDesc_t* desc);

/// Rewrites a text in place as its digits in pairs from the right, after `sign` when that is `+` or `-`: `12345`
/// becomes `1:23:45`. The text grows; the caller provides the room.
///
/// Returns:  the new length.
KY_API Long TCAdjustStr(char* text, char separator, char sign);

/// The time of day, frames 0.
KY_API timecode_t TCCreateTOD(const timecodeDesc_t* desc);
KY_API timecode_t TCCreateDur(Long frames, const timecodeDesc_t* desc);

/// Keep the displayed fields, not the instant.
KY_API void TCChangeDrop(timecode_t* tc, unsigned char drop);
KY_API void TCChangeFramesSec(timecode_t* tc, unsigned short fps);
/// Keeps the instant: the frames field is scaled to the new rate.
KY_API void TCConvertFPS(timecode_t* tc, unsigned short fps);

/// Whether TCDiff goes around midnight; a host says so once.
///
/// Requires: "!sTCLoopsIsSet".
KY_API void TCSetLoop(unsigned char loop);
/// Requires: "sTCLoopsIsSet".
KY_API unsigned char TCGetLoop();

/// Names of pulldown phases. `mask` selects the row of names: 0xD8000000 is A, B, X, C, D.
///
/// TCStrToPhase takes the first name that begins with the text, ignoring case.
KY_API unsigned char TCStrToPhase(unsigned char* phase, const char* text, ULong mask);
KY_API void TCPrintPhase(unsigned char phase, ULong mask, char* buf, Long len);

/// Rewrites the frames of a text hh:mm:ss:ff in place, from or to 24 frames per second. `mode` is 2 for 25 frames, 4
/// for 30 frames, 3 for film that runs at 25; other modes, and texts shorter than 11 characters, are left alone.
///
/// Requires: "textbuf[8] == ':'" in modes 2 and 4, but for TCcvtTo24 from drop-frame text in mode 4.
KY_API void TCcvtTo24(short mode, char* text, unsigned char flag);
KY_API void TCcvtFrom24(short mode, char* text, unsigned char flag);
