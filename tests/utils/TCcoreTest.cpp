#include "core/utils/TCcore.h"

#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr timecodeDesc_t kNonDrop30{0, 30, 0}, kDrop30{1, 30, 0};

struct Label {
  short days = 0, hours = 0, minutes = 0, seconds = 0, frames = 0;
  bool operator==(const Label&) const = default;
};

Label labelOf(timecode_t tc) {
  Label l;
  TCDeconstruct(tc, &l.days, &l.hours, &l.minutes, &l.seconds, &l.frames);
  return l;
}

/// The label of the next frame, counted as a clock counts.
Label next(Label l, int fps, bool drop) {
  if (++l.frames < fps) return l;
  l.frames = 0;
  if (++l.seconds == 60) l.seconds = 0, ++l.minutes;
  if (l.minutes == 60) l.minutes = 0, ++l.hours;
  if (l.hours == 24) l.hours = 0, ++l.days;
  if (drop && l.seconds == 0 && l.minutes % 10 != 0) l.frames = 2;
  return l;
}

std::string text(timecode_t tc, int flags = 0) {
  char buffer[16] = "before";
  return TCToStr(tc, buffer, sizeof(buffer), static_cast<short>(flags));
}

std::string text(Long frames, const timecodeDesc_t& desc, int flags = 0) {
  return text(timecode_t{desc, frames}, flags);
}

timecode_t read(const char* from, const timecodeDesc_t& desc = kNonDrop30, int flags = 0) {
  timecode_t tc;
  EXPECT_TRUE(TCStrToTC(&tc, from, static_cast<short>(flags), &desc)) << from;
  return tc;
}

}  // namespace

TEST(TCcore, EveryFrameOfADayHasTheLabelThatAClockShows) {
  const std::pair<int, bool> cases[] = {{24, true}, {25, false}, {30, false}, {30, true}, {48, 0}, {60, 0}, {100, 0}};
  for (const auto& [fps, drop] : cases) {
    SCOPED_TRACE(std::to_string(fps) + (drop ? " drop" : ""));
    const timecodeDesc_t desc = TCCreateDesc(drop, static_cast<unsigned short>(fps));
    const Long day = TCConstruct(1, 0, 0, 0, 0, &desc).frames;
    Label want;
    for (Long n = 0; n <= day; ++n, want = next(want, fps, drop && fps == 30)) {
      ASSERT_EQ(labelOf({desc, n}), want) << "frame " << n;
      if (n % 7 != 0) continue;
      ASSERT_EQ(TCConstruct(want.days, want.hours, want.minutes, want.seconds, want.frames, &desc).frames, n);
      if (n % 97 != 0 || n == day || fps == 100) continue;
      ASSERT_TRUE(TCEqual(read(text(n, desc).c_str(), desc), {desc, n})) << n;
      ASSERT_TRUE(TCEqual(read(text(-n, desc, kTCSign | kTCTrimZeros).c_str(), desc), {desc, -n})) << n;
    }
  }
}

TEST(TCcore, AnAbsentDescriptionIsTheDefault) {
  EXPECT_EQ(TCConstruct(0, 0, 0, 1, 0, nullptr).frames, 30);
  TCSetDefaultFormat(25, 0);
  EXPECT_EQ(TCConstruct(0, 0, 0, 1, 0, nullptr).frames, 25);
  EXPECT_EQ(text(50, {}), "00:00:02:00");
  TCSetDefaultFormat(30, 0);
  EXPECT_TRUE(TCIsMaxTC({kDrop30, 5 * 2589408 - 1}) && !TCIsMaxTC({kDrop30, 5 * 2589408}));
}

TEST(TCcore, AddingModuloADayKeepsExactlyOneDay) {
  const Long day = 2589408;
  const Long cases[][3] = {{day - 1, 1, day}, {day - 1, 2, 1}, {0, -1, day - 1},     {5, -5 - 3 * day, 0},
                           {0, 3 * day, day}, {0, 0, 0},       {day, 2 * day + 1, 1}};
  for (const auto& [start, add, want] : cases) EXPECT_EQ(TCAddModDay({kDrop30, start}, add).frames, want);
}

TEST(TCcore, DifferencesGoAroundMidnightOnlyWhenTheFirstIsLater) {
  const struct {
    const char *a, *b;
    Long nearest, forward;
  } cases[] = {{"23:59:59:29", "00:00:00:01", 2, 2},
               {"00:00:00:01", "23:59:59:29", 2591998, 2591998},
               {"01:00:00:00", "00:00:00:00", -108000, 2592000 - 108000},
               {"12:00:00:00", "00:00:00:00", -1296000, 1296000},
               {"02:00:00:00", "02:00:00:00", 0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.a);
    EXPECT_EQ(TCDiffModDay(read(c.a), read(c.b)), c.nearest);
    EXPECT_EQ(TCDiff(read(c.a), read(c.b)), c.nearest);  // test programs go around midnight
    EXPECT_EQ(TCDiffModDayForward(read(c.a), read(c.b)), c.forward);
  }
  EXPECT_EQ(TCDiffModDay(read("00:00:01:00", TCCreateDesc(0, 24)), read("00:00:02:00")), 30);
}

