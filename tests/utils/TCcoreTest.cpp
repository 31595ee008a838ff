#include "core/utils/TCcore.h"

#include "tests/support/Bare.h"
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
  const struct {
    unsigned short fps;
    bool drop;
  } cases[] = {{24, false}, {25, false}, {30, false}, {30, true}, {48, false}, {60, false}, {100, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.fps) + (c.drop ? " drop" : ""));
    const timecodeDesc_t desc = TCCreateDesc(c.drop, c.fps);
    const Long day = TCConstruct(1, 0, 0, 0, 0, &desc).frames;
    Label want;
    for (Long n = 0; n <= day; ++n, want = next(want, c.fps, c.drop)) {
      ASSERT_EQ(labelOf({desc, n}), want) << "frame " << n;
      if (n % 7 != 0) continue;
      ASSERT_EQ(TCConstruct(want.days, want.hours, want.minutes, want.seconds, want.frames, &desc).frames, n);
      if (n % 97 != 0 || n == day || c.fps == 100) continue;
      ASSERT_TRUE(TCEqual(read(text(n, desc).c_str(), desc), {desc, n})) << n;
      ASSERT_TRUE(TCEqual(read(text(-n, desc, kTCSign | kTCTrimZeros).c_str(), desc), {desc, -n})) << n;
    }
  }
}

TEST(TCcore, DropFrameSkipsLabelsNotFrames) {
  EXPECT_EQ(TCConstruct(0, 0, 1, 0, 0, &kDrop30).frames, 1798);
  EXPECT_EQ(text(read("00:01:00;00")), "00;00;59;28");
  EXPECT_EQ(text(17982, kDrop30), "00;10;00;00");
  EXPECT_EQ(TCCreateDesc(1, 25).flags, 0u);
  const timecodeDesc_t dropAt25{1, 25, 7};
  const timecode_t built = TCConstruct(0, 0, 1, 0, 0, &dropAt25);
  EXPECT_EQ(built.frames, 1500);
  EXPECT_EQ(built.desc.flags, 0u);
  EXPECT_EQ(built.desc.reserved, 7u);
}

TEST(TCcore, AnAbsentDescriptionIsTheDefault) {
  EXPECT_EQ(TCConstruct(0, 0, 0, 1, 0, nullptr).frames, 30);
  TCSetDefaultFormat(25, 0);
  EXPECT_EQ(TCConstruct(0, 0, 0, 1, 0, nullptr).frames, 25);
  EXPECT_EQ(text(50, {}), "00:00:02:00");
  EXPECT_EQ(TCCreateDur(3, nullptr).desc.fps, 25u);
  TCSetDefaultFormat(0, 1);  // keeps the rate
  EXPECT_EQ(TCGetDefault(0).desc.fps, 25u);
  TCSetDefaultFormat(30, 0);
}

TEST(TCcore, AddingModuloADayKeepsExactlyOneDay) {
  const Long day = 2589408;
  const struct {
    Long start, add, want;
  } cases[] = {{day - 1, 1, day}, {day - 1, 2, 1}, {0, -1, day - 1},     {5, -5 - 3 * day, 0},
               {0, 3 * day, day}, {0, 0, 0},       {day, 2 * day + 1, 1}};
  for (const auto& c : cases) EXPECT_EQ(TCAddModDay({kDrop30, c.start}, c.add).frames, c.want);
}

TEST(TCcore, DifferencesGoAroundMidnightOnlyWhenTheFirstIsLater) {
  const auto tc = [](const char* from) { return read(from); };
  const struct {
    const char *a, *b;
    Long nearest, forward;
  } cases[] = {{"23:59:59:29", "00:00:00:01", 2, 2},
               {"00:00:00:01", "23:59:59:29", 2591998, 2591998},
               {"01:00:00:00", "00:00:00:00", -108000, 2592000 - 108000},
               {"13:00:00:00", "00:30:00:00", 1242000, 1242000},
               {"12:00:00:00", "00:00:00:00", -1296000, 1296000},
               {"02:00:00:00", "02:00:00:00", 0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.a);
    EXPECT_EQ(TCDiffModDay(tc(c.a), tc(c.b)), c.nearest);
    EXPECT_EQ(TCDiff(tc(c.a), tc(c.b)), c.nearest);  // test programs go around midnight
    EXPECT_EQ(TCDiffModDayForward(tc(c.a), tc(c.b)), c.forward);
  }
  EXPECT_EQ(TCDiffModDay(read("00:00:01:00", TCCreateDesc(0, 24)), tc("00:00:02:00")), 30);
}

