// A disk that fills up part-way through a save: a small file system in memory, mounted for the test alone.
#include "tests/reel/SomeEdl.h"

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
  folder.write("small.edl", reel::test::cuts(11));
  folder.write("large.edl", reel::test::cuts(6000));
  folder.write("script", kScript);
  std::filesystem::create_directory(folder / "disk");
  const auto run = [&](const char* apart) {
    const std::string line = "cd '" + folder.path + "' && REEL='" KY_REEL "' " + apart + " sh script >told 2>errors";
    EXPECT_NE(std::system(line.c_str()), -1);
    return folder.read("told");
  };
  std::string told = run("unshare -m");
  if (told.empty()) told = run("unshare -rm");
  if (told.empty())
    GTEST_SKIP() << "no file system may be mounted here; disks that are said to be full are tested all the same";
  EXPECT_EQ(told, "mounted\nsaved\nimport fails\nin words\nexport fails\nall as it was\nworks once there is room\n");
}
