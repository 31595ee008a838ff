#include "core/debug/BogusObject.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "core/base/AObject.h"
#include "core/error/Fatal.h"
#include "core/mem/KyMemory.h"
#include "tests/support/Raised.h"

/// A class with slots beyond the root's. It is visible to other units, so that the compiler cannot know all overriders.
class AClip : public AObject {
 public:
  virtual void Play() {}
  virtual void Cut() {}
  char name[16];
};

namespace {

using namespace ky::test;

/// What a debug allocator does to a block that it takes back: puts the trap's table over the object's.
void stamp(AObject* object) {
  InitBogusObject();
  void* const table = ky::bogusTable();
  std::memcpy(static_cast<void*>(object), &table, sizeof table);
}

// The stamp is just what the check for the right table reports.
__attribute__((no_sanitize("vptr"))) void cut(AClip* clip) { clip->Cut(); }
__attribute__((no_sanitize("vptr"))) void disposeAgain(AClip* clip) { clip->Dispose(); }

int sReports = 0;

unsigned char countAndGoOn(const char*, const char*, int) {
  ++sReports;
  FtlClearFatalError();
  return false;
}

TEST(BogusObject, CatchesACallThroughAStampedBlock) {
  auto* const clip = new AClip;
  stamp(clip);
  const XError error = errorRaisedBy([&] { cut(clip); });
  EXPECT_STREQ(error.GetCode(), "FATAL_ERROR");
  char address[64];
  std::snprintf(address, sizeof address, "   Object Addr:   0x%08lx\r   First 4 Bytes: 0x",
                reinterpret_cast<unsigned long>(clip));
  EXPECT_EQ(parm(error, "msg").find(std::string("   Calling a method on a freed object.\r") + address), 0u);
  EXPECT_EQ(parm(error, "file"), "core/debug/BogusObject");
  EXPECT_EQ(parm(error, "line"), "272");
  AObject::operator delete(clip);
}

TEST(BogusObject, CatchesASecondDisposalAndFreesNothing) {
  auto* const clip = new AClip;
  stamp(clip);
  sReports = 0;
  const FtlProc before = FtlInstall(countAndGoOn);
  disposeAgain(clip);
  FtlInstall(before);
  EXPECT_EQ(sReports, 1);
  EXPECT_EQ(KySize(clip), Long{sizeof(AClip)});
  AObject::operator delete(clip);
}

}  // namespace
