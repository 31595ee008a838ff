// How a frame count falls into hours, minutes, seconds and frames.
#pragma once

#include "core/utils/TCcore.h"

namespace ky {

constexpr ULong kDrop = 1;

/// What an absent description stands for.
extern timecodeDesc_t defaultTimecodeDesc;

inline const timecodeDesc_t& described(const timecodeDesc_t* desc) {
  return desc && (desc->fps & 0xFFFF) != 0 ? *desc : defaultTimecodeDesc;
}

inline bool isDrop(const timecodeDesc_t& desc) { return desc.flags & kDrop; }

inline void setDrop(timecodeDesc_t& desc, bool drop) { desc.flags = drop ? desc.flags | kDrop : desc.flags & ~kDrop; }

/// Frames per unit. A drop-frame minute is the length of minutes 1 to 9 of each ten.
struct Units {
  Long second, minute, tenMinutes, hour, day;
};

constexpr Units kDropUnits{30, 1798, 17982, 107892, 2589408};

constexpr Units nonDropUnits(ULong fps) {
  const auto f = [fps](ULong seconds) { return static_cast<Long>(seconds * fps); };
  return {f(1), f(60), f(600), f(3600), f(86400)};
}

inline Units unitsOf(const timecodeDesc_t& desc) { return isDrop(desc) ? kDropUnits : nonDropUnits(desc.fps); }

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

inline Fields fieldsOf(const timecode_t& tc) {
  const timecodeDesc_t& desc = described(&tc.desc);
  return fieldsOf(tc.frames, desc, isDrop(desc));
}

inline timecode_t constructed(const Fields& fields, timecodeDesc_t desc) {
  if (desc.fps != 30) setDrop(desc, false);
  return {desc, counted(fields, unitsOf(desc))};
}

}  // namespace ky
