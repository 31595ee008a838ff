// Disks and memory that fail at every step of a command.
#include "apps/kydoc/Inspector.h"
#include "apps/reel/ReelCommands.h"
#include "tests/reel/SomeEdl.h"
#include "tests/support/Damage.h"
#include "tests/support/failing/NewFailure.h"

using namespace ky::test;
using reel::test::cuts;

namespace {

/// A folder with an edit list, a document and an exported list of other contents, and a save that was cut off.
class Faults : public testing::Test {
 protected:
  struct Command {
    const char* name;
    std::string saved;  // "" for a command that saves nothing
    std::function<void()> run;
    bool loads = false;
  };

  static void SetUpTestSuite() { reel::test::registerOnce(); }

  void prepare(int events) {
    folder.write("in.edl", cuts(events));
    reel::importEdl(folder / "in.edl", folder / "in.kyb", {});
    restore();
  }
  void restore() {
    std::filesystem::remove(folder / "new.kyb");
    for (const char* name : {"out.kyb", "out.edl"}) folder.write(name, kOld);
    for (const char* name : {"new.kyb~1-1", "out.kyb~1-1", "out.edl~1-1"}) folder.write(name, "half");
  }
  std::vector<Command> commands() {
    return {
        {"import", "new.kyb", [this] { reel::importEdl(folder / "in.edl", folder / "new.kyb", {}); }},
        {"import over a document", "out.kyb", [this] { reel::importEdl(folder / "in.edl", folder / "out.kyb", {}); }},
        {"list", "", [this] { reel::listAsTable(reel::loadDocument(folder / "in.kyb")); }, true},
        {"export", "out.edl", [this] { reel::exportEdl(folder / "in.kyb", folder / "out.edl"); }, true}};
  }

  /// Returns:  how many failures were met.
  int failEach(const Command& command, const Fault& fault) {
    SCOPED_TRACE(command.name);
    return failEachStep(
        fault, [this] { restore(); }, command.run, [&](const XError& error) { expectWhole(command, error); });
  }

  /// What a command leaves: all or nothing, and nothing beside it but an old temporary that could not be removed.
  void expectWhole(const Command& command, const XError& error) {
    const std::string& saved = command.saved;
    if (saved.empty()) return;
    if (error.GetCode()) {
      EXPECT_EQ(folder.read(saved), saved == "new.kyb" ? "" : kOld);
      EXPECT_EQ(std::filesystem::exists(folder / saved), saved != "new.kyb");
      EXPECT_EQ(parm(error, "filename").find('~'), std::string::npos) << "nobody asked for the temporary file";
    }
    EXPECT_LE(folder.files(saved + "~"), 1);
    EXPECT_EQ(codeRaisedBy(command.run), "");
    EXPECT_EQ(folder.files(saved + "~"), 0);
    if (saved.ends_with(".kyb")) {
      EXPECT_FALSE(kydoc::inspect(bytesOf(folder / saved), {}, {}).fault);
    }
  }

  static constexpr const char* kOld = "as it was before";
  TempFolder folder{quickPlace()};
};

}  // namespace

TEST_F(Faults, EveryStepThatFailsLeavesTheOldFileWhole) {
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
