#include "apps/reel/CmxEdl.h"

#include <algorithm>
#include <cstdlib>

#include "core/math/CUtils.h"

namespace reel {
namespace {

constexpr std::size_t kLongestLine = 4096;
constexpr std::size_t kLongestReel = 255;
constexpr std::string_view kRateComment = "FRAME RATE:";

bool isDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// The value of up to nine digits.
Long valueOf(std::string_view digits) {
  Long value = 0;
  for (const char c : digits) value = value * 10 + (c - '0');
  return value;
}

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string uppered(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), upper);
  return out;
}

bool isBlank(char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

/// Takes `word` off the front of `text`, whatever its case.
bool takeWord(std::string_view& text, std::string_view word) {
  if (text.size() < word.size() || uppered(text.substr(0, word.size())) != word) return false;
  text = trimmed(text.substr(word.size()));
  return true;
}

std::string quoted(std::string_view text) {
  constexpr std::size_t kShown = 60;
  return '"' + edlLine(text.substr(0, kShown)) + (text.size() > kShown ? "...\"" : "\"");
}

std::vector<std::string_view> wordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  while (!(line = trimmed(line)).empty()) {
    const auto end = std::find_if(line.begin(), line.end(), isBlank) - line.begin();
    words.push_back(line.substr(0, static_cast<std::size_t>(end)));
    line.remove_prefix(static_cast<std::size_t>(end));
  }
  return words;
}

/// Lines by any of the three ends, numbered from 1.
class Lines {
 public:
  explicit Lines(std::string_view text) : rest(text) {
    if (rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);
  }

  bool next() {
    if (rest.empty()) return false;
    const std::size_t end = std::min(rest.find_first_of("\r\n"), rest.size());
    line = rest.substr(0, end);
    rest.remove_prefix(end);
    if (!rest.empty()) rest.remove_prefix(rest.starts_with("\r\n") ? 2 : 1);
    ++number;
    return true;
  }

  std::string_view line;
  Long number = 0;

 private:
  std::string_view rest;
};

enum class Mode { kNone, kNonDrop, kDrop };

Mode frameCodeMode(std::string_view line) {
  if (!takeWord(line, "FCM:")) return Mode::kNone;
  const std::string mode = uppered(line);
  if (mode == "DROP FRAME" || mode == "DROP-FRAME") return Mode::kDrop;
  if (mode == "NON-DROP FRAME" || mode == "NON DROP FRAME" || mode == "NON-DROP-FRAME") return Mode::kNonDrop;
  return Mode::kNone;
}

bool hasTimecodeShape(std::string_view word) {
  if (word.size() != 11) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    const bool separator = i % 3 == 2;
    if (separator ? word[i] != ':' && word[i] != ';' : word[i] < '0' || word[i] > '9') return false;
  }
  return true;
}

/// A first word of digits is an event number, unless it is too short or too long for one and no timecode follows.
bool isEventLine(const std::vector<std::string_view>& words) {
  if (words.empty() || !isDigits(words[0])) return false;
  if (words[0].size() >= 3 && words[0].size() <= 6) return true;
  return std::any_of(words.begin(), words.end(), hasTimecodeShape);
}

/// The rate that a line names, with or without an asterisk; 0 if it is another line or another rate.
unsigned short rateInLine(std::string_view line) {
  line = trimmed(line);
  if (line.starts_with('*')) line = trimmed(line.substr(1));
  if (!takeWord(line, kRateComment) || !isDigits(line) || line.size() > 3) return 0;
  const Long fps = valueOf(line);
  return isEdlRate(fps) ? static_cast<unsigned short>(fps) : 0;
}

/// What the list itself says of its rate.
unsigned short rateOf(std::string_view text) {
  bool sawEvent = false, sawDrop = false;
  for (Lines lines(text); lines.next();) {
    if (!sawEvent) {
      if (const unsigned short rate = rateInLine(lines.line)) return rate;
      sawEvent = isEventLine(wordsOf(lines.line.substr(0, kLongestLine)));
    }
    sawDrop |= frameCodeMode(trimmed(lines.line)) == Mode::kDrop;
  }
  return sawDrop ? 30 : 24;
}

