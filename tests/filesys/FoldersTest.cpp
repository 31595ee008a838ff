#include "core/filesys/Folders.h"

#include <set>

#include "tests/filesys/DiskSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

using OwnedFile = Owned<AFileLocator>;

/// With a folder of its own, which is that of temporary files too.
struct Folders : testing::Test, Place {
  Folders() { SetFSTempDir(dir().release()); }
  ~Folders() override { SetFSTempDir(CoreWinDirLocator::New(std::filesystem::temp_directory_path().c_str(), nullptr)); }
};

std::multiset<std::string> sSeen;

/// Takes the item from under the walk, which ends once so many were seen.
Boolean renameEach(ALocator* item, LongPtr most) {
  const std::filesystem::path path = fullPathOf(static_cast<AFileSystemLocator*>(item));
  sSeen.insert(path.filename());
  std::filesystem::rename(path, path.string() + "-new");
  return LongPtr(sSeen.size()) < most;
}

}  // namespace

TEST_F(Folders, AUniqueNameIsTheGivenOneOrItsStartWithANumber) {
  const std::string longStem = "abcdefghijklmnopqrstuvwxyz";
  const struct {
    const char* what;
    std::string name;
    std::vector<std::string> taken, takenElsewhere;
    std::string want;
  } cases[] = {
      {"free", "take.edl", {}, {}, "take.edl"},
      {"taken", "take.edl", {"take.edl"}, {}, "take1.edl"},
      {"taken twice", "take.edl", {"take.edl", "take1.edl"}, {}, "take2.edl"},
      {"taken in the other folder", "take.edl", {}, {"take.edl"}, "take1.edl"},
      {"taken without its extension", "take.edl", {"take"}, {}, "take1.edl"},
      {"no stem", ".edl", {".edl"}, {}, "1.edl"},
      {"a long stem is cut", longStem + ".edl", {longStem + ".edl"}, {}, "abcdefghijklmnopqrstuvwx1.edl"},
      {"no extension of three letters", "take.tsrc", {"take.tsrc"}, {}, "take.tsrc1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Place here, there;
    for (const std::string& name : c.taken) here.folder.write(name);
    for (const std::string& name : c.takenElsewhere) there.folder.write(name);
    char out[64];
    const bool isGiven = MakeUniqueName(here.dir().get(), out, c.name.c_str(), there.dir().get());
    EXPECT_EQ(isGiven, out == c.name);
    EXPECT_EQ(out, c.want);
  }
}

TEST_F(Folders, ATemporaryFileLiesWhereItsKindSays) {
  const TempFolder other;
  const OwnedFile out(CoreWinFileLocator::New(other.path.c_str(), "document"));
  GetTempFile("", 0, kTempInFolder, out.get());
  EXPECT_EQ(fullPathOf(out.get()), folder / "tmp");
  EXPECT_FALSE(out->Exists()) << "named only";
  GetTempFile("save", 0, kTempOfSystem, out.get());
  EXPECT_EQ(fullPathOf(out.get()), (std::filesystem::temp_directory_path() / "save").string());
  out->Set(other.path.c_str(), "document");
  GetTempFile("save", 1, kTempBesideOut, out.get());
  EXPECT_TRUE(fullPathOf(out.get()).starts_with(other / "save"));
  EXPECT_TRUE(out->Exists());

  const std::string first = fullPathOf(OwnedFile(GetTempFile("t", 1, kTempInFolder, nullptr)).get());
  const int number = std::stoi(first.substr((folder / "t").size()));
  for (int next = 1; next < 50; ++next) folder.write("t" + std::to_string((number + next) % 100'000));
  onThreads(4, [](int) {
    for (int i = 0; i < 25; ++i) OwnedFile(GetTempFile("t", 1, kTempInFolder, nullptr));
  });
  EXPECT_EQ(folder.files(), 150) << "each for one asker alone, and none that stood there";
}

TEST_F(Folders, AWalkSeesTheFolderAsItWasWhateverItsRoutineDoes) {
  for (const char* name : {"a", "b", "c"}) folder.write(name);
  dir("sub")->Create(0);
  const struct {
    decltype(&ForEachFile) walk;
    std::multiset<std::string> want;
  } cases[] = {{ForEachFile, {"a", "b", "c"}},
               {ForEachSubDir, {"sub"}},
               {ForEachItemInDir, {"a-new", "b-new", "c-new", "sub-new"}}};
  for (const auto& c : cases) {
    sSeen.clear();
    EXPECT_EQ(c.walk(dir().get(), renameEach, 9), 1);
    EXPECT_EQ(sSeen, c.want);
  }
  sSeen.clear();
  EXPECT_EQ(ForEachItemInDir(dir().get(), renameEach, 1), 0);
  EXPECT_EQ(sSeen.size(), 1u);
}

TEST_F(Folders, ASearchGoesAsDeepAsItMayAndThroughNoLoop) {
  std::filesystem::create_directories(folder / "one/two");
  std::filesystem::create_directory_symlink(folder.path, folder / "one/back");
  folder.write("one/two/found");
  EXPECT_EQ(KYSearchFile(dir().get(), "found", 1), nullptr);
  EXPECT_EQ(fullPathOf(OwnedFile(KYSearchFile(dir().get(), "found", 2)).get()), folder / "one/two/found");
  EXPECT_EQ(KYSearchFile(dir().get(), "absent", 0), nullptr);
}

TEST_F(Folders, WellKnownFoldersAreFoundById) {
  char path[kPathSize];
  const Long media = Long(MakeChar4("MEDI")), takes = Long(MakeChar4("TAKE"));
  EXPECT_FALSE(SpecialFolders::Register(takes, media, "takes", false)) << "below one that is not known";
  EXPECT_TRUE(SpecialFolders::Register(media, 0, "/media", false));
  EXPECT_TRUE(SpecialFolders::Register(takes, media, "takes", false));
  EXPECT_FALSE(SpecialFolders::Register(media, 0, "/other", false));
  EXPECT_TRUE(SpecialFolders::Get(takes, path, sizeof path));
  EXPECT_STREQ(path, "/media/takes");
  SpecialFolders::Dispose();
  EXPECT_FALSE(SpecialFolders::Get(takes, path, sizeof path));
}
