#include "core/filesys/SafeSave.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <optional>

#include "core/filesys/CoreWinLocators.h"
#include "core/utils/AStream.h"
#include "tests/filesys/DiskSupport.h"

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

TEST(SafeSave, ALinkLeadsToTheDocumentAndAnythingButAFileIsLeftInItsPlace) {
  Document document;
  std::string deep = std::string(1018 - document.folder.path.size(), 'd') + '/';
  for (std::size_t at = 200; at < deep.size(); at += 200) deep[at] = '/';
  std::filesystem::create_directories(document.folder / deep);
  const struct {
    const char* what;
    std::string name;
    const char* code;
  } cases[] = {{"a link", "link", ""},
               {"a link to a link to nothing yet", "far", ""},
               {"a full device", "full", "DISK_FULL"},
               {"a folder", "", "DISK_ACCESS_DENIED"},
               {"a link to a folder", "here", "DISK_ACCESS_DENIED"},
               {"a document that is locked", "locked", "DISK_ACCESS_DENIED"},
               {"in a file", "take.kyb/inside", "DISK_FILE_NOT_FOUND"},
               {"a ring of links", "ring", "FILE_OTHER"},
               {"no room for the temporary name", deep + "a", "DISK_INVALID_FILENAME_SYNTAX"}};
  const TempFolder elsewhere;
  for (const auto& [name, target] :
       {std::pair("link", "take.kyb"), {"full", "/dev/full"}, {"here", "."}, {"ring", "ring"}})
    std::filesystem::create_symlink(target, document.folder / name);
  std::filesystem::create_symlink(elsewhere / "link", document.folder / "far");
  std::filesystem::create_symlink("new", elsewhere / "link");
  writeBytes(document.folder / "locked", {1});
  chmod((document.folder / "locked").c_str(), 0444);
  const std::ptrdiff_t files = document.files();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    document.locator->Set((document.folder / c.name).c_str(), nullptr);
    EXPECT_EQ(codeRaisedBy([&] { document.save('n'); }), c.code);
    EXPECT_EQ(document.files(), files);
  }
  EXPECT_EQ(document.contents(), "n300000");
  EXPECT_EQ(bytesOf(elsewhere / "new").size(), 300000u);
  EXPECT_TRUE(std::filesystem::is_symlink(document.folder / "link"));
}

#if !defined(KY_SANITIZED)  // whose checks of objects need files themselves
TEST(SafeSave, WhatFailsBehindTheReplacementHarmsNoDocument) {
  Document document;
  std::optional<Limit> noMoreFiles;
  EXPECT_EQ(codeRaisedBy([&] {
              safeSave(document.locator.get(), [&](AStream* stream) {
                stream->WriteLong(nullptr, 1);
                const int next = ::dup(STDIN_FILENO);
                ::close(next);
                noMoreFiles.emplace(RLIMIT_NOFILE, static_cast<rlim_t>(next));  // so the folder cannot be flushed
              });
            }),
            "DISK_TOO_MANY_OPEN");
  noMoreFiles.reset();
  EXPECT_EQ(bytesOf(document.path).size(), 4u);
  EXPECT_EQ(document.files(), 1);
}
#endif

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
  for (const char* notes : {"take.kyb~2", "take.kyb~-"}) writeBytes(document.folder / notes, {1});
  safeSave(document.locator.get(), [&](AStream*) {
    document.save('i');
    EXPECT_EQ(document.files(), 4) << "the document, the notes, the save that goes on";
  });
  EXPECT_EQ(document.files(), 3);
  EXPECT_EQ(bytesOf(document.path).size(), 0u);
}