TEST(TCcore, RateAndDropChangesKeepTheLabelOrTheInstant) {
  timecode_t tc = read("00:01:00;02");
  TCChangeDrop(&tc, 0);
  EXPECT_EQ(text(tc), "00:01:00:02");
  EXPECT_EQ(tc.frames, 1802);
  TCChangeDrop(&tc, 2);  // only the low bit speaks
  EXPECT_EQ(tc.frames, 1802);
  TCChangeDrop(&tc, 1);
  EXPECT_EQ(tc.frames, 1800);

  timecode_t absent{kNonDrop30, kTCAbsent};
  TCChangeDrop(&absent, 1);
  EXPECT_TRUE(TCEqual(absent, {kDrop30, kTCAbsent}));

  tc = read("00:00:01:29");
  TCChangeFramesSec(&tc, 24);
  EXPECT_EQ(tc.frames, 24 + 29);
  EXPECT_EQ(text(tc), "00:00:02:05");

  tc = read("01:00:01;15", kDrop30);
  TCConvertFPS(&tc, 24);
  EXPECT_EQ(text(tc), "01:00:01:12");
  EXPECT_EQ(tc.desc.flags, 0u);
  TCConvertFPS(&tc, 25);
  EXPECT_EQ(text(tc), "01:00:01:13");  // 12.5 rounds up
}

TEST(TCcore, TextFlagsShapeTheText) {
  const Long oneHour = 108000;
  const struct {
    Long frames;
    int flags;
    const char* want;
  } cases[] = {
      {157, 0, "00:00:05:07"},
      {-157, 0, "00:00:05:07"},
      {-157, kTCBlankSign, "-00:00:05:07"},
      {157, kTCBlankSign, " 00:00:05:07"},
      {157, kTCBlankZeros, "       5:07"},
      {-157, kTCBlankZeros | kTCSign, "       -5:07"},
      {-157, kTCTrimZeros | kTCSign, "-5:07"},
      {-157, kTCTrimZeros | kTCBlankZeros | kTCBlankSign, "-5:07"},
      {0, kTCBlankZeros, "         00"},
      {0, kTCEmptyForZero, ""},
      {kTCAbsent, kTCEmptyForAbsent, ""},
      {kTCAbsent, kTCSign, "-00:00:00:00"},
      {10 * oneHour, kTCTrimZeros, "10:00:00:00"},
      {30 * oneHour, 0, "06:00:00:00"},  // days are not shown
  };
  for (const auto& c : cases) EXPECT_EQ(text(c.frames, kNonDrop30, c.flags), c.want) << c.frames << " " << c.flags;
  EXPECT_EQ(text(1800, kDrop30, kTCNonDrop), "00:01:00:00");
  EXPECT_EQ(text(119, TCCreateDesc(0, 120)), "00:00:00:;9");  // tens beyond nine run on behind it
  EXPECT_EQ(checkFailedBy([] { TCToStr({}, nullptr, 0, 0); }), "buf != NULL");
}

TEST(TCcore, TextIsReadFromItsEnd) {
  const struct {
    const char* from;
    bool dropBefore;
    Long want;
    bool dropAfter;
  } cases[] = {{"12345", false, ((1 * 60) + 23) * 30 + 45, false},
               {"1:2", false, 12, false},
               {"5-100", false, -30, false},
               {" +00:00:01:00 ", true, 30, false},
               {"00:00:01;00", false, 30, true},
               {"00;00;01:00", false, 30, true},  // the colon comes first, the semicolon still decides
               {"00:00:01:00", true, 30, false},
               {"1:00:00:00:00", false, 2592000, false},
               {"991:00:00:00:00", false, 91 * 2592000, false},  // two digits of days
               {"", false, 0, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.from);
    timecode_t tc;
    const bool read = TCStrToTC(&tc, c.from, 0, c.dropBefore ? &kDrop30 : &kNonDrop30);
    EXPECT_EQ(read, c.from[0] != '\0');
    EXPECT_EQ(tc.frames, c.want);
    EXPECT_EQ(tc.desc.flags, c.dropAfter ? 1u : 0u);
  }
  const timecodeDesc_t at25{0, 25, 0};
  EXPECT_EQ(read("00:00:01;00", at25).desc.flags, 0u);
  EXPECT_EQ(read("100", kDrop30, kTCNonDrop).desc.flags, 0u);
}

