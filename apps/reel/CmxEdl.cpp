#include "apps/reel/CmxEdl.h"

#include <algorithm>

#include "apps/reel/CmxWords.h"
#include "apps/support/Progress.h"

namespace reel {
namespace {

std::string quoted(std::string_view text) {
  constexpr std::size_t kShown = 60;
  return '"' + edlLine(text.substr(0, kShown)) + (text.size() > kShown ? "...\"" : "\"");
}

/// Lines by any of the three ends, numbered from 1.
class Lines {
 public:
  explicit Lines(std::string_view text) : rest(text), begin(text.data()) {
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

  Int64 passed() const { return rest.data() - begin; }

  std::string_view line;
  Long number = 0;

 private:
  std::string_view rest;
  const char* const begin;
};

/// By the mark at its head.
bool isUtf16(std::string_view text) { return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"); }

enum class Mode { kNone, kNonDrop, kDrop };

/// DROP or NON-DROP, with or without FRAME, hyphens and blanks as they come.
Mode frameCodeMode(std::string_view line) {
  if (!takeWord(line, "FCM:")) return Mode::kNone;
  std::string mode = uppered(line);
  std::replace(mode.begin(), mode.end(), '-', ' ');
  std::vector<std::string_view> words = wordsOf(mode);
  if (!words.empty() && words.back() == "FRAME") words.pop_back();
  const bool isNon = !words.empty() && words.front() == "NON";
  if (words.size() != (isNon ? 2 : 1) || words.back() != "DROP") return Mode::kNone;
  return isNon ? Mode::kNonDrop : Mode::kDrop;
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

constexpr const char* kNumberExpected = "an event number of 3 to 6 digits";

std::string two(Long value) { return (value < 10 ? "0" : "") + std::to_string(value); }

class Reader {
 public:
  Reader(std::string_view text, const EdlReadOptions& options, const KeptLine& kept)
      : size(static_cast<Int64>(text.size())), isRateTold(options.fps != 0), lines(text), tell(kept) {
    list.fps = options.fps ? options.fps : rateOf(text);
    desc = TCCreateDesc(0, list.fps);
  }

  EdlText read() {
    while (lines.next()) {
      expectLength(lines.line.size());
      support::showStep("Reading the edit list", lines.number, lines.passed(), size);
      if (lines.number == 1 && isUtf16(lines.line))
        refuse("this text is in UTF-16; one in ASCII, UTF-8 or another code of single bytes was expected");
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
    if (std::count_if(words.begin(), words.end(), hasTimecodeShape) >= 4) refuseEvent(words[0], kNumberExpected);
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
    if (sawTitle || !takeWord(line, kTitleWord)) return false;
    expectLength(kTitleWord.size() + 1 + line.size());
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
    if (event.number.size() < 3 || event.number.size() > 6) refuseEvent(word(), kNumberExpected);
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
    const auto limit = [&](Long value, Long end, const char* name, const char* hint = "") {
      if (value < end) return;
      refuse("the timecode " + quoted(word) + " does not exist at " + std::to_string(list.fps) +
             " frames per second: " + name + " from 00 to " + two(end - 1) + " were expected" + hint);
    };
    limit(hours, 24, "hours");
    limit(minutes, 60, "minutes");
    limit(seconds, 60, "seconds");
    limit(frames, list.fps, "frames", isRateTold ? "" : " (--fps tells another rate)");
    if (counted.flags && minutes % 10 != 0 && seconds == 0 && frames < 2)
      refuse("the timecode " + quoted(word) +
             " does not exist in drop-frame, which leaves out frames 00 and 01 of this minute: frames from 02 were "
             "expected");
    return TCConstruct(0, hours, minutes, seconds, frames, &counted);
  }

  const Int64 size;
  const bool isRateTold;
  Lines lines;
  const KeptLine& tell;
  EdlText list;
  timecodeDesc_t desc;
  bool sawTitle = false;
};

}  // namespace

EdlText readEdl(std::string_view text, const EdlReadOptions& options, const KeptLine& kept) {
  return Reader(text, options, kept).read();
}

}  // namespace reel
