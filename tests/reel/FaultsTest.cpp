// Disks and memory that fail at every step of a command.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "apps/kydoc/Inspector.h"
#include "apps/reel/ReelCommands.h"
#include "tests/reel/SomeEdl.h"
#include "tests/support/Leaks.h"
#include "tests/support/Raised.h"
#include "tests/support/failing/NewFailure.h"

namespace {

using ky::test::bytesOf;
using ky::test::errorRaisedBy;

std::string cut(int events) {
  std::string text = "TITLE: T\n";
  for (int i = 1; i <= events; ++i) {
    char line[96];
    std::snprintf(line, sizeof line, "%03d AX V C 00:00:10:00 00:00:12:00 01:00:00:00 01:00:02:00\n", i % 1000);
    text += line;
  }
  return text;
}

/// A folder with an edit list, a document and an exported list of other contents, and a save that was cut off.
class Faults : public testing::Test {
 protected:
  struct Command {
    const char* name;
    const char* saved;  // "" for a command that saves nothing
    std::function<void()> run;
    bool loads = false;
  };

  static void SetUpTestSuite() { reel::test::registerOnce(); }

  void prepare(int events) {
    write("in.edl", cut(events));
    write("other.edl", cut(1));
    reel::importEdl(folder / "in.edl", folder / "in.kyb", {});
    reel::importEdl(folder / "other.edl", folder / "out.kyb", {});
    restore();
  }
  void restore() {
    std::filesystem::remove(folder / "new.kyb");
    write("out.kyb", kOld);
    write("out.edl", kOld);
    for (const char* name : {"new.kyb", "out.kyb", "out.edl"}) write(std::string(name) + "~1-1", "half");
  }
  std::vector<Command> commands() {
    return {
        {"import", "new.kyb", [this] { reel::importEdl(folder / "in.edl", folder / "new.kyb", {}); }},
        {"import over a document", "out.kyb", [this] { reel::importEdl(folder / "in.edl", folder / "out.kyb", {}); }},
        {"list", "", [this] { reel::listAsTable(reel::loadDocument(folder / "in.kyb")); }, true},
        {"export", "out.edl", [this] { reel::exportEdl(folder / "in.kyb", folder / "out.edl"); }, true}};
  }

  /// Returns:  how many failures were met.
  int failEach(const Command& command, const ky::test::Fault& fault) {
    SCOPED_TRACE(command.name);
    return ky::test::failEachStep(
        fault, [this] { restore(); }, command.run, [&](const XError& error) { expectWhole(command, error); });
  }

  /// What a command leaves: all or nothing, and nothing beside it but an old temporary that could not be removed.
  void expectWhole(const Command& command, const XError& error) {
    const std::string saved = command.saved;
    if (saved.empty()) return;
    if (error.GetCode()) {
      const std::vector<std::uint8_t> old = bytesOf(folder / saved);
      EXPECT_EQ(std::string(old.begin(), old.end()), saved == "new.kyb" ? "" : kOld);
      EXPECT_EQ(std::filesystem::exists(folder / saved), saved != "new.kyb");
      // Nobody asked for the temporary file.
      EXPECT_EQ(ky::test::parm(error, "filename").find('~'), std::string::npos);
    }
    EXPECT_LE(temporariesOf(saved), 1);
    EXPECT_EQ(ky::test::codeRaisedBy(command.run), "");
    EXPECT_EQ(temporariesOf(saved), 0);
    if (saved.ends_with(".kyb")) {
      EXPECT_FALSE(kydoc::inspect(bytesOf(folder / saved), {}, {}).fault);
    }
  }

  std::ptrdiff_t temporariesOf(const std::string& saved) const {
    const std::filesystem::directory_iterator files(folder.path);
    return std::count_if(begin(files), end(files),
                         [&](const auto& entry) { return entry.path().filename().string().starts_with(saved + "~"); });
  }
  void write(const std::string& name, const std::string& text) {
    ky::test::writeBytes(folder / name, {text.begin(), text.end()});
  }

  static constexpr const char* kOld = "as it was before";
  ky::test::TempFolder folder{ky::test::quickPlace()};
};

}  // namespace

TEST_F(Faults, EveryStepThatFailsLeavesTheOldFileWhole) {
  using namespace ky::test;
  int met = 0;
  prepare(4000);
  for (const Command& command : commands()) {
    for (const Fault& fault : diskFaults()) met += failEach(command, fault);
  }
  EXPECT_GT(met, 20);
  prepare(2);
  for (Command command : commands()) {
    // Short of memory, a load leaves its objects where they are: walking them could need more.
    if (command.loads) {
      command.run = [run = command.run] {
        const LeaksAreNoFault byDesign;
        run();
      };
    }
    met += failEach(command, memoryFault()) + failEach(command, newFault());
  }
  EXPECT_GT(met, 120);
}
