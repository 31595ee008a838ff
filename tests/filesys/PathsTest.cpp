#include "core/filesys/Paths.h"

#include <gtest/gtest.h>

using namespace ky;

namespace {

TEST(Paths, TurnIntoTheNativeFormOfEachStyle) {
  const struct {
    const char *canonical, *windows, *posix;
    const char *windowsName, *posixName;
  } cases[] = {
      {"/media/reel 1/a.kyb", "\\media\\reel 1\\a.kyb", "/media/reel 1/a.kyb", "a.kyb", "a.kyb"},
      {"c:/a:b*c", "c:\\a~b~c", "c:/a:b*c", "a~b~c", "a:b*c"},
      {"a\\b?\"<>|", "a~b~~~~~", "a\\b?\"<>|", "a~b~~~~~", "a\\b?\"<>|"},
      {"\\\\server/share", "\\\\server\\share", "\\\\server/share", "share", "share"},
      {"folder/last//", "folder\\last\\\\", "folder/last//", "last\\\\", "last//"},
      {"/", "\\", "/", "", ""},
      {"c:/", "c:\\", "c:/", "", "c:/"},
      {"name", "name", "name", "name", "name"},
      {"", "", "", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.canonical);
    std::string windows(c.canonical), posix(c.canonical);
    char* name = nullptr;
    canonicalToNative(windows.data(), &name, PathStyle::windows);
    EXPECT_EQ(windows, c.windows);
    EXPECT_STREQ(name, c.windowsName);
    canonicalToNative(posix.data(), &name, PathStyle::posix);
    EXPECT_EQ(posix, c.posix);
    EXPECT_STREQ(name, c.posixName);
  }
}

TEST(Paths, TurnIntoTheCanonicalForm) {
  char windows[] = "c:\\reel\\a:b";
  nativeToCanonical(windows, 9, PathStyle::windows);
  EXPECT_STREQ(windows, "c//reel/a:b");
  nativeToCanonical(windows, 100, PathStyle::windows);
  EXPECT_STREQ(windows, "c//reel/a/b");
  char posix[] = "/reel\\a:b";
  nativeToCanonical(posix, 100, PathStyle::posix);
  EXPECT_STREQ(posix, "/reel\\a:b");
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
      {PathStyle::posix, "/", "/", "", "", "/"},
      {PathStyle::posix, ".hidden", "", "", ".hidden", ""},
      {PathStyle::windows, "c:\\a\\b.c", "c:\\a\\", "b", ".c", "c:\\a"},
      {PathStyle::windows, "c:\\a", "c:\\", "a", "", "c:\\"},
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
  EXPECT_EQ(joined("/a", "b", PathStyle::posix), "/a/b");
  EXPECT_EQ(joined("/", "b", PathStyle::posix), "/b");
  EXPECT_EQ(joined("", "b", PathStyle::posix), "b");
  EXPECT_EQ(joined("c:\\a\\", "b", PathStyle::windows), "c:\\a\\b");
  EXPECT_EQ(joined("c:\\a", "b", PathStyle::windows), "c:\\a\\b");
}

TEST(Paths, NameFilesThatEveryHostCanHold) {
  EXPECT_TRUE(isPortableName("a, b.kyb"));
  EXPECT_FALSE(isPortableName(std::string_view("a\0b", 3)));
  for (const char c : std::string("\"*/:<>?\\|")) EXPECT_FALSE(isPortableName(std::string("a") + c)) << c;
}

}  // namespace
