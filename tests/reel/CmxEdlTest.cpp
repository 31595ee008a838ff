#include "apps/reel/CmxEdl.h"

#include "tests/reel/SomeEdl.h"

using namespace reel;
using reel::test::described;
using reel::test::someEdl;

namespace {

std::string cut(const std::string& words = "001 AX V C") {
  return words + " 00:00:10:00 00:00:12:00 01:00:00:00 01:00:02:00\n";
}

struct Told {
  EdlText list;
  std::vector<std::string> kept;  // "line: words"
};

Told read(const std::string& text, unsigned short fps = 0) {
  Told told;
  told.list = readEdl(text, {fps}, [&](Long line, const std::string& words) {
    told.kept.push_back(std::to_string(line) + ": " + words);
  });
  return told;
}

/// "line: words" of the refusal, or "" if the list is read.
std::string refusalOf(const std::string& text, unsigned short fps = 0) {
  try {
    read(text, fps);
  } catch (const UnreadableEdl& fault) {
    return std::to_string(fault.line) + ": " + fault.what();
  }
  return "";
}

std::string times(const EdlEvent& e) {
  return timecodeText(e.sourceIn) + " " + timecodeText(e.sourceOut) + " " + timecodeText(e.recordIn) + " " +
         timecodeText(e.recordOut);
}

/// The words of each event, with the length of its transition and its speed if it has one.
std::string wordsOf(const EdlText& list) {
  std::string words;
  for (const EdlEvent& e : list.events) {
    if (!words.empty()) words += ", ";
    words += e.number + " " + e.reel + " " + e.track + " " + e.transition + " " + std::to_string(e.transitionFrames);
    if (!e.speed) continue;
    words += " at " + std::to_string(e.speed->fps.GetNum()) + "/" + std::to_string(e.speed->fps.GetDen());
    words += " from " + timecodeText(e.speed->at);
  }
  return words;
}

}  // namespace

TEST(CmxEdl, EventsInTheWildAreRead) {
  const auto speed = [](const char* fps) { return cut() + "M2   AX       " + fps + "   00:00:10:05\n"; };
  const std::pair<std::string, std::string> rows[] = {
      {cut("001  AX       V     C       "), "001 AX V C 0"},
      {cut("000123\tA001C002_130412_R1XY\tAA/V\tC"), "000123 A001C002_130412_R1XY AA/V C 0"},
      {cut("010 AX va1A12/B C"), "010 AX va1A12/B C 0"},
      {cut("010 AX V K B"), "010 AX V KB 0"},
      {cut("010 AX V K O 8"), "010 AX V KO 8"},
      {cut("003 AX V C") + "* between\n\n" + cut("003 BX V D 024"), "003 AX V C 0, 003 BX V D 24"},
      {cut("003 AX V C") + cut("003 BX V W001 030"), "003 AX V C 0, 003 BX V W001 30"},
      {cut("003 AX V K B") + cut("003 BX V K 015"), "003 AX V KB 0, 003 BX V K 15"},
      {cut("003 AX V K B") + cut("003 BX V K O 015"), "003 AX V KB 0, 003 BX V KO 15"},
      {speed("048.0"), "001 AX V C 0 at 48/1 from 00:00:10:05"},
      {speed("000.0"), "001 AX V C 0 at 0/1 from 00:00:10:05"},
      {speed("-024.0"), "001 AX V C 0 at -24/1 from 00:00:10:05"},
      {speed("+12.5"), "001 AX V C 0 at 25/2 from 00:00:10:05"},
      {speed("-99999.9999"), "001 AX V C 0 at -999999999/10000 from 00:00:10:05"},
      {speed("7"), "001 AX V C 0 at 7/1 from 00:00:10:05"},
  };
  for (const auto& [text, want] : rows) {
    const Told told = read(text);
    EXPECT_EQ(wordsOf(told.list), want);
    EXPECT_TRUE(told.kept.empty());
    EXPECT_EQ(times(told.list.events.at(0)), "00:00:10:00 00:00:12:00 01:00:00:00 01:00:02:00");
  }
}

