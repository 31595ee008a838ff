#include "core/error/SystemErrors.h"

#include <cerrno>

#include "core/error/ExceptionContainer.h"
#include "platform/Errors.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

TEST(SystemErrors, FileFailuresHaveADiskCodeAboveTheHostsNumber) {
  const std::pair<int, std::string> rows[] = {
      {platform::fileErrorOf(ENOENT), "DISK_FILE_NOT_FOUND"},
      {platform::fileErrorOf(ETXTBSY), "DISK_SHARING_VIOLATION"},
      {platform::fileErrorOf(EAGAIN), "DISK_FILE_LOCKED"},
      {platform::fileErrorOf(ENOSPC), "DISK_FULL"},
      {static_cast<int>(0x8003001E), "DISK_READ_ERROR"},
      {platform::fileErrorOf(ENOMEM), "FILE_OTHER"},
      {0, "FILE_OTHER"},
  };
  for (const auto& [number, code] : rows) {
    SCOPED_TRACE(number);
    const XError error = errorRaisedBy([&] { xraiseWinFileError(number, "reel.bin"); });
    EXPECT_EQ(wordsOf(error), "Exception: " + code + ", filename:reel.bin");
    EXPECT_STREQ(error.GetLevelCode(1), "SYS_ERROR");
    Long status = 0;
    EXPECT_TRUE(error.GetParm(&status, 1, "status"));
    EXPECT_EQ(status, number);
  }
}

TEST(ExceptionContainer, DeliversWhatWasStoredOnceWithoutLoggingIt) {
  static int lines;
  ExceptionContainer container;
  EXPECT_TRUE(container.StoreExceptionMessage(XError("CODE", "int n", 4, 0)));
  EXPECT_TRUE(container.StoreExceptionMessage(XError())) << "changes nothing";
  xSetLogFunc([](const char*) { return ++lines; });
  EXPECT_EQ(wordsOf(errorRaisedBy([&] { container.DoStoredException(); })), "Exception: CODE, n:4");
  xSetLogFunc(nullptr);
  EXPECT_EQ(lines, 0);
  EXPECT_EQ(codeRaisedBy([&] { container.DoStoredException(); }), "");
}
