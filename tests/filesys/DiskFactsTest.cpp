// Failures made to order, locks, facts and traces of open files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "core/error/UnitTestBase.h"
#include "platform/Files.h"
#include "tests/filesys/DiskSupport.h"
#include "tests/support/Faults.h"
#include "tests/support/Raised.h"

using namespace ky;
using namespace ky::test;

namespace {

class DiskFacts : public DiskTest {};

// ---- failures made to order

TEST_F(DiskFacts, FailTheNthOperationOnce) {
  writeBytes(path, counted(5));
  const Opened file(path, kFileReadWrite);
  char data = 0;
  const std::function<void()> operations[] = {[&] { KYReadFile(file, &data, 0, kFromStart, 1); },
                                              [&] { KYWriteFile(file, 0, kFromStart, 1, "x"); },
                                              [&] {
                                                EXPECT_EQ(Opened(path, kFileReadWrite), file);  // shared: asks nobody
                                                Opened(folder / "new", kFileCreate);
                                              }};
  const std::vector<Fault> faults = diskFaults();
  for (std::size_t kind = 0; kind < std::size(operations); ++kind) {
    for (int n = 1; n <= 3; ++n) {
      SCOPED_TRACE(faults[kind].name + std::to_string(n));
      const auto disarm = faults[kind].arm(n);
      for (int i = 1; i <= 4; ++i) EXPECT_EQ(codeRaisedBy(operations[kind]), i == n ? faults[kind].code : "");
      EXPECT_TRUE(disarm());
    }
  }
  SetForceDiskReadErr(5, 0);
  EXPECT_EQ(codeRaisedBy(operations[0]), "");
}

// ---- locks

/// The locks are the open file's, so that one of this process excludes as one of another does.
platform::File other;

TEST_F(DiskFacts, WaitForALockUntilTheOtherEndsOrTwoMinutesAreOver) {
  writeBytes(path, {});
  const auto openOther = [&] {
    EXPECT_EQ(other.open(path.c_str(), platform::Access::readWrite, platform::Disposition::openExisting), 0);
  };
  const auto otherLocks = [] { return other.lock(0x7FFFFFF0, platform::LockKind::exclusive); };
  for (const unsigned short flags : {kFileRead, kFileWrite, kFileReadWrite}) {
    openOther();
    ASSERT_EQ(otherLocks(), 0);
    const Opened file(path, flags);
    {
      const HookedSleep hooked;
      EXPECT_EQ(codeRaisedBy([&] { KYLockFileShared(file); }),
                "Failed Lock:\nResource temporarily unavailable\n" + path + "\n");
      EXPECT_EQ(HookedSleep::sleeps, 119);
    }
    const HookedSleep hooked;
    HookedSleep::onSleep = [] {
      if (HookedSleep::sleeps == 3) other.close();
    };
    EXPECT_TRUE(KYLockFileExclusive(file));
    HookedSleep::onSleep = nullptr;
    EXPECT_EQ(HookedSleep::sleeps, 3);
    EXPECT_EQ(HookedSleep::last, 1000);

    const Opened second(folder / "../" + folder.path.substr(folder.path.rfind('/') + 1) + "/Reel.kyb", kFileRead);
    EXPECT_TRUE(KYLockFileShared(second));  // shared by all who ask through the library
    openOther();
    EXPECT_EQ(otherLocks(), 33);
    KYUnlockFile(second);
    EXPECT_EQ(otherLocks(), 33);
    KYUnlockFile(file);
    EXPECT_EQ(otherLocks(), 0);
    other.close();
  }
}

// ---- facts and traces

TEST_F(DiskFacts, TellNameAndTimes) {
  const Opened file(path, kFileCreate);
  char name[16];
  EXPECT_STREQ(KYGetFileName(file, name, sizeof name), "Reel.kyb");
  EXPECT_STREQ(KYGetFileName(file, name, 5), "Reel");
  struct timespec times[2] = {{0, UTIME_OMIT}, {1'000'000'000, 1'234'567}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  Int64 changed = 0;
  KYGetFileModDateTime(file, &changed);
  EXPECT_EQ(changed, (11644473600 + 1'000'000'000) * 10'000'000 + 12'345);
  std::tm made = {}, now = platform::localTime(platform::wallSeconds());
  KYGetFileCreationDateTime(file, &made);
  EXPECT_LT(std::mktime(&now) - std::mktime(&made), 100);
}

TEST_F(DiskFacts, AskTheVolumeForTheSizesThatPay) {
  const Opened file(path, kFileCreate);
  fileRec_t** const shared = openFile((folder / "shared").c_str(), kFileCreate, 0, OSVolID(70));
  const VolumeServices before = volumeServices();
  installVolumeServices({[](OSVolID volume) -> Boolean { return OSVolID::Compare(volume, OSVolID(70)) == 0; },
                         [](OSVolID, ULong, CorvaneInfo_t* info) {
                           *info = {4096, 131072, 0, {131072, 262144}, {131072, 393216}};
                         },
                         nullptr});
  const struct {
    fileRec_t** file;
    Long block, read[3], write[3];
  } cases[] = {{file, 512, {0, 0, 0}, {0x80000, 0x80000, 512}},
               {shared, 4096, {131072, 262144, 131072}, {393216, 393216, 131072}}};
  for (const auto& c : cases) {
    Long min = -1, max = -1, step = -1;
    EXPECT_EQ(KYGetBlockSize(c.file), c.block);
    KYGetEfficientReadSize(c.file, &min, &max, &step);
    EXPECT_TRUE(min == c.read[0] && max == c.read[1] && step == c.read[2]);
    KYGetEfficientWriteSize(c.file, &min, &max, &step);
    EXPECT_TRUE(min == c.write[0] && max == c.write[1] && step == c.write[2]);
  }
  installVolumeServices(before);
  EXPECT_EQ(KYGetBlockSize(nullptr), 512);
  EXPECT_EQ(checkFailedBy([] { KYGetEfficientReadSize(nullptr, nullptr, nullptr, nullptr); }),
            "fileHdl && (*fileHdl)->magic == DISK_MAGIC");
  KYCloseFile(shared);
}

std::string consoleText;

TEST_F(DiskFacts, TraceWhatTheCommandTurnsOn) {
  const struct {
    const char* option;
    ULong before, after;
    bool helps;
  } cases[] = {{"all", 0, 15, false},  {"NONE", 15, 0, false}, {"o", 8, 9, false},     {"Write", 1, 3, false},
               {"r", 0, 4, false},     {"c", 0, 8, false},     {"noo", 15, 14, false}, {"NoWrite", 15, 13, false},
               {"nor", 15, 11, false}, {"noc", 15, 7, false},  {"no", 15, 15, true},   {"xyz", 5, 5, true},
               {nullptr, 5, 5, true}};
  const auto before = UnitTestBase::SetLineSink([](const char* line, int) { consoleText += line; });
  for (const auto& c : cases) {
    SetDiskRtnDbgFlags(c.before);
    consoleText.clear();
    setDiskRtnFlags(c.option);
    EXPECT_EQ(GetDiskRtnDbgFlags(), c.after) << (c.option ? c.option : "none");
    EXPECT_EQ(!consoleText.empty(), c.helps);
  }
  UnitTestBase::SetLineSink(before);
  EXPECT_TRUE(consoleText.starts_with("DiskRtnFlags allows turning on"));
  EXPECT_NE(consoleText.find("\tNoOpenClose (noo) - to turn off"), std::string::npos);
  SetDiskRtnDbgFlags(0);
}

}  // namespace