TEST(CmxEdl, LinesThatAreNothingKnownAreKeptAndTold) {
  for (const char* line : {"GPI 01", "M2 AX fast 00:00:00:00", "M2 AX 24", "AUD x", "FCM: PAL", "FCM: NON FRAME",
                           "12 monkeys", "TITLE2", "M2 AX 24.00001 00:00:00:00", "\xFF\x01\xFE"}) {
    const Told told = read(cut() + line + "\n");
    EXPECT_EQ(told.kept, std::vector<std::string>{"2: " + edlLine(line)});
    EXPECT_EQ(told.list.events[0].comments, std::vector<std::string>{"* " + edlLine(line)});
  }
  EXPECT_EQ(read("TITLE: a\n" + cut() + "TITLE: b\n").kept.size(), 1u);
  EXPECT_EQ(read("M2 AX 24 00:00:00:00\n" + cut()).list.comments.size(), 1u);
}

TEST(CmxEdl, AnyLineEndingIsRead) {
  for (const std::string end : {"\n", "\r\n", "\r"}) {
    std::string event = cut();
    event.pop_back();
    const Told told = read("\xEF\xBB\xBFTITLE: T" + end + end + event + end + "oops");
    EXPECT_EQ(told.list.title, "T");
    EXPECT_EQ(told.list.events.size(), 1u);
    EXPECT_EQ(told.kept, std::vector<std::string>{"4: oops"});
  }
}

TEST(CmxEdl, CommentsStayInOrderAndNameTheClips) {
  const Told told =
      read("* HEAD\n" + cut() + "* FROM CLIP NAME:  a b\n*to clip name: c\nAUD  3    4\nSPLIT: AUDIO DELAY\n\x1A\n");
  EXPECT_EQ(told.list.comments, std::vector<std::string>{"* HEAD"});
  const EdlEvent& event = told.list.events.at(0);
  EXPECT_EQ(event.clipName, "a b");
  EXPECT_EQ(event.toClipName, "c");
  EXPECT_EQ(event.comments, (std::vector<std::string>{"* FROM CLIP NAME:  a b", "*to clip name: c", "AUD  3    4",
                                                      "* SPLIT: AUDIO DELAY"}));
  EXPECT_EQ(told.kept, std::vector<std::string>{"6: SPLIT: AUDIO DELAY"});
}

TEST(CmxEdl, TheModeLineDecidesHowTheLabelsBehindItCount) {
  const std::string label = "001 AX V C 00:00:59:28 00:01:00:02 01:00:59;29 01;01;00;02\n";
  const EdlText list = read("FCM: DROP\n" + label + "fcm:non drop-frame\n" + label).list;
  EXPECT_EQ(list.fps, 30);
  EXPECT_TRUE(list.drop);
  EXPECT_EQ(times(list.events.at(0)), "00:00:59;28 00:01:00;02 01:00:59;29 01:01:00;02");
  EXPECT_EQ(times(list.events.at(1)), "00:00:59:28 00:01:00:02 01:00:59:29 01:01:00:02");
}

