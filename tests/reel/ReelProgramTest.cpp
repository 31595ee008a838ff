// The program as its users run it.
#include <sys/wait.h>

#include "tests/reel/SomeEdl.h"

using reel::test::cuts;

namespace {

struct Ran {
  int status;
  std::string out, err;
};

class ReelProgram : public testing::Test {
 protected:
  Ran run(const std::string& arguments) const {
    const std::string line = "cd '" + folder.path + "' && >out 2>err '" KY_REEL "' " + arguments;
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.read("out"), folder.read("err")};
  }

  const ky::test::TempFolder folder;
};

}  // namespace

TEST_F(ReelProgram, PipesAreReadAndWritten) {
  const std::string list = reel::writeEdl(reel::readEdl(cuts(3000), {}, {}));  // longer than what a pipe holds
  folder.write("a.edl", list);
  EXPECT_EQ(run("import a.edl a.kyb").status, 0);
  EXPECT_EQ(run("export a.kyb b.edl").status, 0);
  EXPECT_TRUE(folder.read("b.edl") == list);
  const std::string pipeline = "cd '" + folder.path +
                               "' && cat a.edl | '" KY_REEL
                               "' import /dev/stdin b.kyb >out 2>err && cat b.kyb | '" KY_REEL
                               "' export /dev/stdin /dev/stdout 2>>err | cat >c.edl";
  EXPECT_EQ(std::system(pipeline.c_str()), 0);
  EXPECT_EQ(folder.read("err"), "");
  EXPECT_TRUE(folder.read("c.edl") == list);
}

TEST_F(ReelProgram, ListsTheFieldsOfAnEvent) {
  folder.write("a.edl", cuts(1) +
                            "001 BX V D 024 00:00:10:00 00:00:12:00 01:00:02:00 01:00:04:00\n"
                            "M2 BX -12.5 00:00:10:00\n* TO CLIP NAME: b\nGPI\n");
  const Ran imported = run("import a.edl a.kyb --title 'Other  title'");
  EXPECT_EQ(imported.err, "reel: a.edl:6: not an edit list line, kept as a comment: GPI\n");
  const std::string json = run("list a.kyb --json").out;
  for (const char* part : {"\"title\": \"Other  title\"", "\"duration\": 96", "\"transitionFrames\": 24",
                           "\"clipName\": null", "\"speed\": -12.5", "\"recordOut\": \"01:00:04:00\"", "\"GPI\""})
    EXPECT_NE(json.find(part), std::string::npos) << part << " in " << json;
}

TEST_F(ReelProgram, RefusedInputLeavesNoOutputAndHarmsNone) {
  folder.write("bad.edl", cuts(1) + "002 AX V C 00:00:10:24 00:00:12:00 01:00:00:00 01:00:02:00\n");
  const Ran fresh = run("import bad.edl new.kyb");
  EXPECT_EQ(fresh.status, 3);
  EXPECT_EQ(fresh.err,
            "reel: bad.edl:3: the timecode \"00:00:10:24\" does not exist at 24 frames per second: frames from 00 to "
            "23 were expected (--fps tells another rate)\n");
  folder.write("old.kyb", "as it was");
  EXPECT_EQ(run("import bad.edl old.kyb").status, 3);
  EXPECT_EQ(folder.read("old.kyb"), "as it was");
  EXPECT_EQ(run("import bad.edl ./bad.edl").status, 3);
  EXPECT_EQ(folder.files(), 4);  // bad.edl, old.kyb, out, err
}

TEST_F(ReelProgram, FailuresAndWrongUsageAreWorded) {
  folder.write("a.edl", cuts(1));
  folder.write("not.kyb", "something else entirely");
  ASSERT_EQ(run("import a.edl a.kyb").status, 0);
  std::string bent = folder.read("a.kyb");
  bent[0x80] = 9;
  folder.write("bent.kyb", bent);
  const std::string longName(300, 'n');
  const struct {
    int status;
    std::string arguments, err;
  } cases[] = {
      {1, "import none.edl b.kyb", "DISK_FILE_NOT_FOUND: there is no file \"none.edl\"\n"},
      {1, "list not.kyb", "DOMAIN_BAD_MAGIC: not.kyb: this is not an object document\n"},
      {1, "list bent.kyb",
       "DOMAIN_COPYOUT_FAILED: bent.kyb: the document could not be read: an object of class 'EVNT' has version 9; "
       "known here are 1 to 1\n"},
      {1, "export a.kyb .", "DISK_ACCESS_DENIED: \".\" is a folder; a file was expected\n"},
      {1, "export a.kyb " + longName,
       "DISK_INVALID_FILENAME_SYNTAX: \"" + longName + "\" cannot be a file's name: it is"},
      {1, "list a.kyb >/dev/full", "DISK_WRITE_ERROR: standard output could not be written"},
      {1, "--help >/dev/full", "DISK_WRITE_ERROR: standard output could not be written"},
      {2, "", "one of import, list, export was expected\nRun reel --help for examples and options.\n"},
      {2, "frobnicate a", "one of import, list, export was expected, not \"frobnicate\"\n"},
      {2, "import a.edl", "OUT.kyb is required\nRun reel import --help for its options.\n"},
      {2, "import a.edl ''", "OUT.kyb: a file name was expected, not \"\"\n"},
      {2, "import a.edl a.kyb --fps", "--fps: one value was expected\n"},
      {2, "import a.edl a.kyb --fps 29.97", "--fps: one of 24, 25, 30, 48, 50, 60 was expected, not \"29.97\"\n"},
      {2, "list -- a.kyb b.kyb", "\"b.kyb\" was not expected\n"}};
  for (const auto& c : cases) {
    const Ran ran = run(c.arguments);
    EXPECT_EQ(ran.status, c.status) << c.arguments;
    EXPECT_TRUE(ran.err.starts_with("reel: " + c.err)) << ran.err;
    EXPECT_EQ(ran.out, "");
  }
  EXPECT_EQ(run("--help").status, 0);
}