/// V, A, A2, AA, B, NONE, and several of them with slashes between.
bool isTrack(std::string_view track) {
  for (;;) {
    const std::size_t slash = std::min(track.find('/'), track.size());
    const std::string part = uppered(track.substr(0, slash));
    const std::string_view digits = std::string_view(part).substr(part.empty() ? 0 : 1);
    const bool numbered = !part.empty() && (part[0] == 'V' || part[0] == 'A') &&
                          (digits.empty() || (isDigits(digits) && digits.size() <= 2));
    if (!numbered && part != "AA" && part != "B" && part != "NONE") return false;
    if (slash == track.size()) return true;
    track.remove_prefix(slash + 1);
  }
}

bool isWipe(std::string_view kind) {
  return kind.size() > 1 && kind.size() <= 4 && kind[0] == 'W' && isDigits(kind.substr(1));
}

bool isTransition(const std::string& kind) {
  return kind == "C" || kind == "D" || isWipe(kind) || kind == "K" || kind == "KB" || kind == "KO";
}

/// The line that sends the event's sound to further channels.
bool isAudioLine(const std::vector<std::string_view>& words) {
  return words.size() > 1 && uppered(words[0]) == "AUD" &&
         std::all_of(words.begin() + 1, words.end(), [](std::string_view w) { return isDigits(w) && w.size() <= 2; });
}

/// Sign, up to five digits, and up to four behind a point: what a ratio holds exactly.
std::optional<Rational> speedIn(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  const std::size_t point = std::min(text.find('.'), text.size());
  const std::string_view whole = text.substr(0, point);
  const std::string_view fraction = point < text.size() ? text.substr(point + 1) : std::string_view();
  if (!isDigits(whole) || whole.size() > 5 || fraction.size() > 4) return {};
  if (point < text.size() && !isDigits(fraction)) return {};
  Long scale = 1;
  for (std::size_t i = 0; i < fraction.size(); ++i) scale *= 10;
  const Long value = valueOf(whole) * scale + valueOf(fraction);
  return Rational(negative ? -value : value, scale);
}

std::string two(Long value) { return (value < 10 ? "0" : "") + std::to_string(value); }

class Reader {
 public:
  Reader(std::string_view text, const EdlReadOptions& options, const KeptLine& kept) : lines(text), tell(kept) {
    list.fps = options.fps ? options.fps : rateOf(text);
    desc = TCCreateDesc(0, list.fps);
  }

  EdlText read() {
    while (lines.next()) {
      expectLength(lines.line.size());
      const std::string line = edlLine(lines.line);
      if (!line.empty()) take(line);
    }
    if (list.events.empty()) {
      lines.number = std::max(lines.number, Long{1});
      refuse("the list ends here without an event; at least one event line was expected");
    }
    return std::move(list);
  }

 private:
  [[noreturn]] void refuse(const std::string& words) const { throw UnreadableEdl(lines.number, words); }

  [[noreturn]] void refuseEvent(std::string_view read, const std::string& expected) const {
    refuse("this event line cannot be read: " + (read.empty() ? std::string("it ends") : quoted(read)) + " where " +
           expected + " was expected");
  }

  void expectLength(std::size_t length) const {
    if (length > kLongestLine)
      refuse("a line of " + std::to_string(length) + " characters; at most " + std::to_string(kLongestLine) +
             " were expected");
  }

  void take(const std::string& line) {
    if (list.events.empty() && rateInLine(line)) return;  // taken into account before
    if (line[0] == '*') return takeComment(line);
    const auto words = wordsOf(line);
    if (isEventLine(words)) return takeEvent(words);
    if (takeTitle(line) || takeMode(line) || takeSpeed(words)) return;
    if (isAudioLine(words)) return comments().push_back(line);
    keep(line);
  }

  std::vector<std::string>& comments() { return list.events.empty() ? list.comments : list.events.back().comments; }

  void keep(const std::string& line) {
    expectLength(line.size() + 2);
    comments().push_back("* " + line);
    if (tell) tell(lines.number, line);
  }

