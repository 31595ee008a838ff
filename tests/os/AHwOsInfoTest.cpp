#include "core/os/AHwOsInfo.h"

#include <gtest/gtest.h>

#include <string>

#include "core/error/UIHooks.h"
#include "core/objsys/AObjDoc.h"
#include "core/os/VersionInfo.h"
#include "platform/Clock.h"

using namespace ky;

namespace {

std::string shown;

short rememberDialog(const char* msg, const char*, short, UIicon_t, const char*, Boolean, const char*) {
  shown = msg;
  return 1;
}

using Form = void (*)(Int64, char*, unsigned);

std::string text(Form form, Int64 time, unsigned size = 64) {
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

  unsigned char buffer[64];
  AHwOsInfo::current()->localTimeToStr(ULong(time), buffer, sizeof buffer);
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), want);
  for (const Int64 bad : {Int64(1) << 62, -(Int64(1) << 62)}) {
    EXPECT_EQ(text(dateAndTimeText, bad), "?\?/?\?/?\?\?\? ?\?:?\?:?\?");
    EXPECT_EQ(text(dateText, bad), "?\?/?\?/?\?\?\?");
  }
}

TEST(AHwOsInfo, AClockOfTodayIsCalledImplausible) {
  const UIdialogProc before = InstallUIdialog(rememberDialog);
  AHwOsInfo::current()->CheckSystemTime();
  InstallUIdialog(before);
  EXPECT_EQ(shown,
            "Your System calendar and clock need\nto be set to the current date and time\nor problems may result.");
}

TEST(AHwOsInfo, DocumentsTakeTheirIdentifierFromIt) {
  KyUid uid;
  MakeUid(&uid);
  EXPECT_EQ(uid.high, AHwOsInfo::current()->GetHostID());
  EXPECT_NEAR(double(uid.low), double(AHwOsInfo::current()->GetTime()), 60);
}

TEST(AHwOsInfo, TheHostTellsWhoAndWhereItIs) {
  char name[256];
  KYGetApplName(name);
  EXPECT_STREQ(name, "os_tests");
  KYGetSystemName(name);
  EXPECT_NE(std::string(name), "");
  EXPECT_GT(AHwOsInfo::current()->GetProcessorCount(), 0);
  EXPECT_GT(AHwOsInfo::current()->GetPhysicalMemoryKB(), 0u);
  EXPECT_STREQ(KyNetwork::HostName2in_addr("127.0.0.1"), "127.0.0.1");
  EXPECT_EQ(KyNetwork::HostName2in_addr("no host has blanks"), nullptr);
}

TEST(VersionInfo, EachFormShowsTheNumbersThatTheProgramTold) {
  const struct {
    const char* name;
    ProgramVersion version;
    const char* numbers;
  } cases[] = {
      {"two numbers", {.major = 2, .minor = 5}, "2.5"},
      {"three numbers", {.major = 2, .minor = 5, .patch = 0}, "2.5.0"},
      {"a build", {.major = 2, .minor = 5, .buildLetter = 'b', .build = 3}, "2.5b3"},
      {"both",
       {.major = 2, .minor = 5, .patch = 1, .buildLetter = 'd', .build = 12, .fileVersion = "2,5,1"},
       "2.5.1d12"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    setProgramVersion(&c.version);
    short major = 0, minor = 0;
    char words[64];
    EXPECT_NE(GetVersionInfo(&major, &minor, words, 0), 0);
    EXPECT_EQ(major * 10 + minor, 25);
    EXPECT_STREQ(words, c.numbers);
    GetVersionInfo(nullptr, nullptr, words, 3);
    EXPECT_EQ(words, std::string("Reelwright ") + c.numbers);
    GetVersionInfo(nullptr, nullptr, words, 1);
    EXPECT_STREQ(words, c.version.fileVersion);
  }
  setProgramVersion(nullptr);
  short major = 7, minor = 7;
  char words[64] = "old";
  EXPECT_EQ(GetVersionInfo(&major, &minor, words, 3), 0);
  EXPECT_EQ(major + minor, 0);
  EXPECT_STREQ(words, "");
}
