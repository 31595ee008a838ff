#include <set>

#include "core/lists/CKyList.h"
#include "tests/filesys/DiskSupport.h"
#include "tests/objsys/Film.h"

using namespace ky;
using namespace ky::test;

namespace {

struct Locators : testing::Test, Place {};

std::string nameOf(AFileSystemLocator& locator) {
  char name[256];
  return locator.GetName(name, sizeof name);
}

/// The locator that a document gives back.
template <class Locator>
Owned<Locator> kept(const Owned<Locator>& locator) {
  return Owned<Locator>(dynamic_cast<Locator*>(loaded(saved(locator.get()))));
}

}  // namespace

TEST_F(Locators, APathIsBuiltWithOneSeparatorAndAPortableName) {
  const struct {
    const char *folder, *name, *path;
  } cases[] = {{"/a/", "b", "/a/b"}, {"", "b", "b"},      {"/", "b", "/b"},
               {"/a//", "", "/a"},   {"/", nullptr, "/"}, {"/a:b", "", "/a:b"}};
  for (const auto& c : cases) {
    const Owned<CoreWinDirLocator> made(CoreWinDirLocator::New(c.folder, c.name));
    EXPECT_STREQ(made->GetPath(), c.path);
  }
  const auto cut = file("x");
  cut->SetPath(std::string(kPathSize + 10, 'p').c_str());
  EXPECT_EQ(std::string(cut->GetPath()).size(), std::size_t(kPathSize - 1));
  expectRefusals({{"DISK_INVALID_FILENAME_SYNTAX", [&] { file("a/b"); }},
                  {"DISK_INVALID_FILENAME_SYNTAX", [&] { file("x")->SetName("*"); }},
                  {"DISK_INVALID_FILENAME_SYNTAX", [&] { cut->Create(0); }}});
  char name[] = "a\"b*c,d/e:f<g>h?i\\j|k.l";
  dir()->MakeFileNameValid(name);
  EXPECT_STREQ(name, "a_b_c_d_e_f_g_h_i_j_k.l");
}

TEST_F(Locators, AFolderGetsAFreeNameIfItsPathHasRoomForOne) {
  dir("take")->Create(0);
  const auto unique = dir("take");
  unique->SetUnique();
  EXPECT_EQ(nameOf(*unique), "take1");
  std::string deep = folder / "d";
  while (deep.size() < kPathSize - 3) deep += deep.size() % 200 == 0 ? '/' : 'd';
  std::filesystem::create_directories(deep + "/a");
  const Owned<CoreWinDirLocator> full(CoreWinDirLocator::New(deep.c_str(), "a"));
  EXPECT_EQ(codeRaisedBy([&] { full->SetUnique(); }), "DISK_INVALID_FILENAME_SYNTAX");
}

TEST_F(Locators, AreOfTheClassThatTheManufacturerInForceMakes) {
  struct Counting final : AFileLocatorManufacturer {
    AFileLocator* New() override { return ++made, CoreWinFileLocator::New("", nullptr); }
    int made = 0;
  } counting;
  AFileLocator::SetManufacturer(&counting);
  const Owned<AFileLocator> own(AFileLocator::New()), inFolder(dir()->GetFile("x", nullptr));
  AFileLocator::SetManufacturer(nullptr);
  const Owned<AFileLocator> byDefault(AFileLocator::New());
  EXPECT_EQ(counting.made, 2);
}

TEST(LocatorPaths, BothStylesKnowWhatLiesAtTheTop) {
  for (const char* top : {"/a", "/"}) EXPECT_TRUE(liesAtTop(top, PathStyle::posix)) << top;
  for (const char* below : {"/a/b", "a"}) EXPECT_FALSE(liesAtTop(below, PathStyle::posix)) << below;
  for (const char* top : {"c:\\a", "c:\\", "\\a"}) EXPECT_TRUE(liesAtTop(top, PathStyle::windows)) << top;
  EXPECT_FALSE(liesAtTop("c:\\a\\b", PathStyle::windows));
  EXPECT_EQ(asNetworkPath("\\server\\share\\a", PathStyle::windows), "\\\\server\\share\\a");
}

TEST_F(Locators, DocumentsKeepThem) {
  EXPECT_TRUE(kept(file("take.kyb"))->IsEqual(file("take.kyb").get()));
  EXPECT_FALSE(kept(file("take.kyb"))->IsEqual(dir("take.kyb").get())) << "of the other kind";
  EXPECT_TRUE(kept(dir())->IsEqual(dir().get()));
  const auto deep = file("x");
  deep->SetPath(("/" + std::string(600, 'd')).c_str());
  EXPECT_EQ(std::string(kept(deep)->GetPath()).size(), 522u);
}