  void takeComment(const std::string& line) {
    comments().push_back(line);
    if (list.events.empty()) return;
    EdlEvent& event = list.events.back();
    std::string_view words = trimmed(std::string_view(line).substr(1));
    if (takeWord(words, "FROM CLIP NAME:")) {
      if (event.clipName.empty()) event.clipName = words;
    } else if (takeWord(words, "TO CLIP NAME:")) {
      if (event.toClipName.empty()) event.toClipName = words;
    }
  }

  bool takeTitle(std::string_view line) {
    if (sawTitle || !takeWord(line, "TITLE:")) return false;
    list.title = line;
    return sawTitle = true;
  }

  bool takeMode(std::string_view line) {
    const Mode mode = frameCodeMode(line);
    if (mode == Mode::kNone) return false;
    if (mode == Mode::kDrop && list.fps != 30)
      refuse("drop-frame at " + std::to_string(list.fps) +
             " frames per second: drop-frame counting exists at 30 only, so 30 was expected");
    desc = TCCreateDesc(mode == Mode::kDrop, list.fps);
    if (list.events.empty()) list.drop = mode == Mode::kDrop;
    return true;
  }

  bool takeSpeed(const std::vector<std::string_view>& words) {
    if (words.size() != 4 || uppered(words[0]) != "M2" || !hasTimecodeShape(words[3])) return false;
    const auto fps = speedIn(words[2]);
    EdlEvent* event = eventOfSpeed(words[1]);
    if (!fps || !event || words[1].size() > kLongestReel) return false;
    event->speed = EdlSpeed{std::string(words[1]), *fps, timecode(words[3], event->recordIn.desc)};
    return true;
  }

  /// Behind a transition the speed lines tell by their reel which of the two lines they belong to.
  EdlEvent* eventOfSpeed(std::string_view ofReel) {
    if (list.events.empty()) return nullptr;
    EdlEvent* const last = &list.events.back();
    EdlEvent* const before = list.events.size() > 1 && (last - 1)->number == last->number ? last - 1 : nullptr;
    const bool isBefore = before && !before->speed && before->reel == ofReel;
    if (isBefore && (last->reel != ofReel || last->speed)) return before;
    return last->speed ? nullptr : last;
  }

  void takeEvent(const std::vector<std::string_view>& words) {
    std::size_t at = 0;
    const auto word = [&] { return at < words.size() ? words[at] : std::string_view(); };
    EdlEvent event;
    event.number = word();
    if (event.number.size() < 3 || event.number.size() > 6) refuseEvent(word(), "an event number of 3 to 6 digits");
    ++at;
    event.reel = word();
    if (event.reel.empty() || event.reel.size() > kLongestReel) refuseEvent(word(), "a reel of at most 255 characters");
    ++at;
    event.track = word();
    if (!isTrack(event.track)) refuseEvent(word(), "a track (V, A, A2, AA, AA/V, NONE, B)");
    ++at;
    takeTransition(event, words, at);
    for (timecode_t* tc : {&event.sourceIn, &event.sourceOut, &event.recordIn, &event.recordOut}) {
      if (!hasTimecodeShape(word())) refuseEvent(word(), "a timecode HH:MM:SS:FF");
      *tc = timecode(word(), desc);
      ++at;
    }
    if (at < words.size()) refuseEvent(word(), "the end of the line, behind four timecodes,");
    expectPair(event);
    list.events.push_back(std::move(event));
  }

  void takeTransition(EdlEvent& event, const std::vector<std::string_view>& words, std::size_t& at) {
    const std::string_view written = at < words.size() ? words[at] : std::string_view();
    std::string kind = uppered(written);
    if (!isTransition(kind)) refuseEvent(written, "a transition (C, D nnn, Wnnn nnn, K, K B, K O)");
    ++at;
    if (kind == "K" && at < words.size() && (uppered(words[at]) == "B" || uppered(words[at]) == "O"))
      kind += uppered(words[at++]);
    event.transition = kind;

    const std::string_view frames = at < words.size() ? words[at] : std::string_view();
    const bool hasFrames = isDigits(frames) && frames.size() <= 4;
    if (kind != "C" && hasFrames) {
      event.transitionFrames = valueOf(frames);
      ++at;
    } else if (kind == "D" || isWipe(kind)) {
      refuseEvent(frames, "the length of the transition in frames");
    }
  }