TEST(CmxEdl, RefusalsTellTheLineTheReadingAndTheExpectation) {
  const std::string twoNumbers =
      "2: the two lines of a transition bear different event numbers: read \"004\", expected \"003\" as in the line "
      "before";
  const struct {
    std::string text;
    unsigned short fps;
    std::string want;
  } cases[] = {
      {"\xFF\xFEx", 0, "1: this text is in UTF-16; one in ASCII, UTF-8 or another code of single bytes was expected"},
      {"", 0, "1: the list ends here without an event; at least one event line was expected"},
      {"001 AX V C 24:00:00:00 00:00:00:00 00:00:00:00 00:00:00:00\n", 60,
       "1: the timecode \"24:00:00:00\" does not exist at 60 frames per second: hours from 00 to 23 were expected"},
      {"FCM: DROP FRAME\r001 AX V C 00:00:00:00 00:00:00:00 01:01:00:01 00:00:00:00\r", 0,
       "2: the timecode \"01:01:00:01\" does not exist in drop-frame, which leaves out frames 00 and 01 of this "
       "minute: frames from 02 were expected"},
      {"FCM: DROP FRAME\n", 25,
       "1: drop-frame at 25 frames per second: drop-frame counting exists at 30 only, so 30 was expected"},
      {cut("001A AX V C"), 0,
       "1: this event line cannot be read: \"001A\" where an event number of 3 to 6 digits was expected"},
      {"001 AX X C", 0,
       "1: this event line cannot be read: \"X\" where a track (V, A, A2, AA, AA/V, NONE, B) was expected"},
      {"001 AX V D 00:00:00:00", 0,
       "1: this event line cannot be read: \"00:00:00:00\" where the length of the transition in frames was expected"},
      {"001 AX V C 00:00:00:00 00:00:00:00 00:00:00:00 00:00:00:00 x", 0,
       "1: this event line cannot be read: \"x\" where the end of the line, behind four timecodes, was expected"},
      {cut() + "* " + std::string(5000, 'x'), 0, "2: a line of 5002 characters; at most 4096 were expected"},
      {cut("001 AX V D 024"), 0,
       "1: a transition needs two lines: read \"D\" in the first event line, expected the line that it starts from "
       "ahead of it"},
      {cut("003 AX V C") + cut("004 BX V W001 030"), 0, twoNumbers},
      {cut("003 AX V K B") + cut("004 BX V K O 015"), 0, twoNumbers},
  };
  for (const auto& c : cases) EXPECT_EQ(refusalOf(c.text, c.fps), c.want);
}

TEST(CmxEdl, DurationIsTheStretchThatHoldsEveryEvent) {
  using Times = std::vector<std::pair<const char*, const char*>>;
  const std::pair<Times, Long> cases[] = {
      {{{"01:00:00:00", "01:00:01:00"}, {"01:00:01:00", "01:00:03:00"}}, 72},
      {{{"01:00:10:00", "01:00:12:00"}, {"01:00:00:00", "01:00:01:00"}}, 288},  // any order, with a gap
      {{{"01:00:00:00", "01:00:10:00"}, {"01:00:02:00", "01:00:03:00"}}, 240},  // one inside another
      {{{"23:59:59:00", "00:00:00:00"}, {"00:00:00:00", "00:00:01:00"}}, 48},   // over midnight
      {{{"00:00:00:00", "23:59:59:23"}, {"23:59:59:23", "00:00:00:00"}}, 86400 * 24}};
  for (const auto& [records, want] : cases) {
    std::string text;
    for (const auto& [in, out] : records)
      text += std::string("001 AX V C 00:00:00:00 00:00:01:00 ") + in + " " + out + "\n";
    EXPECT_EQ(listDuration(read(text).list), want) << text;
  }
}

TEST(CmxEdl, WrittenListsReadBackTheSame) {
  std::mt19937 random(3600);
  for (int round = 0; round < 300; ++round) {
    const EdlText list = someEdl(random);
    ASSERT_TRUE(isSound(list));
    const std::string text = writeEdl(list);
    const Told told = read(text);
    EXPECT_TRUE(told.kept.empty());
    ASSERT_EQ(described(told.list), described(list)) << text;
  }
}

TEST(CmxEdl, WhatNoListCanHoldIsNotSound) {
  std::mt19937 random(1);
  const EdlText good = someEdl(random);
  using Damage = void (*)(EdlText&);
  const Damage damages[] = {[](EdlText& l) { l.drop = true, l.fps = 24; },
                            [](EdlText& l) { l.title = "two\nlines"; },
                            [](EdlText& l) { l.title.assign(4090, 'T'); },
                            [](EdlText& l) { l.comments.push_back("* FRAME RATE: 25"); },
                            [](EdlText& l) { l.events[0].track.assign(256, 'A'); },
                            [](EdlText& l) { l.events[0].reel = "A B"; },
                            [](EdlText& l) { l.events[0].recordOut.frames = 0x7FFFFFFF; },
                            [](EdlText& l) { l.events[0].recordOut.desc.fps = 1; }};
  for (const Damage damage : damages) {
    EdlText bad = good;
    damage(bad);
    EXPECT_FALSE(isSound(bad)) << &damage - damages;
  }
}
