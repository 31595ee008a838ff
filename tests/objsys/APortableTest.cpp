#include "core/objsys/APortable.h"

#include "tests/objsys/Film.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

/// A clip of a later program: two more tagged fields, and a level of its own behind them.
class LaterClip : public Clip {
 public:
  static LaterClip* New() {
    auto* clip = new LaterClip;
    clip->setName("later");
    return clip;
  }
  void Put(AStream* stream, AIODesc* desc) override {
    Clip::Put(stream, desc);
    stream->WriteString("remark", "behind the known fields");
    stream->WriteInt64("length", 1);
    stream->WriteClassMark(Long(MakeChar4("LATE")), 9);
    stream->WriteBeginTagMark(3);
    stream->WriteBytes("bytes", "bytes", 5);
  }
};

}  // namespace

TEST(APortable, FieldsOfALaterProgramAreSteppedOver) {
  registerFilm();
  Owned<LaterClip> later(LaterClip::New());
  later->rate = 24;
  const std::string document = saved(later.get());
  Owned<Clip> read(static_cast<Clip*>(loaded(document)));
  EXPECT_STREQ(read->nameText(), "later");
  EXPECT_EQ(read->rate, 24);
}
