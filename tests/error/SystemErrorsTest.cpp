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
      {38, "DISK_EOF"},
      {183, "DISK_FILE_ALREADY_EXISTS"},
      {platform::fileErrorOf(ENOSPC), "DISK_FULL"},
      {267, "DISK_DIR_NOT_FOUND"},
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

TEST(SystemErrors, TextsAreTheHostsAndFitTheBuffer) {
  char text[64];
  platform::errorText(platform::fileErrorOf(ENOMEM), text, sizeof text);
  EXPECT_STREQ(text, std::strerror(ENOMEM));
  const XError error = errorRaisedBy([] { xraiseWinFileError(5, "reel.bin"); });
  EXPECT_TRUE(error.GetParmAsString(text, sizeof text, 1, "msg"));
  EXPECT_STREQ(text, std::strerror(EACCES));
  platform::errorText(5, text, 4);
  EXPECT_EQ(std::strlen(text), 3u);
  EXPECT_EQ(codeRaisedBy([] { SysNTerrorRaise(2); }), std::string("System error:\n") + std::strerror(ENOENT));
}

TEST(ExceptionContainer, DeliversWhatWasStoredOnceWithoutLoggingIt) {
  static int lines;
  ExceptionContainer container;
  EXPECT_TRUE(container.StoreExceptionMessage(XError()));
  EXPECT_FALSE(container.IsThereAStoredException());
  char text[64] = "before!";
  container.GetExceptionString(text, 8);
  EXPECT_EQ(std::string(text, 8), std::string(8, '\0'));

  EXPECT_TRUE(container.StoreExceptionMessage(XError("CODE", "int n", 4, 0)));
  EXPECT_TRUE(container.StoreExceptionMessage(XError())) << "changes nothing";
  container.GetExceptionString(text, sizeof text);
  EXPECT_STREQ(text, "Exception: CODE, n:4");
  xSetLogFunc([](const char*) { return ++lines; });
  EXPECT_EQ(wordsOf(errorRaisedBy([&] { container.DoStoredException(); })), text);
  xSetLogFunc(nullptr);
  EXPECT_EQ(lines, 0);
  EXPECT_EQ(codeRaisedBy([&] { container.DoStoredException(); }), "");
}
