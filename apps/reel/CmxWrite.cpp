// Writing edit lists, and what can be told of one.
#include <algorithm>
#include <cstdlib>

#include "apps/reel/CmxEdl.h"
#include "apps/reel/CmxWords.h"
#include "apps/support/Progress.h"

namespace reel {
namespace {

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

std::string framesText(Long frames) {
  const std::string digits = std::to_string(frames);
  return digits.size() < 3 ? std::string(3 - digits.size(), '0') + digits : digits;
}

/// The decimals of a ratio whose denominator divides 10,000: 024.0, -012.5.
std::string speedText(const Rational& fps) {
  const Int64 scaled = std::abs(Int64{fps.GetNum()}) * 10000 / fps.GetDen();
  std::string decimals = std::to_string(10000 + scaled % 10000).substr(1);
  while (decimals.size() > 1 && decimals.back() == '0') decimals.pop_back();
  return (fps.GetNum() < 0 ? "-" : "") + framesText(static_cast<Long>(scaled / 10000)) + "." + decimals;
}

std::string modeLine(bool drop) { return drop ? "FCM: DROP FRAME\n" : "FCM: NON-DROP FRAME\n"; }

std::string transitionText(const EdlEvent& event) {
  const std::string& kind = event.transition;
  const std::string name = kind == "KB" || kind == "KO" ? "K " + kind.substr(1) : kind;
  const bool frames = kind == "D" || kind[0] == 'W' || event.transitionFrames != 0;
  return padded(name, 4) + " " + (frames ? framesText(event.transitionFrames) : std::string(3, ' '));
}

std::string eventLine(const EdlEvent& event) {
  std::string line = padded(event.number, 4) + " " + padded(event.reel, 8) + " " + padded(event.track, 5) + " " +
                     transitionText(event);
  for (const timecode_t& tc : {event.sourceIn, event.sourceOut, event.recordIn, event.recordOut})
    line += " " + timecodeText(tc);
  return line + "\n";
}

bool isWholeLine(const std::string& text) { return text.size() <= kLongestLine && edlLine(text) == text; }

/// A comment of a list: a line with its asterisk, or an audio line.
bool isComment(const std::string& line) {
  return isWholeLine(line) && (line.starts_with('*') || isAudioLine(wordsOf(line)));
}

bool isReel(const std::string& text) {
  return text.size() <= kLongestReel && isWholeLine(text) && wordsOf(text).size() == 1;
}

bool isSoundTime(timecode_t tc, const timecodeDesc_t& desc) {
  return TCDescEqual(tc.desc, desc) && tc.frames >= 0 && tc.frames < TCConstruct(1, 0, 0, 0, 0, &desc).frames;
}

bool isSoundSpeed(const EdlSpeed& speed) {
  const Long den = speed.fps.GetDen();
  return isReel(speed.reel) && den > 0 && 10000 % den == 0 && std::abs(Int64{speed.fps.GetNum()}) / den < 100000;
}

bool isSoundEvent(const EdlEvent& event, unsigned short fps) {
  const timecodeDesc_t desc = TCCreateDesc(static_cast<unsigned char>(event.recordIn.desc.flags & 1), fps);
  for (const timecode_t& tc : {event.sourceIn, event.sourceOut, event.recordIn, event.recordOut}) {
    if (!isSoundTime(tc, desc)) return false;
  }
  const std::string& number = event.number;
  return isDigits(number) && number.size() >= 3 && number.size() <= 6 && isReel(event.reel) && isTrack(event.track) &&
         isTransition(event.transition) && event.transitionFrames >= 0 && event.transitionFrames <= 9999 &&
         isWholeLine(event.clipName) && isWholeLine(event.toClipName) &&
         (!event.speed || (isSoundSpeed(*event.speed) && isSoundTime(event.speed->at, desc))) &&
         std::all_of(event.comments.begin(), event.comments.end(), isComment);
}

}  // namespace

std::string writeEdl(const EdlText& list) {
  std::string text;
  if (!list.title.empty()) text += std::string(kTitleWord) + " " + list.title + "\n";
  text += modeLine(list.drop);
  const bool anyDrop = list.drop || std::any_of(list.events.begin(), list.events.end(),
                                                [](const EdlEvent& e) { return e.recordIn.desc.flags != 0; });
  if (list.fps != (anyDrop ? 30 : 24)) text += "* " + std::string(kRateComment) + " " + std::to_string(list.fps) + "\n";
  for (const std::string& comment : list.comments) text += comment + "\n";
  bool drop = list.drop;
  for (const EdlEvent& event : list.events) {
    const Int64 done = &event - list.events.data();
    support::showStep("Writing the edit list", done, done, static_cast<Int64>(list.events.size()));
    if (const bool own = event.recordIn.desc.flags != 0; own != drop) text += modeLine(drop = own);
    text += eventLine(event);
    if (event.speed)
      text += "M2   " + padded(event.speed->reel, 8) + " " + padded(speedText(event.speed->fps), 10) + " " +
              timecodeText(event.speed->at) + "\n";
    for (const std::string& comment : event.comments) text += comment + "\n";
  }
  return text;
}

std::string timecodeText(timecode_t tc) {
  char text[16];
  TCToStr(tc, text, sizeof(text), 0);
  text[2] = text[5] = ':';
  return text;
}

bool isEdlRate(Long fps) { return std::find(std::begin(kEdlRates), std::end(kEdlRates), fps) != std::end(kEdlRates); }

bool isSound(const EdlText& list) {
  if (!isEdlRate(list.fps) || (list.drop && list.fps != 30)) return false;
  if (!isWholeLine(list.title) || list.title.size() > kLongestTitle) return false;
  const auto isHeadComment = [](const std::string& line) { return isComment(line) && !rateInLine(line); };
  return std::all_of(list.comments.begin(), list.comments.end(), isHeadComment) &&
         std::all_of(list.events.begin(), list.events.end(),
                     [&](const EdlEvent& e) { return isSoundEvent(e, list.fps); });
}

Long eventDuration(const EdlEvent& event) { return TCDiffModDayForward(event.recordIn, event.recordOut); }

Long listDuration(const EdlText& list) {
  struct Stretch {
    Long in, out;
  };
  std::vector<Stretch> stretches;
  for (const EdlEvent& event : list.events) {
    timecode_t in = event.recordIn;
    TCChangeDrop(&in, list.drop);
    stretches.push_back({in.frames, in.frames + eventDuration(event)});
  }
  if (stretches.empty()) return 0;
  std::sort(stretches.begin(), stretches.end(), [](const Stretch& a, const Stretch& b) { return a.in < b.in; });

  const timecodeDesc_t desc = TCCreateDesc(list.drop, list.fps);
  const Long day = TCConstruct(1, 0, 0, 0, 0, &desc).frames;
  Long last = 0;
  for (const Stretch& s : stretches) last = std::max(last, s.out);
  Long reached = last - day;  // the way around the circle: what runs over midnight covers its start
  Long widestGap = 0;
  for (const Stretch& s : stretches) {
    widestGap = std::max(widestGap, s.in - reached);
    reached = std::max(reached, s.out);
  }
  return day - widestGap;
}

}  // namespace reel