  /// A dissolve, a wipe and a key over a background end a pair of lines; both bear one number.
  void expectPair(const EdlEvent& event) const {
    const bool needsFirst = event.transition == "D" || event.transition[0] == 'W';
    const EdlEvent* before = list.events.empty() ? nullptr : &list.events.back();
    const bool keyed = before && before->transition == "KB" && event.transition != "KB";
    if (!needsFirst && !keyed) return;
    if (!before)
      refuse("a transition needs two lines: read " + quoted(event.transition) +
             " in the first event line, expected the line that it starts from ahead of it");
    if (before->number != event.number)
      refuse("the two lines of a transition bear different event numbers: read " + quoted(event.number) +
             ", expected " + quoted(before->number) + " as in the line before");
  }

  timecode_t timecode(std::string_view word, const timecodeDesc_t& counted) const {
    const auto pair = [&](std::size_t at) { return static_cast<short>(valueOf(word.substr(at, 2))); };
    const short hours = pair(0), minutes = pair(3), seconds = pair(6), frames = pair(9);
    const auto limit = [&](Long value, Long end, const char* name) {
      if (value < end) return;
      refuse("the timecode " + quoted(word) + " does not exist at " + std::to_string(list.fps) +
             " frames per second: " + name + " from 00 to " + two(end - 1) + " were expected");
    };
    limit(hours, 24, "hours");
    limit(minutes, 60, "minutes");
    limit(seconds, 60, "seconds");
    limit(frames, list.fps, "frames");
    if (counted.flags && minutes % 10 != 0 && seconds == 0 && frames < 2)
      refuse("the timecode " + quoted(word) +
             " does not exist in drop-frame, which leaves out frames 00 and 01 of this minute: frames from 02 were "
             "expected");
    return TCConstruct(0, hours, minutes, seconds, frames, &counted);
  }

  Lines lines;
  const KeptLine& tell;
  EdlText list;
  timecodeDesc_t desc;
  bool sawTitle = false;
};

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

bool isEdlRate(Long fps) { return std::find(std::begin(kEdlRates), std::end(kEdlRates), fps) != std::end(kEdlRates); }

EdlText readEdl(std::string_view text, const EdlReadOptions& options, const KeptLine& kept) {
  return Reader(text, options, kept).read();
}

std::string writeEdl(const EdlText& list) {
  std::string text;
  if (!list.title.empty()) text += "TITLE: " + list.title + "\n";
  text += modeLine(list.drop);
  const bool anyDrop = list.drop || std::any_of(list.events.begin(), list.events.end(),
                                                [](const EdlEvent& e) { return e.recordIn.desc.flags != 0; });
  if (list.fps != (anyDrop ? 30 : 24)) text += "* " + std::string(kRateComment) + " " + std::to_string(list.fps) + "\n";
  for (const std::string& comment : list.comments) text += comment + "\n";
  bool drop = list.drop;
  for (const EdlEvent& event : list.events) {
    if (const bool own = event.recordIn.desc.flags != 0; own != drop) text += modeLine(drop = own);
    text += eventLine(event);
    if (event.speed)
      text += "M2   " + padded(event.speed->reel, 8) + " " + padded(speedText(event.speed->fps), 10) + " " +
              timecodeText(event.speed->at) + "\n";
    for (const std::string& comment : event.comments) text += comment + "\n";
  }
  return text;
}

std::string edlLine(std::string_view text) {
  std::string line(trimmed(text));
  std::replace_if(line.begin(), line.end(), isBlank, ' ');
  return line;
}

std::string timecodeText(timecode_t tc) {
  char text[16];
  TCToStr(tc, text, sizeof(text), 0);
  text[2] = text[5] = ':';
  return text;
}

bool isSound(const EdlText& list) {
  if (!isEdlRate(list.fps) || (list.drop && list.fps != 30) || !isWholeLine(list.title)) return false;
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