TEST_F(Locators, RenamingRefusesATakenNameUnlessItMayReplace) {
  folder.write("old", "old text");
  folder.write("new", "new text");
  const auto locator = file("new");
  EXPECT_EQ(codeRaisedBy([&] { locator->Rename("old", 0); }), "DISK_FILE_ALREADY_EXISTS");
  EXPECT_EQ(folder.read("old") + nameOf(*locator), "old textnew");
  fileRec_t** const stale = file("old")->Open(kFileRead, 0);
  locator->Rename("old", 1);
  EXPECT_EQ(folder.read("old") + nameOf(*locator), "new textold");
  fileRec_t** const fresh = locator->Open(kFileRead, 0);
  EXPECT_NE(fresh, stale) << "an open from now on is one of the new file";
  KYCloseFile(fresh);
  KYCloseFile(stale);
}

TEST_F(Locators, FilesAndFoldersAreToldApart) {
  folder.write("file", "12345");
  const auto there = [](AFileSystemLocator& at) { return at.Exists() * 100 + at.FileExists() * 10 + at.DirExists(); };
  EXPECT_EQ(there(*file("file")), 110);
  EXPECT_EQ(there(*dir()), 101);
  EXPECT_EQ(there(*file("none")), 0);
  expectRefusals({{"DISK_FILE_NOT_FOUND", [&] { file("none")->Delete(); }},
                  {"DISK_ACCESS_DENIED", [&] { file("")->Delete(); }},
                  {"DISK_ACCESS_DENIED", [&] { file("")->CopyAFile(dir().get(), "copy", 0); }},
                  {"DISK_FILE_NOT_FOUND", [&] { dir("file")->ReadDir(); }},
                  {"DISK_FILE_ALREADY_EXISTS", [&] { dir("file")->Create(0); }},
                  {"DISK_INVALID_FILENAME_SYNTAX", [&] { file("file")->Rename(std::string(300, 'n').c_str(), 0); }}});
  for (const bool lock : {true, false}) {
    file("file")->SetFileLock(lock);
    EXPECT_EQ(file("file")->GetFileLock(), lock);
  }
}

TEST_F(Locators, AFolderIsReadWithoutHiddenEntriesAndBrokenLinks) {
  for (const char* name : {"b", "a:colon", ".hidden", ".HSResource"}) folder.write(name, "");
  dir("sub")->Create(0);
  std::filesystem::create_symlink("nowhere", folder / "broken");
  std::set<std::string> names;
  CKyList* const list = dir()->ReadDir();
  for (Long i = 1; i <= list->GetNumItems(); ++i) {
    auto* const item = static_cast<AFileSystemLocator*>(list->NthItem(i));
    names.insert(nameOf(*item) + (item->GetLocatorType() == LOC_DIRECTORY ? "/" : ""));
  }
  list->DisposeItems();
  list->Dispose();
  EXPECT_EQ(names, (std::set<std::string>{"a:colon", "b", "sub/"}));
}

TEST_F(Locators, ACopyTakesThePlaceOfAnotherFileOnlyIfItMay) {
  const std::string text(0x80001, 't');
  folder.write("from", text);
  folder.write("taken", "old");
  EXPECT_EQ(codeRaisedBy([&] { file("from")->CopyAFile(dir().get(), "taken", 0); }), "DISK_FILE_ALREADY_EXISTS");
  EXPECT_EQ(folder.read("taken"), "old");
  EXPECT_EQ(nameOf(*Owned<AFileLocator>(file("from")->CopyAFile(dir().get(), "taken", 1))), "taken");
  EXPECT_TRUE(folder.read("taken") == text);
}

TEST_F(Locators, ATypeIsToldByTheExtensionOrByTheDocumentInside) {
  const auto type = [&](const char* name) { return file(name)->GetFileType(); };
  EXPECT_EQ(type("none.kyb"), MakeChar4("ZVob")) << "without being opened";
  EXPECT_EQ(type("none"), MakeChar4("ZVrf"));
  const std::pair<const char*, const char*> renamed[] = {{"a.KYB", "a.KYB"}, {"a.txt", "a.txt.kyb"}};
  for (const auto& [before, after] : renamed) {
    const auto named = file(before);
    named->SetFileType(MakeChar4("TEXT"));  // which no extension is given for
    named->SetFileType(MakeChar4("ZVob"));
    EXPECT_EQ(nameOf(*named), after);
  }
  const auto root = file("x");
  const std::string document = saved(root.get());
  std::string other = document, badKey = document, old = document;
  other[2] = 'd';
  badKey[51] = 'J';
  old[21] = 3;
  const struct {
    const char* name;
    std::string contents;
    ULong type;
    const char* code;
  } cases[] = {{"good.longer", document, kFilmType, ""},
               {"other", other, MakeChar4("ZVrf"), ""},
               {"old", old, MakeChar4("ZVxx"), ""},
               {"key", badKey, 0, "DOMAIN_BAD_STRM_DATA"},
               {"short", document.substr(0, 70), 0, "DISK_EOF"}};
  for (const auto& c : cases) {
    folder.write(c.name, c.contents);
    ULong found = 0;
    EXPECT_EQ(codeRaisedBy([&] { found = type(c.name); }), c.code) << c.name;
    EXPECT_EQ(found, c.type) << c.name;
  }
}
