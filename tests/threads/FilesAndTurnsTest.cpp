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
  KySetAdditionalIOLatency(slow, false, 0);
}

TEST_F(FilesAndTurns, EachTransferEndsInATurnOfItsOwnEvenIfItFails) {
  constexpr int kThreads = 4, kRounds = 150;
  // Not atomic: between transfers only one of the threads runs.
  int done = 0, failures = 0, wrong = 0, forced = 0;
  const auto transfers = [&](int number) {
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
      ++done;
    }
    KYCloseFile(file);
  };
  std::vector<std::unique_ptr<Worker>> workers;
  int ended = 0;
  for (int i = 0; i < kThreads; ++i) {
    workers.push_back(std::make_unique<Worker>([&, i](Worker& it) {
      transfers(i);
      ++ended;
      it.Terminate();
    }));
  }
  for (const auto& worker : workers) worker->Resume();
  transfers(kThreads);
  ASSERT_TRUE(runUntil([&] { return ended == kThreads; }));
  SetForceDiskWriteErr(0, 0);
  EXPECT_EQ(done, (kThreads + 1) * kRounds);
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(failures, 0);
  EXPECT_LE(failures, forced);
}

TEST_F(FilesAndTurns, PreemptiveThreadsShareAFileBesideThem) {
  std::vector<std::unique_ptr<Worker>> workers;
  std::atomic<int> ended{0}, wrong{0};
  const auto transfers = [&](int number) {
    fileRec_t** const file = openFile((path + std::to_string(number / 2)).c_str(), kFileReadWrite, 0, OSVolID());
    for (Long round = 0; round < 300; ++round) {
      Long back = 0;
      KYWriteFile(file, number * 4, kFromStart, 4, &round);
      KYReadFile(file, &back, number * 4, kFromStart, 4);
      wrong += back != round;
    }
    KYCloseFile(file);
    ++ended;
  };
  for (int i = 0; i < 4; ++i) {
    const auto type = i % 2 ? KyCoreThread_Preemptive : KyCoreThread_Cooperative;
    workers.push_back(std::make_unique<Worker>(
        [&, i](Worker& it) {
          transfers(i);
          it.Terminate();
        },
        type));
    workers.back()->Resume();
  }
  ASSERT_TRUE(runUntil([&] { return ended == 4; }));
  EXPECT_EQ(wrong, 0);
}

}  // namespace
