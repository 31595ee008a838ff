#include "core/os/AHwOsInfo.h"

#include "core/error/UIHooks.h"
#include "core/objsys/AObjDoc.h"
#include "core/os/VersionInfo.h"
#include "platform/Clock.h"
#include "tests/support/Test.h"

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

TEST(AHwOsInfo, AClockOfTodayIsCalledImplausible) {
  static std::string shown;
  const UIdialogProc before =
      InstallUIdialog([](const char* msg, const char*, short, UIicon_t, const char*, Boolean, const char*) -> short {
        shown = msg;
        return 1;
      });
  AHwOsInfo::current()->CheckSystemTime();
  InstallUIdialog(before);
  EXPECT_EQ(shown,
            "Your System calendar and clock need\nto be set to the current date and time\nor problems may result.");
}

TEST(AHwOsInfo, TheHostTellsWhoAndWhereItIs) {
  KyUid uid;
  MakeUid(&uid);
  EXPECT_EQ(uid.high, AHwOsInfo::current()->GetHostID());
  EXPECT_NEAR(double(uid.low), double(AHwOsInfo::current()->GetTime()), 60);
  char name[256];
  KYGetApplName(name);
  EXPECT_STREQ(name, "os_tests");
  EXPECT_GT(AHwOsInfo::current()->GetProcessorCount(), 0);
  EXPECT_GT(AHwOsInfo::current()->GetPhysicalMemoryKB(), 0u);
  EXPECT_STREQ(KyNetwork::HostName2in_addr("127.0.0.1"), "127.0.0.1");
  EXPECT_EQ(KyNetwork::HostName2in_addr("no host has blanks"), nullptr);
}

TEST(VersionInfo, EachFormShowsTheNumbersThatTheProgramTold) {
  const struct {
    ProgramVersion version;
    const char* numbers;
  } cases[] = {
      {{.major = 2, .minor = 5}, "2.5"},
      {{.major = 2, .minor = 5, .patch = 0}, "2.5.0"},
      {{.major = 2, .minor = 5, .buildLetter = 'b', .build = 3}, "2.5b3"},
      {{.major = 2, .minor = 5, .patch = 1, .buildLetter = 'd', .build = 12, .fileVersion = "2,5,1"}, "2.5.1d12"},
  };
  short major = 0, minor = 0;
  char words[64];
  for (const auto& c : cases) {
    setProgramVersion(&c.version);
    EXPECT_NE(GetVersionInfo(&major, &minor, words, 0), 0);
    EXPECT_EQ(major * 10 + minor, 25);
    EXPECT_STREQ(words, c.numbers);
    GetVersionInfo(nullptr, nullptr, words, 3);
    EXPECT_EQ(words, std::string("Reelwright ") + c.numbers);
    GetVersionInfo(nullptr, nullptr, words, 1);
    EXPECT_STREQ(words, c.version.fileVersion);
  }
  setProgramVersion(nullptr);
  EXPECT_EQ(GetVersionInfo(&major, &minor, words, 3), 0);
  EXPECT_EQ(major + minor, 0);
  EXPECT_STREQ(words, "");
}
