#include "core/filesys/SafeSave.h"

#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include "tests/filesys/DiskSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

/// A folder with a document in it.
struct SafeSave : testing::Test, Place {
  SafeSave() { folder.write("take.kyb", "old"); }
  const Owned<CoreWinFileLocator> document = file("take.kyb");
};

}  // namespace

TEST_F(SafeSave, TheNewDocumentTakesTheOldOnesPlaceAndAccess) {
  const std::filesystem::path path = folder / "take.kyb";
  std::filesystem::permissions(path, std::filesystem::perms(0640));
  const bool changedHands = ::chown(path.c_str(), 1, 2) == 0;  // which only the superuser may do
  saveLong(document.get());
  EXPECT_TRUE(folder.read("take.kyb") == longText);
  EXPECT_EQ(folder.files(), 1);
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0640));
  struct stat facts = {};
  EXPECT_EQ(::stat(path.c_str(), &facts), 0);
  if (changedHands) {
    EXPECT_EQ(std::pair(facts.st_uid, facts.st_gid), std::pair(uid_t{1}, gid_t{2}));
  }
}

TEST_F(SafeSave, ALinkLeadsToTheDocumentAndAnythingButAFileIsLeftInItsPlace) {
  std::string deep = std::string(1018 - folder.path.size(), 'd') + '/';
  for (std::size_t at = 200; at < deep.size(); at += 200) deep[at] = '/';
  std::filesystem::create_directories(folder / deep);
  const TempFolder elsewhere;
  std::filesystem::create_symlink("new", elsewhere / "link");
  const struct {
    const char* what;
    std::string name, target;
    const char* code;
  } cases[] = {{"a link", "link", "take.kyb", ""},
               {"a link to a link to nothing yet", "far", elsewhere / "link", ""},
               {"a full device", "full", "/dev/full", "DISK_FULL"},
               {"a folder", "", "", "DISK_ACCESS_DENIED"},
               {"a link to a folder", "here", ".", "DISK_ACCESS_DENIED"},
               {"a document that is locked", "locked", "", "DISK_ACCESS_DENIED"},
               {"in a file", "take.kyb/inside", "", "DISK_FILE_NOT_FOUND"},
               {"a ring of links", "ring", "ring", "FILE_OTHER"},
               {"no room for the temporary name", deep + "a", "", "DISK_INVALID_FILENAME_SYNTAX"}};
  folder.write("locked");
  std::filesystem::permissions(folder / "locked", std::filesystem::perms(0444));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    if (c.target != "") std::filesystem::create_symlink(c.target, folder / c.name);
    const std::ptrdiff_t before = folder.files();
    document->Set((folder / c.name).c_str(), nullptr);
    EXPECT_EQ(codeRaisedBy([&] { saveLong(document.get()); }), c.code);
    EXPECT_EQ(folder.files(), before);
  }
  EXPECT_TRUE(folder.read("take.kyb") == longText);
  EXPECT_EQ(bytesOf(elsewhere / "new").size(), longText.size());
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

#if !defined(KY_SANITIZED)  // whose checks of objects need files themselves
TEST_F(SafeSave, WhatFailsBehindTheReplacementHarmsNoDocument) {
  std::optional<Limit> noMoreFiles;
  EXPECT_EQ(codeRaisedBy([&] {
              safeSave(document.get(), [&](AStream* stream) {
                stream->WriteLong(nullptr, 1);
                const int next = ::dup(STDIN_FILENO);
                ::close(next);
                noMoreFiles.emplace(RLIMIT_NOFILE, static_cast<rlim_t>(next));  // so the folder cannot be flushed
              });
            }),
            "DISK_TOO_MANY_OPEN");
  noMoreFiles.reset();
  EXPECT_EQ(folder.read("take.kyb").size(), 4u);
  EXPECT_EQ(folder.files(), 1);
}
#endif

TEST_F(SafeSave, WhatAnEndedProcessLeftIsClearedAndWhatALivingOneFillsIsNot) {
  for (const char* name : {"take.kyb~1-1", "take.kyb~2", "take.kyb~-", "take.kyb~1-"}) folder.write(name);
  safeSave(document.get(), [&](AStream*) {
    saveLong(document.get());
    EXPECT_EQ(folder.files(), 5) << "the document, what has no such name, the save that goes on";
  });
  EXPECT_EQ(folder.files(), 4);
  EXPECT_EQ(folder.read("take.kyb"), "");
}
