#include "core/objsys/PClass.h"

#include "tests/objsys/Film.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {
constexpr Long kClip = Long(Clip::portableID);
constexpr Long kOldClip = Long(MakeChar4("clip"));
}  // namespace

TEST(PClass, AnAliasCreatesTheCurrentClassAndIsNeverWritten) {
  registerFilm();
  PClassAddAlias(kOldClip, kClip);
  Owned<APortable> object(NewByClassID(kOldClip, 0));
  EXPECT_TRUE(object->IsInstanceOf("Clip"));
  EXPECT_EQ(GetWriteClassID(object.get()), kClip);
  EXPECT_STREQ(FindClassName(kOldClip), "Clip");
  EXPECT_EQ(FindPCID("Clip"), kClip);
}

TEST(PClass, AClassThatMakesNoObjectsIsUnknownInADocument) {
  constexpr Long kAbstract = Long(MakeChar4("ABST"));
  PClassAdd(kAbstract, "Abstract", nullptr);
  EXPECT_EQ(GetWriteClassID(Owned<APortable>(NewByClassID(kAbstract, 4)).get()), kAbstract);
}
