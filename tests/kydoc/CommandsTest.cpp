// The commands as their users see them: what they print, and their exit status.
#include "apps/kydoc/KydocCommands.h"

#include "apps/support/Program.h"
#include "tests/objsys/Film.h"
#include "tests/support/failing/NewFailure.h"

namespace {

using namespace ky::test;

struct Shown {
  int status = -1;
  std::string out, err;
};

class KydocCommands : public testing::Test {
 protected:
  KydocCommands() { folder.write("a.kyb", saved(ky::Owned<Clip>(Clip::New("a")).get())); }

  static void begin() {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
  }
  static Shown end(int status) {
    return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
  }
  static Shown run(const std::function<int()>& command) {
    begin();
    return end(support::runWork("kydoc", command));
  }

  const TempFolder folder;
  const std::string document = folder / "a.kyb";
  // Each, and whether it makes JSON.
  const std::pair<std::function<int()>, bool> commands[7] = {{[this] { return kydoc::info(document, false); }, false},
                                                             {[this] { return kydoc::info(document, true); }, true},
                                                             {[this] { return kydoc::dump(document, false); }, false},
                                                             {[this] { return kydoc::dump(document, true); }, true},
                                                             {[this] { return kydoc::verify(document); }, false},
                                                             {[] { return kydoc::volumes(false); }, false},
                                                             {[] { return kydoc::volumes(true); }, true}};
};

/// How much is free may change from one call to the next.
std::string withoutDigits(std::string text) {
  std::erase_if(text, [](char c) { return (c >= '0' && c <= '9') || c == ' ' || c == '.'; });
  return text;
}

}  // namespace

TEST_F(KydocCommands, WordWhateverFailsAndWorkTheNextTime) {
  int met = 0;
  for (const auto& [command, makesJson] : commands) {
    std::vector<Fault> faults = diskFaults();
    faults.push_back(memoryFault());
    // The JSON library takes memory in destructors too, which no program survives the lack of.
    if (!makesJson) faults.push_back(newFault());
    const Shown whole = run(command);
    ASSERT_EQ(whole.status, 0) << whole.err;
    for (const Fault& fault : faults) {
      int status = -1;
      const std::string code = fault.name == std::string("new") ? "MEM_OUT_OF_MEMORY" : fault.code;
      met += failEachStep(
          fault, begin, [&] { status = support::runWork("kydoc", command); },
          [&](const XError&) {
            const Shown shown = end(status);
            if (status == 0) {
              EXPECT_EQ(withoutDigits(shown.out), withoutDigits(whole.out));
              EXPECT_EQ(shown.err, "");
            } else {
              EXPECT_EQ(status, 1);
              EXPECT_TRUE(shown.err.starts_with("kydoc: " + code + ": ")) << shown.err;
            }
          });
    }
    EXPECT_EQ(run(command).status, 0);
  }
  EXPECT_GT(met, 150);
}
