#include "apps/reel/CmxEdl.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/reel/SomeEdl.h"

using namespace reel;
using reel::test::described;
using reel::test::someEdl;

namespace {

constexpr const char* kTimes = " 00:00:10:00 00:00:12:00 01:00:00:00 01:00:02:00\n";

std::string cutLine(const std::string& number = "001", const std::string& middle = " AX V C") {
  return number + middle + kTimes;
}

struct Told {
  EdlText list;
  std::vector<std::pair<Long, std::string>> kept;
};

Told read(const std::string& text, unsigned short fps = 0) {
  Told told;
  told.list = readEdl(text, {fps}, [&](Long line, const std::string& kept) { told.kept.emplace_back(line, kept); });
  return told;
}

EdlEvent onlyEvent(const std::string& text) {
  const Told told = read(text);
  EXPECT_EQ(told.list.events.size(), 1u);
  EXPECT_TRUE(told.kept.empty());
  return told.list.events.empty() ? EdlEvent{} : told.list.events[0];
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

}  // namespace

TEST(CmxEdl, SpeedLinesAreExact) {
  const std::pair<const char*, const char*> cases[] = {
      {"048.0", "48/1"}, {"000.0", "0/1"},       {"-024.0", "-24/1"},
      {"+12.5", "25/2"}, {"23.976", "2997/125"}, {"-99999.9999", "-999999999/10000"},
      {"7", "7/1"}};
  for (const auto& [text, want] : cases) {
    const EdlEvent event = onlyEvent(cutLine() + "M2   AX       " + text + "   00:00:10:05\n");
    ASSERT_TRUE(event.speed) << text;
    const Rational fps = event.speed->fps;
    EXPECT_EQ(std::to_string(fps.GetNum()) + "/" + std::to_string(fps.GetDen()), want);
    EXPECT_EQ(timecodeText(event.speed->at), "00:00:10:05");
  }
}

TEST(CmxEdl, LinesThatAreNothingKnownAreKeptAndTold) {
  for (const char* line : {"GPI 01", "M2 AX fast 00:00:00:00", "M2 AX 24", "AUD x", "FCM: PAL", "FCM: NON FRAME",
                           "12 monkeys", "TITLE2", "M2 AX 24.00001 00:00:00:00", "\xFF\x01\xFE"}) {
    const Told told = read(cutLine() + line + "\n");
    ASSERT_EQ(told.kept.size(), 1u) << line;
    EXPECT_EQ(told.kept[0].first, 2);
    EXPECT_EQ(told.list.events[0].comments, std::vector<std::string>{"* " + edlLine(line)});
  }
  EXPECT_EQ(read("TITLE: a\n" + cutLine() + "TITLE: b\n").kept.size(), 1u);
  EXPECT_EQ(read("M2 AX 24 00:00:00:00\n" + cutLine()).list.comments.size(), 1u);
}

TEST(CmxEdl, EventLinesInTheWildAreRead) {
  const std::pair<const char*, const char*> cases[] = {
      {"001  AX       V     C       ", "001 AX V C 0"},
      {"000123\tA001C002_130412_R1XY\tAA/V\tC", "000123 A001C002_130412_R1XY AA/V C 0"},
      {"010 AX va1A12/B C", "010 AX va1A12/B C 0"},
      {"010 AX V K B", "010 AX V KB 0"},
      {"010 AX V K O 8", "010 AX V KO 8"},
  };
  for (const auto& [line, want] : cases) {
    const EdlEvent e = onlyEvent(std::string(line) + kTimes);
    EXPECT_EQ(e.number + " " + e.reel + " " + e.track + " " + e.transition + " " + std::to_string(e.transitionFrames),
              want);
    EXPECT_EQ(times(e), "00:00:10:00 00:00:12:00 01:00:00:00 01:00:02:00");
    EXPECT_EQ(eventDuration(e), 48);
  }
}

TEST(CmxEdl, TransitionsAreTwoLinesOfOneNumber) {
  const std::string cases[][3] = {
      {"C", "D 024", "D 24"}, {"C", "W001 030", "W001 30"}, {"K B", "K 015", "K 15"}, {"K B", "K O 015", "KO 15"}};
  for (const auto& [start, end, want] : cases) {
    const std::string first = " AX V " + start, second = " BX V " + end;
    const Told told = read(cutLine("003", first) + "* between\n\n" + cutLine("003", second));
    ASSERT_EQ(told.list.events.size(), 2u);
    EXPECT_EQ(told.list.events[1].transition + " " + std::to_string(told.list.events[1].transitionFrames), want);
    EXPECT_EQ(refusalOf(cutLine("003", first) + cutLine("004", second)),
              "2: the two lines of a transition bear different event numbers: read \"004\", expected \"003\" as in the "
              "line before");
  }
  EXPECT_EQ(refusalOf(cutLine("001", " AX V D 024")).substr(0, 33), "1: a transition needs two lines: ");
}

TEST(CmxEdl, AnyLineEndingIsRead) {
  for (const std::string end : {"\n", "\r\n", "\r"}) {
    const std::string event = cutLine();
    const Told told = read("\xEF\xBB\xBFTITLE: T" + end + end + event.substr(0, event.size() - 1) + end + "oops");
    EXPECT_EQ(told.list.title, "T");
    EXPECT_EQ(told.list.events.size(), 1u);
    EXPECT_EQ(told.kept, (std::vector<std::pair<Long, std::string>>{{4, "oops"}}));
  }
}

TEST(CmxEdl, CommentsStayInOrderAndNameTheClips) {
  const Told told = read("* HEAD\n" + cutLine() +
                         "* FROM CLIP NAME:  a b\n*to clip name: c\nAUD  3    4\nSPLIT: AUDIO DELAY\n\x1A\n");
  EXPECT_EQ(told.list.comments, std::vector<std::string>{"* HEAD"});
  const EdlEvent& event = told.list.events.at(0);
  EXPECT_EQ(event.clipName, "a b");
  EXPECT_EQ(event.toClipName, "c");
  EXPECT_EQ(event.comments, (std::vector<std::string>{"* FROM CLIP NAME:  a b", "*to clip name: c", "AUD  3    4",
                                                      "* SPLIT: AUDIO DELAY"}));
  EXPECT_EQ(told.kept, (std::vector<std::pair<Long, std::string>>{{6, "SPLIT: AUDIO DELAY"}}));
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
  const struct {
    const char* text;
    unsigned short fps;
    const char* want;
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
      {"001A AX V C 00:00:00:00 00:00:00:00 00:00:00:00 00:00:00:00", 0,
       "1: this event line cannot be read: \"001A\" where an event number of 3 to 6 digits was expected"},
      {"001 AX X C", 0,
       "1: this event line cannot be read: \"X\" where a track (V, A, A2, AA, AA/V, NONE, B) was expected"},
      {"001 AX V D 00:00:00:00", 0,
       "1: this event line cannot be read: \"00:00:00:00\" where the length of the transition in frames was expected"},
      {"001 AX V C 00:00:00:00 00:00:00:00 00:00:00:00 00:00:00:00 x", 0,
       "1: this event line cannot be read: \"x\" where the end of the line, behind four timecodes, was expected"},
  };
  for (const auto& c : cases) EXPECT_EQ(refusalOf(c.text, c.fps), c.want);
  EXPECT_EQ(refusalOf(cutLine() + "* " + std::string(5000, 'x')),
            "2: a line of 5002 characters; at most 4096 were expected");
}

TEST(CmxEdl, DurationIsTheStretchThatHoldsEveryEvent) {
  const struct {
    std::vector<std::pair<const char*, const char*>> records;
    Long want;
  } cases[] = {{{{"01:00:00:00", "01:00:01:00"}, {"01:00:01:00", "01:00:03:00"}}, 72},
               {{{"01:00:10:00", "01:00:12:00"}, {"01:00:00:00", "01:00:01:00"}}, 288},  // any order, with a gap
               {{{"01:00:00:00", "01:00:10:00"}, {"01:00:02:00", "01:00:03:00"}}, 240},  // one inside another
               {{{"23:59:59:00", "00:00:00:00"}, {"00:00:00:00", "00:00:01:00"}}, 48},   // over midnight
               {{{"00:00:00:00", "23:59:59:23"}, {"23:59:59:23", "00:00:00:00"}}, 86400 * 24}};
  for (const auto& c : cases) {
    std::string text;
    for (const auto& [in, out] : c.records)
      text += std::string("001 AX V C 00:00:00:00 00:00:01:00 ") + in + " " + out + "\n";
    EXPECT_EQ(listDuration(read(text).list), c.want) << text;
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
