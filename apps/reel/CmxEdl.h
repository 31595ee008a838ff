// CMX3600 edit lists as text: reading them into plain records, and writing records back.
//
//   EdlText cut = readEdl(text, {}, [](Long line, const std::string& kept) { ... });
//   std::string again = writeEdl(cut);
//
// The frame code mode decides how labels are counted, whatever separators they are written with. A mode line in the
// middle of a list counts for the event lines behind it, in source and record alike; each event keeps its own, and the
// list has the one that its first event line stands under.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/math/Rational.h"
#include "core/utils/TCcore.h"

namespace reel {

/// The speed line of an event.
struct EdlSpeed {
  std::string reel;
  Rational fps;  // frames per second; 0 is a freeze, below 0 runs backwards
  timecode_t at;
};

/// One event line and what belongs to it. Empty texts are absent.
struct EdlEvent {
  std::string number;  // as written
  std::string reel;
  std::string track;
  std::string transition;  // C, D, W and a pattern number, K, KB (the background of a key) or KO (key out)
  Long transitionFrames = 0;
  timecode_t sourceIn, sourceOut, recordIn, recordOut;
  std::optional<EdlSpeed> speed;
  std::string clipName, toClipName;
  std::vector<std::string> comments;  // lines as written, in order; the clip names are among them
};

struct EdlText {
  std::string title;
  unsigned short fps = 24;
  bool drop = false;
  std::vector<std::string> comments;  // before the first event
  std::vector<EdlEvent> events;
};

/// What cannot be accepted, where, and what was expected.
class UnreadableEdl : public std::runtime_error {
 public:
  UnreadableEdl(Long atLine, const std::string& words) : std::runtime_error(words), line(atLine) {}
  Long line;
};

inline constexpr unsigned short kEdlRates[] = {24, 25, 30, 48, 50, 60};
bool isEdlRate(Long fps);

struct EdlReadOptions {
  /// One of kEdlRates; 0 takes what a comment `* FRAME RATE: n` ahead of the events says, else 30 with a drop-frame
  /// mode line and 24 without.
  unsigned short fps = 0;
};

/// Called with the number of each line that is nothing known; such a line is kept as a comment.
using KeptLine = std::function<void(Long line, const std::string& text)>;

/// Lines end by LF, CRLF or CR. Takes time and memory in proportion to the text, whatever its bytes.
///
/// Raises:   UnreadableEdl: a timecode that does not exist at the rate, a transition whose lines bear different
///           numbers, an event line that cannot be read, drop-frame at another rate than 30, a line above 4,096
///           characters, a list without events.
EdlText readEdl(std::string_view text, const EdlReadOptions& options, const KeptLine& kept);

/// Reads back as the same list.
std::string writeEdl(const EdlText& list);

/// A line or title of text as a list can hold it: control characters are blanks, none at either end.
std::string edlLine(std::string_view text);

/// HH:MM:SS:FF, with `;` before the frames in drop-frame.
std::string timecodeText(timecode_t tc);

/// Whether every text and number is one that reading could have given, so that writing gives a list that reads back.
bool isSound(const EdlText& list);

/// In frames of the record side; over midnight if the out point is the smaller one.
Long eventDuration(const EdlEvent& event);

/// From the first record in to the last record out, with the gaps between, in frames of the list: the shortest stretch
/// of the day's circle that holds every event, so that neither their order nor midnight matters.
Long listDuration(const EdlText& list);

}  // namespace reel
