#include "apps/reel/EditList.h"

#include "tests/objsys/Film.h"
#include "tests/reel/SomeEdl.h"
#include "tests/support/FormatPage.h"

using namespace reel;
using namespace reel::test;
using namespace ky::test;
using ky::Owned;

namespace {

struct EditListTest : testing::Test {
  static void SetUpTestSuite() { registerOnce(); }
  std::mt19937 random{1117};
};

std::vector<std::uint8_t> documentOf(const EdlText& text) {
  return toDocument(Owned<EditList>(EditList::New(text)).get());
}

}  // namespace

TEST_F(EditListTest, SavedListsLoadTheSame) {
  for (int round = 0; round < 100; ++round) {
    const EdlText text = someEdl(random);
    ASSERT_EQ(described(fromDocument(documentOf(text))->toText()), described(text));
  }
}

TEST_F(EditListTest, DocumentsAreLaidOutAsTheirPageSays) {
  constexpr std::size_t kHeader = 0x77;
  auto document = documentOf(
      readEdl("TITLE: CUT\n001 AX V C 00:00:10:00 00:00:12:00 01:00:00:00 01:00:02:00\n* FROM CLIP NAME: a\n", {}, {}));
  document.erase(document.begin(), document.begin() + kHeader);
  EXPECT_EQ(std::string(document.begin(), document.end()), bytesOfPage("edit-list.md"));
}

TEST_F(EditListTest, DocumentsOfSomethingElseAreRefused) {
  const Owned<EditList> list(EditList::New(someEdl(random)));
  const Owned<EditEvent> event(static_cast<EditEvent*>(list->first()->Copy()));
  const std::string document = saved(event.get());
  const std::vector<std::uint8_t> bytes(document.begin(), document.end());
  EXPECT_EQ(codeRaisedBy([&] { fromDocument(bytes); }), "DOMAIN_BAD_STRM_DATA");
}

TEST_F(EditListTest, DamagedDocumentsLoadSoundOrRaise) {
  EdlText text = someEdl(random);
  while (text.events.size() < 4) text = someEdl(random);
  text.events.resize(4);
  const auto loads = [](const std::vector<std::uint8_t>& document) {
    const LeaksAreNoFault leaks;
    const std::string code = codeRaisedBy([&] { EXPECT_TRUE(isSound(fromDocument(document)->toText())); });
    EXPECT_NE(code, "FATAL_ERROR");
    return code.empty();
  };
  const auto good = documentOf(text);
  EXPECT_TRUE(loads(good));
  damageEveryByte(good, loads);
}