// Each row goes on from the one before.
TEST(TCcore, RateAndDropChangesKeepTheLabelOrTheInstant) {
  timecode_t tc;
  const auto drop = [&](unsigned char on) { return [&tc, on] { TCChangeDrop(&tc, on); }; };
  const std::tuple<std::function<void()>, const char*, Long> rows[] = {
      {[&] { tc = read("00:01:00;02"); }, "00;01;00;02", 1800},
      {drop(0), "00:01:00:02", 1802},
      {drop(1), "00;01;00;02", 1800},
      {[&] { tc = read("00:00:01:29"), TCChangeFramesSec(&tc, 24); }, "00:00:02:05", 53},
      {[&] { tc = read("01:00:01;15", kDrop30), TCConvertFPS(&tc, 24); }, "01:00:01:12", 86436},
      {[&] { TCConvertFPS(&tc, 25); }, "01:00:01:13", 90038},  // 12.5 rounds up
      {[&] {
         tc = {kNonDrop30, kTCAbsent}, TCChangeDrop(&tc, 1);
       },
       "00;00;00;00", kTCAbsent},
  };
  for (const auto& [change, label, frames] : rows) {
    change();
    EXPECT_EQ(text(tc), label);
    EXPECT_EQ(tc.frames, frames);
  }
}

TEST(TCcore, TextFlagsShapeTheText) {
  const struct {
    Long frames;
    int flags;
    const char* want;
  } cases[] = {
      {-157, kTCBlankSign, "-00:00:05:07"},
      {157, kTCBlankSign, " 00:00:05:07"},
      {-157, kTCBlankZeros | kTCSign, "       -5:07"},
      {-157, kTCTrimZeros | kTCSign, "-5:07"},
      {0, kTCEmptyForZero, ""},
      {kTCAbsent, kTCEmptyForAbsent, ""},
      {30 * 108000, 0, "06:00:00:00"},  // days are not shown
  };
  for (const auto& c : cases) EXPECT_EQ(text(c.frames, kNonDrop30, c.flags), c.want) << c.frames << " " << c.flags;
  EXPECT_EQ(text(1800, kDrop30, kTCNonDrop), "00:01:00:00");
  EXPECT_EQ(text(119, TCCreateDesc(0, 120)), "00:00:00:;9");  // tens beyond nine run on behind it
}

TEST(TCcore, TextIsReadFromItsEnd) {
  const struct {
    const char* from;
    bool dropBefore;
    Long want;
    bool dropAfter;
  } cases[] = {{"12345", false, ((1 * 60) + 23) * 30 + 45, false},
               {"5-100", false, -30, false},
               {" +00:00:01:00 ", true, 30, false},
               {"00;00;01:00", false, 30, true},  // the colon comes first, the semicolon still decides
               {"1:00:00:00:00", false, 2592000, false},
               {"991:00:00:00:00", false, 91 * 2592000, false}};  // two digits of days
  for (const auto& c : cases) {
    const timecode_t tc = read(c.from, c.dropBefore ? kDrop30 : kNonDrop30);
    EXPECT_EQ(tc.frames, c.want) << c.from;
    EXPECT_EQ(tc.desc.flags, c.dropAfter ? 1u : 0u) << c.from;
  }
}

TEST(TCcore, TextThatIsNoTimecodeIsRefused) {
  timecode_t tc;
  for (const char* from : {"00:00:00:0x", "x", "00/00/00/00", "00:00:00:0\xE9", "0:0O:00:00", "01:00:00:00\n", ""}) {
    EXPECT_FALSE(TCStrToTC(&tc, from, kTCEmptyForAbsent, &kNonDrop30)) << from;
    EXPECT_EQ(tc.frames, *from ? 0 : kTCAbsent);
  }
}

TEST(TCcore, AdjustingPairsTheDigitsFromTheRight) {
  const std::pair<const char*, std::string> cases[] = {
      {"12345", "-1;23;45"}, {"1:2:3;4", "-12;34"}, {"x", "-"}, {"01020304", "-01;02;03;04"}};
  for (const auto& [from, want] : cases) {
    char buffer[32];
    EXPECT_EQ(TCAdjustStr(std::strcpy(buffer, from), ';', '-'), Long(want.size()));
    EXPECT_EQ(buffer, want);
  }
}

TEST(TCcore, PhasesAreNamedByTheirMask) {
  for (unsigned char phase = 0; phase < 5; ++phase) {
    char name[8] = "before";
    TCPrintPhase(phase, 0xD8000000, name, sizeof(name));
    unsigned char found = 99;
    EXPECT_TRUE(TCStrToPhase(&found, name, 0xD8000000)) << name;
    EXPECT_EQ(found, phase) << name;
  }
}

TEST(TCcore, FramesFieldsConvertToAndFrom24InTheText) {
  const struct {
    const char* from;
    short mode;
    bool flag;
    const char *to24, *from24;
  } cases[] = {
      {"01:00:00:24", 2, false, "01:00:00:23", "01:00:00:25"}, {"01:00:00:29", 4, false, "01:00:00:23", "01:00:00:36"},
      {"00:00:01:00", 3, false, "00:00:01:01", "00:00:00:24"}, {"00:00:05:24", 3, true, "00:00:06:06", nullptr},
      {"01:00:00:10", 5, false, "01:00:00:10", "01:00:00:10"}, {"1:00", 2, false, "1:00", "1:00"}};
  for (const auto& c : cases) {
    char to[16], from[16];
    TCcvtTo24(c.mode, std::strcpy(to, c.from), c.flag);
    TCcvtFrom24(c.mode, std::strcpy(from, c.from), c.flag);
    EXPECT_STREQ(to, c.to24);
    EXPECT_STREQ(c.from24 ? from : nullptr, c.from24);
  }
  char drop[] = "01:00:00;10";
  EXPECT_EQ(refusalOf([&] { TCcvtTo24(2, drop, 0); }), "textbuf[8] == ':'");
}
