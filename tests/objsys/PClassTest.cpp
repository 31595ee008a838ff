#include "core/objsys/PClass.h"

#include "core/error/Subsystems.h"
#include "core/objsys/AUnknown.h"
#include "tests/objsys/Film.h"
#include "tests/support/Printed.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {
constexpr Long kClip = Long(Clip::portableID);
constexpr Long kOldClip = Long(MakeChar4("clip"));
constexpr Long kNobody = Long(MakeChar4("Nob?"));

}  // namespace

TEST(PClass, FindsClassesByIdentifierAndByName) {
  registerFilm();
  EXPECT_STREQ(FindClassName(kClip), "Clip");
  EXPECT_STREQ(FindClassName(Long(MakeChar4("UNDO"))), "AUndoable");
  EXPECT_STREQ(FindClassName(Long(MakeChar4("DOMN"))), "ADomain");
  EXPECT_EQ(FindPCID("Reel"), Long(Reel::portableID));
  EXPECT_EQ(FindPCID("reel"), 0);
  EXPECT_EQ(wordsOf(errorRaisedBy([] { FindClassName(kNobody); })),
            "Exception: PCREG_UNKNOWN_CLASSID, classID:" + std::to_string(kNobody));
  EXPECT_EQ(wordsOf(errorRaisedBy([] { Clip::PCRegister(); })),
            "Exception: PCREG_DUPLICATE_CLASSID, classStr:CLIP, classID:" + std::to_string(kClip));
  expectRefusals({
      {"PCREG_DUPLICATE_CLASSID", [] { PClassAddAlias(Long(Reel::portableID), kClip); }},
      {"PCREG_UNKNOWN_CLASSID", [] { PClassAddAlias(1, kNobody); }},
  });
}

TEST(PClass, AnAliasCreatesTheCurrentClassAndIsNeverWritten) {
  registerFilm();
  PClassAddAlias(kOldClip, kClip);
  Owned<APortable> object(NewByClassID(kOldClip, 0));
  EXPECT_TRUE(object->IsInstanceOf("Clip"));
  EXPECT_EQ(GetWriteClassID(object.get()), kClip);
  EXPECT_STREQ(FindClassName(kOldClip), "Clip");
  EXPECT_EQ(FindPCID("Clip"), kClip);
}

TEST(PClass, MakesAStandInForAClassItDoesNotKnow) {
  registerFilm();
  const int subsystem = dbgGetSubSystemID("PClass");
  dbgSetFlag(subsystem, kDbgPrint);
  const DebugPrinted out;
  Owned<APortable> object(NewByClassID(kNobody, 0));
  dbgClearFlag(subsystem, kDbgPrint);
  EXPECT_EQ(out.text(), "Attempted to create unknown class 'Nob?', substituting AUnknown.\n");
  ASSERT_TRUE(object->IsInstanceOf("AUnknown"));
  EXPECT_EQ(static_cast<AUnknown*>(object.get())->GetOrigClassID(), kNobody);
  EXPECT_EQ(codeRaisedBy([] { NewByClassID(Long(MakeChar4("UNKN")), 4); }), "PCREG_UNKNOWN_ENCOUNTERED");
}
