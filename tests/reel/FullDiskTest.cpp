// A disk that fills up part-way through a save: a small file system in memory, mounted for the test alone.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "tests/support/TempFolder.h"

namespace {

/// Each of the steps prints its name if it went as it must.
constexpr const char* kScript = R"sh(
  mount -t tmpfs -o size=1m none disk && cd disk && echo mounted || exit
  "$REEL" import ../small.edl out.kyb >../log && cp ../small.edl out.edl && cp out.kyb ../old.kyb && echo saved
  "$REEL" import ../large.edl ../large.kyb >../log
  head -c 900000 /dev/zero >filler
  "$REEL" import ../large.edl out.kyb 2>../err; [ $? = 1 ] && echo import fails
  grep -q '^reel: DISK_FULL: there is no room left on the disk for "out.kyb"' ../err && echo in words
  "$REEL" export ../large.kyb out.edl 2>../err; [ $? = 1 ] && grep -q '^reel: DISK_FULL: ' ../err && echo export fails
  cmp out.kyb ../old.kyb && cmp out.edl ../small.edl && [ "$(ls | tr '\n' ' ')" = 'filler out.edl out.kyb ' ] && echo all as it was
  rm filler
  "$REEL" import ../large.edl out.kyb >../log && "$REEL" export out.kyb out.edl >../log && echo works once there is room
)sh";

}  // namespace

TEST(FullDisk, LeavesTheOldFilesAndNothingElse) {
  const ky::test::TempFolder folder;
  std::string list;
  for (int i = 0; i < 6000; ++i) {
    list += "001 AX V C 00:00:10:00 00:00:12:00 01:00:00:00 01:00:02:00\n";
    if (i == 10) ky::test::writeBytes(folder / "small.edl", {list.begin(), list.end()});
  }
  ky::test::writeBytes(folder / "large.edl", {list.begin(), list.end()});
  std::filesystem::create_directory(folder / "disk");
  ky::test::writeBytes(folder / "script", {kScript, kScript + std::string_view(kScript).size()});

  const auto run = [&](const char* apart) {
    const std::string line = "cd '" + folder.path + "' && REEL='" KY_REEL "' " + apart + " sh script >told 2>errors";
    EXPECT_NE(std::system(line.c_str()), -1);
    const auto told = ky::test::bytesOf(folder / "told");
    return std::string(told.begin(), told.end());
  };
  std::string told = run("unshare -m");
  if (told.empty()) told = run("unshare -rm");
  if (told.empty())
    GTEST_SKIP() << "no file system may be mounted here; disks that are said to be full are tested all the same";
  EXPECT_EQ(told, "mounted\nsaved\nimport fails\nin words\nexport fails\nall as it was\nworks once there is room\n");
}
