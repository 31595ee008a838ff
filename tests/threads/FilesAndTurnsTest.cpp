// Files that are read and written by threads which take turns.
#include "tests/filesys/DiskSupport.h"
#include "tests/threads/CoreThreads.h"

using namespace ky;
using namespace ky::test;

using FilesAndTurns = CoreThreadTest;

TEST_F(FilesAndTurns, BothKindsOfThreadsShareAFileThoughWritesFail) {
  constexpr int kThreads = 5, kRounds = 150;
  const TempFolder folder;
  std::atomic<int> failures{0}, wrong{0};
  onCoreThreads(kThreads, [&](int number) {
    const Opened file(folder / "shared", kFileReadWrite);
    for (int round = 0; round < kRounds; ++round) {
      if (round % 10 == 9) SetForceDiskWriteErr(112, 1);
      const Long value = number * 1000 + round;
      Long back = value;
      const std::string code = codeRaisedBy([&] {
        KYWriteFile(file, number * 4, kFromStart, 4, &value);
        KYReadFile(file, &back, number * 4, kFromStart, 4);
      });
      failures += code == "DISK_FULL";
      wrong += back != value || (code != "" && code != "DISK_FULL");
    }
  });
  SetForceDiskWriteErr(0, 0);
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(failures > 0 && failures <= kThreads * kRounds / 10);
}