TEST(TCcore, TextThatIsNoTimecodeIsRefused) {
  timecode_t tc;
  for (const char* from : {"00:00:00:0x", "x", "00/00/00/00", "00:00:00:0\xE9", "0:0O:00:00", "01:00:00:00\n", ""}) {
    EXPECT_FALSE(TCStrToTC(&tc, from, kTCEmptyForAbsent, &kNonDrop30)) << from;
    EXPECT_EQ(tc.frames, *from ? 0 : kTCAbsent);
  }
}

TEST(TCcore, AdjustingPairsTheDigitsFromTheRight) {
  const struct {
    const char* from;
    char separator, sign;
    const char* want;
  } cases[] = {{"12345", ':', 0, "1:23:45"},
               {"1:2:3;4", ';', '-', "-12;34"},
               {"x", ':', '+', "+"},
               {"", ':', 0, ""},
               {"01020304", ':', '+', "+01:02:03:04"}};
  for (const auto& c : cases) {
    char buffer[32];
    std::strcpy(buffer, c.from);
    EXPECT_EQ(TCAdjustStr(buffer, c.separator, c.sign), static_cast<Long>(std::strlen(c.want)));
    EXPECT_STREQ(buffer, c.want);
  }
}

TEST(TCcore, PhasesAreNamedByTheirMask) {
  const auto named = [](unsigned char phase, ULong mask) {
    char name[8] = "before";
    TCPrintPhase(phase, mask, name, sizeof(name));
    return std::string(name);
  };
  EXPECT_EQ(named(3, 0xD8000000), "C");
  EXPECT_EQ(named(5, 0xD8000000) + named(0, 0xFFF7FF80), "");
  const struct {
    const char* from;
    ULong mask;
    bool found;
    int phase;
  } cases[] = {{"d", 0xD8000000, true, 4},  {"", 0xD8000000, true, 0},   {"Xy", 0xD8000000, true, 2},
               {"E", 0xD8000000, false, 0}, {"A", 0x80000000, false, 0}, {"A1", 0xFFF7FF80, false, 0}};
  for (const auto& c : cases) {
    unsigned char phase = 99;
    EXPECT_EQ(TCStrToPhase(&phase, c.from, c.mask), c.found) << c.from;
    EXPECT_EQ(phase, c.phase);
  }
}

TEST(TCcore, FramesFieldsConvertToAndFrom24InTheText) {
  const struct {
    const char* from;
    short mode;
    bool flag;
    const char *to24, *from24;
  } cases[] = {
      {"01:00:00:24", 2, false, "01:00:00:23", "01:00:00:25"}, {"01:00:00:12", 2, false, "01:00:00:12", "01:00:00:13"},
      {"01:00:00:29", 4, false, "01:00:00:23", "01:00:00:36"}, {"00:00:01:00", 3, false, "00:00:01:01", "00:00:00:24"},
      {"00:00:05:24", 3, true, "00:00:06:06", nullptr},        {"00:00:05:24", 3, false, "00:00:06:05", nullptr},
      {"01:00:00:10", 5, false, "01:00:00:10", "01:00:00:10"}, {"00:01:00;02", 4, false, "00:01:00:02", nullptr},
      {"00:01:00;00", 4, false, "00:00:59:22", nullptr},       {"1:00", 2, false, "1:00", "1:00"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.from);
    char buffer[16];
    std::strcpy(buffer, c.from);
    TCcvtTo24(c.mode, buffer, c.flag);
    EXPECT_STREQ(buffer, c.to24);
    if (!c.from24) continue;
    std::strcpy(buffer, c.from);
    TCcvtFrom24(c.mode, buffer, c.flag);
    EXPECT_STREQ(buffer, c.from24);
  }
  char drop[] = "01:00:00;10";
  EXPECT_EQ(checkFailedBy([&] { TCcvtTo24(2, drop, 0); }), "textbuf[8] == ':'");
  EXPECT_EQ(checkFailedBy([&] { TCcvtFrom24(4, drop, 0); }), "textbuf[8] == ':'");
}

BARE_TEST(TCcore, DifferencesNeedTheLoopFlag) {
  raiseFatals();
  EXPECT_EQ(checkFailedBy([] { TCDiff({}, {}); }), "sTCLoopsIsSet");
}
