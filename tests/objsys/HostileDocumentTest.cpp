// Damaged documents load or raise; they never crash, hang or corrupt.
#include "tests/objsys/Film.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

/// Owners, items, a shared pointer, a cycle and an unknown class.
std::string goodDocument() {
  Clip* const shared = Clip::New("shared", 7);
  Clip* const other = Clip::New("other", 8);
  shared->next = other;
  other->next = shared;
  Reel* const inner = Reel::New({shared, other});
  Owned<Reel> outer(Reel::New({inner, Clip::New("own"), Reel::New({}), nullptr}));
  outer->leader = shared;
  inner->leader = outer.get();
  std::string document = saved(outer.get());
  const auto empty = document.find("LEER\x0B");  // the reel without items turns into one of an unknown class
  EXPECT_NE(empty, std::string::npos);
  return document.replace(empty, 4, "TSYM");
}

bool loads(const std::string& document) {
  const LeaksAreNoFault leaks;
  const std::string code = codeRaisedBy([&] { Owned<APortable>(loaded(document)); });
  EXPECT_NE(code, "FATAL_ERROR");
  return code.empty();
}

}  // namespace

TEST(HostileDocument, LoadsOrRaisesWhateverTheBytes) { damageEveryByte(goodDocument(), loads); }

TEST(HostileDocument, LoadsOrRaisesWithAnyNumberInAnyPlace) {
  const std::string good = goodDocument();
  const Long numbers[] = {0, 1, 2, 5, 7, -1, INT_MAX, INT_MIN, Long(Clip::portableID), Long(Reel::portableID)};
  for (std::size_t at = 43; at + 4 <= good.size(); ++at) {
    SCOPED_TRACE(testing::Message() << "at " << at);
    for (const Long number : numbers) {
      std::string document = good;
      std::memcpy(&document[at], &number, 4);
      loads(document);
    }
  }
}
