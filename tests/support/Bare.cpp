#include "tests/support/Bare.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "core/error/SystemErrors.h"

namespace ky::test {

static bool sBare = false;

unsigned char raiseFatal(const char* msg, const char* file, int line) { FatalErrXRaise(msg, file, line); }

bool isBareProcess(int argc, char** argv) {
  sBare = std::any_of(argv, argv + argc, [](const char* arg) { return std::string_view(arg) == "--bare"; });
  return sBare;
}

void inBareProcess(void (*body)()) {
  if (sBare) return body();
  const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
  const std::string program = std::filesystem::read_symlink("/proc/self/exe");
  const std::string command = "'" + program + "' --bare --gtest_filter=" + test->test_suite_name() + "." + test->name();
  EXPECT_EQ(std::system(command.c_str()), 0);
}

}  // namespace ky::test
