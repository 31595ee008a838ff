#include "core/filesys/Paths.h"

#include "tests/support/Test.h"

using namespace ky;

TEST(Paths, TurnIntoTheNativeFormOfEachStyle) {
  const struct {
    PathStyle style;
    const char *canonical, *native, *name;
  } cases[] = {{PathStyle::windows, "/media/reel 1/a.kyb", "\\media\\reel 1\\a.kyb", "a.kyb"},
               {PathStyle::windows, "c:/a:b*c\\?\"<>|", "c:\\a~b~c~~~~~~", "a~b~c~~~~~~"},
               {PathStyle::windows, "\\\\server/share", "\\\\server\\share", "share"},
               {PathStyle::windows, "folder/last//", "folder\\last\\\\", "last\\\\"},
               {PathStyle::windows, "c:/", "c:\\", ""},
               {PathStyle::posix, "c:/a:b*c\\?\"<>|", "c:/a:b*c\\?\"<>|", "a:b*c\\?\"<>|"},
               {PathStyle::posix, "folder/last//", "folder/last//", "last//"}};
  for (const auto& c : cases) {
    std::string path(c.canonical);
    char* name = nullptr;
    canonicalToNative(path.data(), &name, c.style);
    EXPECT_EQ(path, c.native);
    EXPECT_STREQ(name, c.name);
  }
}

TEST(Paths, TurnIntoTheCanonicalForm) {
  char windows[] = "c:\\reel\\a:b";
  nativeToCanonical(windows, 9, PathStyle::windows);
  EXPECT_STREQ(windows, "c//reel/a:b");
  nativeToCanonical(windows, 100, PathStyle::windows);
  EXPECT_STREQ(windows, "c//reel/a/b");
}

TEST(Paths, ComeApartAndTogether) {
  const struct {
    PathStyle style;
    const char *path, *folder, *stem, *extension, *parent;
  } cases[] = {
      {PathStyle::posix, "/a/b.c/d.tar.gz", "/a/b.c/", "d.tar", ".gz", "/a/b.c"},
      {PathStyle::posix, "/a", "/", "a", "", "/"},
      {PathStyle::posix, "a\\b:c.d", "", "a\\b:c", ".d", ""},
      {PathStyle::posix, "/a/b/", "/a/b/", "", "", "/a"},
      {PathStyle::posix, ".hidden", "", "", ".hidden", ""},
      {PathStyle::windows, "c:\\a\\b.c", "c:\\a\\", "b", ".c", "c:\\a"},
      {PathStyle::windows, "c:a", "c:", "a", "", "c:"},
      {PathStyle::windows, "\\\\server\\share/x", "\\\\server\\share/", "x", "", "\\\\server\\share"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    const PathParts parts = partsOf(c.path, c.style);
    EXPECT_EQ(parts.folder, c.folder);
    EXPECT_EQ(parts.stem, c.stem);
    EXPECT_EQ(parts.extension, c.extension);
    EXPECT_EQ(parts.name, std::string(c.stem) + c.extension);
    EXPECT_EQ(parentOf(c.path, c.style), c.parent);
  }
  EXPECT_EQ(joined("/", "b", PathStyle::posix), "/b");
  EXPECT_EQ(joined("c:\\a\\", "b", PathStyle::windows), "c:\\a\\b");
}

TEST(Paths, NameFilesThatEveryHostCanHold) {
  EXPECT_TRUE(isPortableName("a, b.kyb"));
  EXPECT_FALSE(isPortableName(std::string_view("a\0b", 3)));
  for (const char c : std::string("\"*/:<>?\\|")) EXPECT_FALSE(isPortableName(std::string("a") + c)) << c;
}
