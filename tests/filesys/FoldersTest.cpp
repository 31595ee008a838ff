#include "core/filesys/Folders.h"

#include <set>

#include "tests/filesys/DiskSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

using OwnedFile = Owned<AFileLocator>;

/// What a walk saw; `stopAt` ends it.
struct Seen {
  std::multiset<std::string> names;
  std::size_t stopAt = 1000;
  void (*meanwhile)(const std::string& path) = nullptr;

  static Boolean visit(ALocator* item, LongPtr data) {
    auto* const seen = reinterpret_cast<Seen*>(data);
    char name[256];
    seen->names.insert(static_cast<AFileSystemLocator*>(item)->GetName(name, sizeof name));
    if (seen->meanwhile) seen->meanwhile(fullPathOf(static_cast<AFileSystemLocator*>(item)));
    return seen->names.size() < seen->stopAt;
  }
  LongPtr data() { return reinterpret_cast<LongPtr>(this); }
};

/// Puts the system's folder back as that of temporary files.
struct TempDirSet {
  explicit TempDirSet(const std::string& path) { SetFSTempDir(CoreWinDirLocator::New(path.c_str(), nullptr)); }
  ~TempDirSet() { SetFSTempDir(CoreWinDirLocator::New(std::filesystem::temp_directory_path().c_str(), nullptr)); }
};

}  // namespace

TEST(Folders, AUniqueNameIsTheGivenOneOrItsStartWithANumber) {
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
    for (const std::string& name : c.taken) here.write(name);
    for (const std::string& name : c.takenElsewhere) there.write(name);
    char out[64];
    const bool isGiven = MakeUniqueName(here.dir().get(), out, c.name.c_str(), there.dir().get());
    EXPECT_EQ(isGiven, out == c.name);
    EXPECT_EQ(out, c.want);
  }
}

TEST(Folders, ATemporaryNameIsClaimedByOneAskerAlone) {
  const TempFolder folder;
  const TempDirSet set(folder.path);
  onThreads(4, [](int) {
    for (int i = 0; i < 25; ++i) OwnedFile(GetTempFile("t", 1, kTempInFolder, nullptr));
  });
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 100);
}

TEST(Folders, ATemporaryFileLiesWhereItsKindSays) {
  const TempFolder folder, other;
  const TempDirSet set(folder.path);
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
}

TEST(Folders, AWalkSeesTheFolderAsItWasWhateverItsRoutineDoes) {
  const Place place;
  for (const char* name : {"a", "b", "c"}) place.write(name);
  place.dir("sub")->Create(0);
  const auto dir = place.dir();
  Seen folders, first, changing;
  EXPECT_EQ(ForEachSubDir(dir.get(), Seen::visit, folders.data()), 1);
  EXPECT_EQ(folders.names, (std::multiset<std::string>{"sub"}));
  first.stopAt = 1;
  EXPECT_EQ(ForEachItemInDir(dir.get(), Seen::visit, first.data()), 0);
  EXPECT_EQ(first.names.size(), 1u);
  changing.meanwhile = [](const std::string& path) {
    std::filesystem::remove(path);
    writeBytes(path + "-new", {});
  };
  EXPECT_TRUE(ForEachFile(dir.get(), Seen::visit, changing.data()));
  EXPECT_EQ(changing.names, (std::multiset<std::string>{"a", "b", "c"}));
}

TEST(Folders, ASearchGoesAsDeepAsItMayAndThroughNoLoop) {
  const Place place;
  const TempFolder& folder = place.folder;
  std::filesystem::create_directories(folder / "one/two");
  std::filesystem::create_directory_symlink(folder.path, folder / "one/back");
  place.write("one/two/found");
  const auto dir = place.dir();
  EXPECT_EQ(KYSearchFile(dir.get(), "found", 1), nullptr);
  EXPECT_EQ(fullPathOf(OwnedFile(KYSearchFile(dir.get(), "found", 2)).get()), folder / "one/two/found");
  EXPECT_EQ(KYSearchFile(dir.get(), "absent", 0), nullptr);
}

TEST(Folders, WellKnownFoldersAreFoundById) {
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
