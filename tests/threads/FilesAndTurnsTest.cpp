// Files that are read and written by threads which take turns.
#include <memory>

#include "core/filesys/DiskRtns.h"
#include "tests/support/TempFolder.h"
#include "tests/threads/CoreThreads.h"

using namespace ky;
using namespace ky::test;

using FilesAndTurns = CoreThreadTest;

TEST_F(FilesAndTurns, BothKindsOfThreadsShareAFileThoughWritesFail) {
  const TempFolder folder;
  const std::string path = folder / "shared";
  constexpr int kThreads = 4, kRounds = 150;
  std::atomic<int> failures{0}, wrong{0}, forced{0}, ended{0};
  const auto transfers = [&](int number) {
    fileRec_t** const file = openFile(path.c_str(), kFileReadWrite, 0, OSVolID());
    for (int round = 0; round < kRounds; ++round) {
      if (round % 10 == 9) SetForceDiskWriteErr(112, 1), ++forced;
      const Long value = number * 1000 + round;
      Long back = value;
      const std::string code = codeRaisedBy([&] {
        KYWriteFile(file, number * 4, kFromStart, 4, &value);
        KYReadFile(file, &back, number * 4, kFromStart, 4);
      });
      failures += code == "DISK_FULL";
      wrong += back != value || (code != "" && code != "DISK_FULL");
    }
    KYCloseFile(file);
    ++ended;
  };
  std::vector<std::unique_ptr<Worker>> workers;
  for (int i = 0; i < kThreads; ++i) {
    const auto run = [&transfers, i](Worker& it) {
      transfers(i);
      it.Terminate();
    };
    workers.push_back(std::make_unique<Worker>(run, i % 2 ? KyCoreThread_Preemptive : KyCoreThread_Cooperative));
    workers.back()->Resume();
  }
  transfers(kThreads);
  ASSERT_TRUE(runUntil([&] { return ended == kThreads + 1; }));
  SetForceDiskWriteErr(0, 0);
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(failures > 0 && failures <= forced);
}
