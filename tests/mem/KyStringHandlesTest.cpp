#include "core/mem/KyStringHandles.h"

#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

OwnedHandle made(const char* text) { return OwnedHandle(KyNewSHdl(text)); }

// The text and the size of a string handle.
std::string shown(char** h) { return h ? std::string(*h) + "/" + std::to_string(KyGetHandleSize(h)) : "null"; }

}  // namespace

TEST(KyStringHandles, Assigning) {
  const struct {
    const char* name;
    char** (*assign)(char**, const char*);
    const char* before;
    const char* source;
    const char* want;
  } cases[] = {
      {"cut to the size", KyStrToSHdl, "123", "0123456789", "012/4"},
      {"no source", KyStrToSHdl, "123", nullptr, "/4"},
      {"grown", KyStrToSHdlGrow, "1", "0123456789", "0123456789/11"},
      {"shrunk", KyStrToSHdlGrow, "12345", "ab", "ab/3"},
      {"appended", KyAppendStrToSHdl, "12", "345", "12345/6"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const OwnedHandle h = made(c.before);
    EXPECT_EQ(c.assign(h.get(), c.source), h.get());
    EXPECT_EQ(shown(h.get()), c.want);
  }
}

TEST(KyStringHandles, NullAndEmptyHandles) {
  EXPECT_EQ(shown(OwnedHandle(KyStrToSHdlUpdate(nullptr, "a")).get()), "a/2");
  EXPECT_EQ(KyStrToSHdlUpdate(KyNewSHdl("a"), nullptr), nullptr);
  const OwnedHandle empty(KyNewEmptyHandle());
  EXPECT_EQ(KyStrToSHdl(empty.get(), "abc"), empty.get()) << "no room for even the zero";
  KyAppendStrToSHdl(empty.get(), "abc");
  EXPECT_EQ(shown(empty.get()), "abc/4");
}

TEST(KyStringHandles, SourcesInTheHandleItself) {
  const OwnedHandle h = made("0123456789");
  KyStrToSHdlGrow(h.get(), *h.get() + 4);
  EXPECT_EQ(shown(h.get()), "456789/7");
  KyAppendSHdlToSHdl(h.get(), h.get());
  EXPECT_EQ(shown(h.get()), "456789456789/13");
}

TEST(KyStringHandles, CopyingOutEndsWithAZero) {
  const OwnedHandle h = made("abc");
  char text[8] = "zzzzzzz";
  EXPECT_STREQ(KySHdlToStr(text, h.get(), 3), "ab");
  EXPECT_EQ(text[3], 'z');
  EXPECT_STREQ(KySHdlToStr(text, h.get(), 1), "");
  text[0] = 'q';
  EXPECT_EQ(KySHdlToStr(text, h.get(), 0)[0], 'q');
}
