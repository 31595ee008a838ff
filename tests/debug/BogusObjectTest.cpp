#include "core/debug/BogusObject.h"

#include "core/base/AObject.h"
#include "core/error/Fatal.h"
#include "tests/support/Test.h"

/// A class with slots beyond the root's. It is visible to other units, so that the compiler cannot know all overriders.
class AClip : public AObject {
 public:
  virtual void Play() {}
  virtual void Cut() {}
  char name[16];
};

using namespace ky::test;

namespace {

int sReports = 0;

/// What a debug allocator does to a block that it takes back: puts the trap's table over the object's.
AClip* stampedClip() {
  auto* const clip = new AClip;
  InitBogusObject();
  void* const table = ky::bogusTable();
  std::memcpy(static_cast<void*>(clip), &table, sizeof table);
  return clip;
}

// The stamp is just what the check for the right table reports.
__attribute__((no_sanitize("vptr"))) void cut(AClip* clip) { clip->Cut(); }
__attribute__((no_sanitize("vptr"))) void disposeAgain(AClip* clip) { clip->Dispose(); }

}  // namespace

TEST(BogusObject, CatchesCallsThroughAStampedBlockAndFreesNothing) {
  AClip* const clip = stampedClip();
  const XError error = errorRaisedBy([&] { cut(clip); });
  EXPECT_STREQ(error.GetCode(), "FATAL_ERROR");
  EXPECT_TRUE(parm(error, "msg").starts_with("   Calling a method on a freed object.")) << parm(error, "msg");

  const auto countAndGoOn = [](const char*, const char*, int) -> unsigned char {
    ++sReports;
    FtlClearFatalError();
    return false;
  };
  const FtlProc before = FtlInstall(countAndGoOn);
  disposeAgain(clip);
  FtlInstall(before);
  EXPECT_EQ(sReports, 1);
  EXPECT_EQ(KySize(clip), Long{sizeof(AClip)});
  AObject::operator delete(clip);
}
