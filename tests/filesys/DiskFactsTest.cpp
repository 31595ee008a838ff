// Locks and facts of open files.
#include <fcntl.h>
#include <sys/stat.h>

#include "platform/Files.h"
#include "tests/filesys/DiskSupport.h"

using namespace ky;
using namespace ky::test;

using DiskFacts = DiskTest;

// The locks are the open file's, so that one of this process excludes as one of another does.
TEST_F(DiskFacts, WaitForALockUntilTheOtherEndsOrTwoMinutesAreOver) {
  writeBytes(path, {});
  platform::File other;
  const auto openOther = [&] {
    EXPECT_EQ(other.open(path.c_str(), platform::Access::readWrite, platform::Disposition::openExisting), 0);
  };
  const auto otherLocks = [&] { return other.lock(0x7FFFFFF0, platform::LockKind::exclusive); };
  openOther();
  ASSERT_EQ(otherLocks(), 0);
  const Opened file(path, kFileRead);
  {
    const SleptClock hooked;
    EXPECT_EQ(codeRaisedBy([&] { KYLockFileShared(file); }),
              "Failed Lock:\nResource temporarily unavailable\n" + path + "\n");
    EXPECT_EQ(SleptClock::slept, 119'000);
  }
  const SleptClock hooked([&] {
    if (SleptClock::sleeps == 3) other.close();
  });
  EXPECT_TRUE(KYLockFileExclusive(file));
  EXPECT_EQ(SleptClock::sleeps, 3);

  const Opened second(folder / "../" + folder.path.substr(folder.path.rfind('/') + 1) + "/Reel.kyb", kFileWrite);
  EXPECT_TRUE(KYLockFileShared(second)) << "shared by all who ask through the library";
  KYUnlockFile(second);
  openOther();
  EXPECT_EQ(otherLocks(), 33);
  KYUnlockFile(file);
  EXPECT_EQ(otherLocks(), 0);
}

TEST_F(DiskFacts, TellNameAndTime) {
  const Opened file(path, kFileCreate);
  char name[16];
  EXPECT_STREQ(KYGetFileName(file, name, 5), "Reel");
  struct timespec times[2] = {{0, UTIME_OMIT}, {1'000'000'000, 1'234'567}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  Int64 changed = 0;
  KYGetFileModDateTime(file, &changed);
  EXPECT_EQ(changed, (11644473600 + 1'000'000'000) * 10'000'000 + 12'345);
}
