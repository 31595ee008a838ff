// Disks and memory that fail at every step of a command.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "apps/kydoc/Inspector.h"
#include "apps/reel/ReelCommands.h"
#include "core/filesys/DiskRtns.h"
#include "core/mem/KyMemory.h"
#include "platform/Errors.h"
#include "tests/reel/SomeEdl.h"
#include "tests/support/Leaks.h"
#include "tests/support/Raised.h"
#include "tests/support/TempFolder.h"

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

  /// What a command leaves: all or nothing, nothing beside it, and no open file.
  void expectWhole(const Command& command, bool failed, std::ptrdiff_t opened) {
    EXPECT_EQ(ky::test::openDescriptors(), opened);
    const std::string saved = command.saved;
    if (saved.empty()) return;
    if (failed) {
      const std::vector<std::uint8_t> old = bytesOf(folder / saved);
      EXPECT_EQ(std::string(old.begin(), old.end()), saved == "new.kyb" ? "" : kOld);
      EXPECT_EQ(std::filesystem::exists(folder / saved), saved != "new.kyb");
    }
    EXPECT_LE(temporariesOf(saved), 1);  // the old one, where the fault was met in removing it
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
  ky::test::TempFolder folder;
};

struct Fault {
  const char* operation;
  void (*force)(int code, int count);
  int (*take)();
  int number;
  const char* code;
};

constexpr Fault kFaults[] = {
    {"read", SetForceDiskReadErr, GetForceDiskReadErr, ky::platform::kDeviceError, "DISK_IO_ERROR"},
    {"write", SetForceDiskWriteErr, GetForceDiskWriteErr, ky::platform::kDiskFull, "DISK_FULL"},
    {"open", SetForceDiskOpenErr, GetForceDiskOpenErr, ky::platform::kTooManyOpen, "DISK_TOO_MANY_OPEN"},
    {"delete", SetForceDiskDeleteErr, GetForceDiskDeleteErr, ky::platform::kAccessDenied, "DISK_ACCESS_DENIED"},
    {"rename", SetForceDiskRenameErr, GetForceDiskRenameErr, ky::platform::kSharingViolation,
     "DISK_SHARING_VIOLATION"}};

/// Takes back a fault that was not met.
bool wasMet(const Fault& fault, int nth) {
  bool isLeft = false;
  for (int i = 0; i < nth && !isLeft; ++i) isLeft = fault.take() != 0;
  fault.force(0, 0);
  return !isLeft;
}

}  // namespace

TEST_F(Faults, EveryDiskOperationThatFailsLeavesTheOldFileWhole) {
  prepare(4000);
  int met = 0;
  for (const Command& command : commands()) {
    for (const Fault& fault : kFaults) {
      bool isMet = true;
      for (int nth = 1; isMet; ++nth) {
        SCOPED_TRACE(std::string(command.name) + ", " + fault.operation + " " + std::to_string(nth));
        restore();
        const std::ptrdiff_t opened = ky::test::openDescriptors();
        fault.force(fault.number, nth);
        const XError error = errorRaisedBy(command.run);
        isMet = wasMet(fault, nth);
        met += isMet;
        if (error.GetCode()) {
          EXPECT_TRUE(isMet && error.FindCode(fault.code)) << error.GetCode();
        }
        expectWhole(command, error.GetCode() != nullptr, opened);
        ASSERT_LT(nth, 100);
      }
    }
  }
  EXPECT_GT(met, 20);
}

TEST_F(Faults, TheErrorOfASaveNamesTheFileThatWasAskedFor) {
  prepare(4000);
  for (const Fault& fault : {kFaults[1], kFaults[4]}) {
    fault.force(fault.number, 1);
    const XError error = errorRaisedBy([&] { reel::importEdl(folder / "in.edl", folder / "out.kyb", {}); });
    EXPECT_STREQ(error.GetCode(), fault.code);
    EXPECT_EQ(ky::test::parm(error, "filename"), folder / "out.kyb");
    fault.force(0, 0);
  }
}

TEST_F(Faults, EveryAllocationThatFailsLeavesTheOldFileWhole) {
  prepare(3);
  int met = 0;
  for (const Command& command : commands()) {
    bool isMet = true;
    for (Long nth = 1; isMet; ++nth) {
      SCOPED_TRACE(std::string(command.name) + ", allocation " + std::to_string(nth));
      restore();
      const std::ptrdiff_t opened = ky::test::openDescriptors();
      // Short of memory, a load leaves its objects where they are: walking them could need more.
      const auto run = [&] {
        if (!command.loads) return command.run();
        const ky::test::LeaksAreNoFault byDesign;
        command.run();
      };
      XError error;
      {
        const ky::AllocationFailure failure(nth);
        error = errorRaisedBy(run);
        isMet = failure.happened();
      }
      met += isMet;
      if (error.GetCode()) {
        EXPECT_TRUE(isMet && error.FindCode("MEM_OUT_OF_MEMORY")) << error.GetCode();
      }
      expectWhole(command, error.GetCode() != nullptr, opened);
      ASSERT_LT(nth, 5000);
    }
  }
  EXPECT_GT(met, 100);
}
