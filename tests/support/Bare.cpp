#include "tests/support/Bare.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "core/error/Fatal.h"
#include "core/error/SystemErrors.h"
#include "core/utils/MetaBase.h"

namespace ky::test {
namespace {

bool sBare = false;

std::string programPath() {
  char path[4096];
  const auto length = readlink("/proc/self/exe", path, sizeof path);
  return std::string(path, length > 0 ? static_cast<std::size_t>(length) : 0);
}

}  // namespace

unsigned char raiseFatal(const char* msg, const char* file, int line) { FatalErrXRaise(msg, file, line); }

void raiseFatals() {
  MBInit();
  FtlInstall(raiseFatal);
}

bool isBareProcess(int argc, char** argv) {
  sBare = std::any_of(argv, argv + argc, [](const char* arg) { return std::string_view(arg) == "--bare"; });
  return sBare;
}

void inBareProcess(void (*body)()) {
  if (sBare) return body();
  const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
  const std::string command =
      "exec '" + programPath() + "' --bare --gtest_filter=" + test->test_suite_name() + "." + test->name() + " 2>&1";
  std::FILE* const child = popen(command.c_str(), "r");
  ASSERT_NE(child, nullptr);
  std::string output;
  for (char line[256]; std::fgets(line, sizeof line, child);) output += line;
  EXPECT_EQ(pclose(child), 0) << output;
}

}  // namespace ky::test
