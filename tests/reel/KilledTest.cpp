// Saves whose process is killed.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include "apps/kydoc/Inspector.h"
#include "apps/reel/EditList.h"
#include "core/base/Sanitizers.h"
#include "tests/reel/SomeEdl.h"

using ky::test::bytesOf;

namespace {

class KilledSave : public testing::Test {
 protected:
  static void SetUpTestSuite() { reel::test::registerOnce(); }

  pid_t start(const std::string& title) {
    const char* const arguments[] = {"reel", "import", in.c_str(), out.c_str(), "--title", title.c_str(), nullptr};
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    EXPECT_EQ(posix_spawn(&child, KY_REEL, &quiet, nullptr, const_cast<char**>(arguments), environ), 0);
    posix_spawn_file_actions_destroy(&quiet);
    return child;
  }
  static int statusOf(pid_t child) {
    int status = -1;
    waitpid(child, &status, 0);
    return status;
  }
  static bool isRunning(pid_t child) {
    siginfo_t ended = {};
    waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT);
    return ended.si_pid == 0;
  }

  ky::test::TempFolder folder;
  const std::string in = folder / "in.edl", out = folder / "out.kyb";
};

}  // namespace

TEST_F(KilledSave, LeavesTheOldOrTheNewDocumentAndNothingBesideAfterTheNext) {
  folder.write("in.edl", reel::test::cuts(6000));
  ASSERT_EQ(statusOf(start("0")), 0);
  const char* const wanted = std::getenv("KY_KILLS");
  const int kills = wanted ? std::atoi(wanted) : ky::kAddressesChecked ? 20 : 200;
  std::mt19937 random(9);
  std::string title = "0";
  unsigned whole = 30000;  // microseconds that an import may take; follows what is met
  for (int i = 1, killed = 0; killed < kills; ++i) {
    ASSERT_LT(i, kills * 20);
    const pid_t child = start(std::to_string(i));
    // Every other one is killed while its temporary file is there.
    while (i % 2 == 0 && folder.files() <= 2 && isRunning(child)) {
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % (i % 2 == 0 ? whole / 4 : whole)));
    kill(child, SIGKILL);
    const bool wasKilled = WIFSIGNALED(statusOf(child));
    killed += wasKilled;
    whole = wasKilled ? whole + whole / 8 : whole - whole / 8 + 10;
    const auto document = bytesOf(out);
    ASSERT_FALSE(kydoc::inspect(document, {}, {}).fault) << i;
    const std::string found = reel::fromDocument(document)->toText().title;
    ASSERT_TRUE(found == title || found == std::to_string(i)) << found;
    title = found;
  }
  ASSERT_EQ(statusOf(start("last")), 0);
  EXPECT_EQ(folder.files(), 2);
}
