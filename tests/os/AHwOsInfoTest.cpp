#include "core/os/AHwOsInfo.h"

#include "core/os/VersionInfo.h"
#include "tests/support/Test.h"
#include "tests/support/Waits.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string text(void (*form)(Int64, char*, unsigned), Int64 time, unsigned size = 64) {
  std::string buffer(64, '#');
  form(time, buffer.data(), size);
  return buffer.c_str();
}

}  // namespace

TEST(AHwOsInfo, TimesThatHaveADateShowItAndOthersQuestionMarks) {
  const Int64 time = 951'827'696;  // a 29th of February in every zone
  const std::tm local = platform::localTime(time);
  char want[64];
  std::strftime(want, sizeof want, "%m/%d/%Y %H:%M:%S", &local);
  EXPECT_EQ(text(dateAndTimeText, time), want);
  EXPECT_EQ(text(dateText, time), std::string(want).substr(0, 10));
  EXPECT_EQ(text(dateAndTimeText, time, 6), std::string(want).substr(0, 5)) << "cut, and ended";
  for (const Int64 bad : {Int64(1) << 62, -(Int64(1) << 62)}) {
    EXPECT_EQ(text(dateAndTimeText, bad), "?\?/?\?/?\?\?\? ?\?:?\?:?\?");
    EXPECT_EQ(text(dateText, bad), "?\?/?\?/?\?\?\?");
  }
}

TEST(AHwOsInfo, AHostIsLookedUpWhileOthersRun) {
  const FramedWaits frames;
  EXPECT_STREQ(KyNetwork::HostName2in_addr("127.0.0.1"), "127.0.0.1");
  EXPECT_EQ(FramedWaits::begun, 1);
}

TEST(VersionInfo, EachFormShowsTheNumbersThatTheProgramTold) {
  const std::pair<ProgramVersion, const char*> cases[] = {
      {{.major = 2, .minor = 5}, "Reelwright 2.5"},
      {{.major = 2, .minor = 5, .patch = 0}, "Reelwright 2.5.0"},
      {{.major = 2, .minor = 5, .patch = 1, .buildLetter = 'd', .build = 12}, "Reelwright 2.5.1d12"},
  };
  short major = 0, minor = 0;
  char words[64];
  for (const auto& [version, want] : cases) {
    setProgramVersion(&version);
    EXPECT_NE(GetVersionInfo(&major, &minor, words, 3), 0);
    EXPECT_EQ(major * 10 + minor, 25);
    EXPECT_STREQ(words, want);
  }
  setProgramVersion(nullptr);
  EXPECT_EQ(GetVersionInfo(&major, &minor, words, 3), 0);
}
