#include "core/filesys/SafeSave.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "core/filesys/CoreWinLocators.h"
#include "core/filesys/DiskRtns.h"
#include "core/mem/Owned.h"
#include "core/utils/AStream.h"
#include "tests/support/Raised.h"
#include "tests/support/TempFolder.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr Long kLong = 300'000;  // more than a buffer, so that the disk is written to while the document is

struct Document {
  Document() { set('o', 10); }

  void set(char c, std::size_t length) { writeBytes(path, std::vector<std::uint8_t>(length, std::uint8_t(c))); }
  void save(char c) {
    const std::string text(kLong, c);
    safeSave(locator.get(), [&](AStream* stream) { stream->Write(text.data(), kLong); });
  }
  /// The letter that fills the file, with its length; "" for a mixture.
  std::string contents() const {
    const std::vector<std::uint8_t> bytes = bytesOf(path);
    const bool mixed =
        bytes.empty() || std::count(bytes.begin(), bytes.end(), bytes[0]) != std::ptrdiff_t(bytes.size());
    return mixed ? "" : char(bytes[0]) + std::to_string(bytes.size());
  }
  std::ptrdiff_t files() const { return std::distance(std::filesystem::directory_iterator(folder.path), {}); }

  TempFolder folder;
  std::string path = folder / "take.kyb";
  Owned<AFileLocator> locator{CoreWinFileLocator::New(folder.path.c_str(), "take.kyb")};
};

}  // namespace

TEST(SafeSave, TheNewDocumentTakesTheOldOnesPlaceAndAccess) {
  Document document;
  chmod(document.path.c_str(), 0640);
  document.save('n');
  EXPECT_EQ(document.contents(), "n300000");
  EXPECT_EQ(document.files(), 1);
  struct stat facts;
  ASSERT_EQ(stat(document.path.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0640u);
}

TEST(SafeSave, AnyFailureLeavesTheOldDocumentAndNothingElse) {
  const std::ptrdiff_t open = openDescriptors();
  const struct {
    const char* operation;
    void (*force)(int code, int count);
    int code;
    const char* want;
    int least;
  } cases[] = {{"open", SetForceDiskOpenErr, 5, "DISK_ACCESS_DENIED", 2},
               {"write", SetForceDiskWriteErr, 112, "DISK_FULL", 1},
               {"rename", SetForceDiskRenameErr, 5, "DISK_ACCESS_DENIED", 1}};
  for (const auto& c : cases) {
    int n = 1;
    for (;; ++n) {
      SCOPED_TRACE(std::string(c.operation) + " " + std::to_string(n));
      Document document;
      c.force(c.code, n);
      const std::string code = codeRaisedBy([&] { document.save('n'); });
      c.force(0, 0);
      EXPECT_EQ(document.files(), 1);
      EXPECT_EQ(document.contents(), code.empty() ? "n300000" : "o10");
      if (code.empty()) break;
      EXPECT_EQ(code, c.want);
    }
    EXPECT_GT(n, c.least) << c.operation;
  }
  Document document;
  EXPECT_EQ(codeRaisedBy([&] { safeSave(document.locator.get(), [](AStream*) { +XError("OWN_TROUBLE", 0); }); }),
            "OWN_TROUBLE");
  EXPECT_EQ(document.contents(), "o10");
  EXPECT_EQ(document.files(), 1);
  EXPECT_EQ(openDescriptors(), open);
}

TEST(SafeSave, WhatAnEndedProcessLeftIsClearedAndWhatALivingOneFillsIsNot) {
  Document document;
  const pid_t child = fork();
  if (child == 0) {
    safeSave(document.locator.get(), [](AStream* stream) {
      stream->WriteLong(nullptr, 1);
      stream->Flush();
      raise(SIGKILL);
    });
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(document.contents(), "o10");
  EXPECT_EQ(document.files(), 2) << "the child's";
  writeBytes(document.folder / "take.kyb~notes", {1});
  safeSave(document.locator.get(), [&](AStream*) {
    document.save('i');
    EXPECT_EQ(document.files(), 3) << "the document, the notes, the save that goes on";
  });
  EXPECT_EQ(document.files(), 2);
  EXPECT_EQ(bytesOf(document.path).size(), 0u);
}
