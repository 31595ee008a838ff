// Files that are read and written by threads which take turns.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <vector>

#include "core/filesys/DiskRtns.h"
#include "tests/support/Raised.h"
#include "tests/support/TempFolder.h"
#include "tests/threads/CoreThreads.h"

namespace {

using namespace ky;
using namespace ky::test;

class FilesAndTurns : public testing::Test {
 protected:
  FilesAndTurns() { KyCoreThreadInit(); }

  const TempFolder folder;
  const std::string path = folder / "shared";
};

TEST_F(FilesAndTurns, OthersRunWhileTheDiskWorks) {
  writeBytes(path, {1, 2, 3});
  const OSVolID slow(90);
  KySetAdditionalIOLatency(slow, false, 5);
  std::promise<void> asleep, awake;
  const auto wake = awake.get_future();
  std::atomic<bool> once{false};
  const SleptClock clock([&] {
    if (once.exchange(true)) return;
    asleep.set_value();
    wake.wait();
  });
  char got[3] = {};
  bool isRead = false;
  Worker worker([&](Worker& it) {
    fileRec_t** const file = openFile(path.c_str(), kFileRead, 0, slow);
    KYReadFile(file, got, 0, kFromStart, 3);
    isRead = true;
    KYCloseFile(file);
    it.Terminate();
  });
  worker.Resume();
  // The reader stands in the middle of its read, and this thread has its turn all the same.
  auto isAsleep = asleep.get_future();
  ASSERT_TRUE(runUntil([&] { return isAsleep.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
  EXPECT_EQ(got[2], 0);
  awake.set_value();
  ASSERT_TRUE(runUntil([&] { return isRead; }));
  EXPECT_EQ(got[2], 3);
  // By the hooked clock the patience of the worker's end would be over at once.
  ASSERT_TRUE(runUntil([&] { return !worker.IsThreadAlive(); }));
  KySetAdditionalIOLatency(slow, false, 0);
}

TEST_F(FilesAndTurns, BothKindsOfThreadsShareAFileThoughWritesFail) {
  constexpr int kThreads = 4, kRounds = 150;
  std::atomic<int> failures{0}, wrong{0}, forced{0}, ended{0};
  int turns = 0;  // not atomic: between transfers only one of the cooperative threads runs
  const auto transfers = [&](int number, bool cooperative) {
    fileRec_t** const file = openFile(path.c_str(), kFileReadWrite, 0, OSVolID());
    for (int round = 0; round < kRounds; ++round) {
      if (round % 10 == 9) {
        SetForceDiskWriteErr(112, 1);
        ++forced;
      }
      const Long value = number * 1000 + round;
      Long back = value;
      const std::string code = codeRaisedBy([&] {
        KYWriteFile(file, number * 4, kFromStart, 4, &value);
        KYReadFile(file, &back, number * 4, kFromStart, 4);
      });
      failures += code == "DISK_FULL";
      wrong += back != value || (code != "" && code != "DISK_FULL");
      if (cooperative) ++turns;
    }
    KYCloseFile(file);
    ++ended;
  };
  std::vector<std::unique_ptr<Worker>> workers;
  for (int i = 0; i < kThreads; ++i) {
    const auto type = i % 2 ? KyCoreThread_Preemptive : KyCoreThread_Cooperative;
    workers.push_back(std::make_unique<Worker>(
        [&, i, type](Worker& it) {
          transfers(i, type == KyCoreThread_Cooperative);
          it.Terminate();
        },
        type));
    workers.back()->Resume();
  }
  transfers(kThreads, true);
  ASSERT_TRUE(runUntil([&] { return ended == kThreads + 1; }));
  SetForceDiskWriteErr(0, 0);
  EXPECT_EQ(turns, 3 * kRounds);
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(failures > 0 && failures <= forced);
}

}  // namespace
