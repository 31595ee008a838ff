#include "core/base/AObject.h"

#include <gtest/gtest.h>

#include <cstring>

#include "core/mem/KyMemory.h"
#include "tests/support/Raised.h"

namespace {

using namespace ky::test;

class AShape : public AObject {
 public:
  const char* ClassName() override { return "AShape"; }
  Boolean IsInstanceOf(const char* name) override {
    return std::strcmp(name, "AShape") == 0 || AObject::IsInstanceOf(name);
  }
  Long sides;
  char label[20];
};

class ASquare : public AShape {
 public:
  const char* ClassName() override { return "ASquare"; }
  Boolean IsInstanceOf(const char* name) override {
    return std::strcmp(name, "ASquare") == 0 || AShape::IsInstanceOf(name);
  }
};

const AObject* sSeen = nullptr;
int sDisposals = 0;

void seeCreation(AObject* object) { sSeen = object; }
void seeDisposal(AObject* object) {
  sSeen = object;
  ++sDisposals;
}

/// The program's own hooks for a scope.
class Hooks {
 public:
  Hooks() {
    sSeen = nullptr;
    sDisposals = 0;
    AObject::InstallLogRoutines(seeCreation, seeDisposal);
  }
  ~Hooks() { AObject::InstallLogRoutines(nullptr, nullptr); }
};

TEST(AObject, StartsZeroFilledInTheHeapAndInPlace) {
  auto* const made = new AShape;
  EXPECT_EQ(made->sides, 0);
  EXPECT_EQ(made->label[19], 0);

  alignas(AShape) char room[sizeof(AShape)];
  std::memset(room, 0x5A, sizeof room);
  auto* const placed = new (room) AShape;
  EXPECT_EQ(placed->sides, 0);
  EXPECT_EQ(placed->label[0], 0);
  made->Dispose();
}

TEST(AObject, NewThatFindsNoMemoryRaises) {
  const ky::AllocationFailure failure(1);
  EXPECT_EQ(codeRaisedBy([] { new AShape; }), "MEM_OUT_OF_MEMORY");
  EXPECT_TRUE(failure.happened());
}

TEST(AObject, HooksSeeCreationOnRequestAndEveryDisposal) {
  const Hooks hooks;
  auto* const shape = new AShape;
  EXPECT_EQ(sSeen, nullptr);
  shape->IObject();
  EXPECT_EQ(sSeen, shape);
  sSeen = nullptr;
  shape->Dispose();
  EXPECT_EQ(sSeen, shape);
  EXPECT_EQ(sDisposals, 1);
}

#ifndef KY_SANITIZED
TEST(AObject, DisposingNullOnlyTellsTheHook) {
  const Hooks hooks;
  AShape* volatile none = nullptr;
  none->AObject::Dispose();
  EXPECT_EQ(sDisposals, 1);
  EXPECT_EQ(sSeen, nullptr);
}
#endif

TEST(AObject, MethodsThatAClassOwesAreFatalAndNameIt) {
  auto* const shape = new AShape;
  const XError owed = errorRaisedBy([&] { shape->SubclassResponsibility(); });
  EXPECT_STREQ(owed.GetCode(), "FATAL_ERROR");
  EXPECT_EQ(parm(owed, "msg"), "Class AShape should have implemented this method!");
  EXPECT_EQ(parm(owed, "file"), "core/base/AObject");
  const XError unused = errorRaisedBy([&] { shape->DoesNotImplement(); });
  EXPECT_EQ(parm(unused, "msg"), "Class AShape does not support this method!");
  shape->Dispose();
}

}  // namespace
