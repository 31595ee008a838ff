#include "core/base/AObject.h"

#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

class AShape : public AObject {
 public:
  const char* ClassName() override { return "AShape"; }
  Long sides;
  char label[20];
};

const AObject* sSeen = nullptr;
int sDisposals = 0;

}  // namespace

TEST(AObject, StartsZeroFilledInTheHeapAndInPlaceOrRaises) {
  const NothingStays memory;
  const Owned<AShape> made(new AShape);
  alignas(AShape) char room[sizeof(AShape)];
  std::memset(room, 0x5A, sizeof room);
  for (const AShape* shape : {static_cast<const AShape*>(made.get()), static_cast<const AShape*>(new (room) AShape)}) {
    EXPECT_EQ(shape->sides + shape->label[0] + shape->label[19], 0);
  }
  const AllocationFailure failure(1);
  EXPECT_EQ(codeRaisedBy([] { new AShape; }), "MEM_OUT_OF_MEMORY");
}

TEST(AObject, HooksSeeCreationOnRequestAndEveryDisposal) {
  AObject::InstallLogRoutines([](AObject* object) { sSeen = object; },
                              [](AObject* object) { sSeen = object, ++sDisposals; });
  auto* const shape = new AShape;
  EXPECT_EQ(sSeen, nullptr);
  shape->IObject();
  EXPECT_EQ(std::exchange(sSeen, nullptr), shape);
  shape->Dispose();
  EXPECT_EQ(sSeen, shape);
#ifndef KY_SANITIZED
  AShape* volatile none = nullptr;
  none->AObject::Dispose();
  EXPECT_EQ(sSeen, nullptr);
  EXPECT_EQ(sDisposals, 2);
#endif
  AObject::InstallLogRoutines(nullptr, nullptr);
}

TEST(AObject, MethodsThatAClassOwesAreFatalAndNameIt) {
  const Owned<AShape> shape(new AShape);
  expectRefusals({
      {"Class AShape should have implemented this method!", [&] { shape->SubclassResponsibility(); }},
      {"Class AShape does not support this method!", [&] { shape->DoesNotImplement(); }},
  });
}
