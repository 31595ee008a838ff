#include "apps/reel/EditList.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "apps/reel/ReelCommands.h"
#include "core/objsys/AObjDoc.h"
#include "core/utils/MemStreams.h"
#include "tests/reel/SomeEdl.h"
#include "tests/support/FormatPage.h"
#include "tests/support/Leaks.h"
#include "tests/support/Raised.h"

using namespace reel;
using namespace reel::test;
using namespace ky::test;
using ky::Owned;

namespace {

struct EditListTest : testing::Test {
  static void SetUpTestSuite() { reel::test::registerOnce(); }
  std::mt19937 random{1117};
};

std::vector<std::uint8_t> documentOf(const EdlText& text) {
  const Owned<EditList> list(EditList::New(text));
  return toDocument(list.get());
}

}  // namespace

TEST_F(EditListTest, SavedListsLoadTheSame) {
  for (int round = 0; round < 100; ++round) {
    const EdlText text = someEdl(random);
    const auto document = documentOf(text);
    const EdlText loaded = fromDocument(document)->toText();
    ASSERT_EQ(described(loaded), described(text));
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
  char** const bytes = KyNewHandle(1000);
  const Owned<AVariMemStream> stream(AVariMemStream::NewWithEOF(bytes, 0));
  stream->SetDisposeMem(true);
  AObjDoc* const document = AObjDoc::New(stream.get(), 0, 0);
  document->CopyIn(event.get());
  document->Close();
  const auto* const data = reinterpret_cast<const std::uint8_t*>(*bytes);
  EXPECT_EQ(codeRaisedBy([&] {
              fromDocument({data, static_cast<std::size_t>(stream->GetLength())});
            }),
            "DOMAIN_BAD_STRM_DATA");
  EXPECT_NE(codeRaisedBy([] { fromDocument({}); }), "");
}

TEST_F(EditListTest, DamagedDocumentsLoadSoundOrRaise) {
  EdlText text = someEdl(random);
  while (text.events.size() < 4) text = someEdl(random);
  text.events.resize(4);
  const auto good = documentOf(text);
  const auto load = [](const std::vector<std::uint8_t>& document) {
    const LeaksAreNoFault leaks;
    const std::string code = codeRaisedBy([&] { EXPECT_TRUE(isSound(fromDocument(document)->toText())); });
    EXPECT_NE(code, "FATAL_ERROR");
    return code.empty();
  };
  ASSERT_TRUE(load(good));
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (const std::uint8_t mask : {0x01, 0x80, 0xFF}) {
      auto document = good;
      document[at] ^= mask;
      load(document);
    }
    EXPECT_FALSE(load({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(at)})) << at;
    if (HasFailure()) FAIL() << "byte " << at;
  }
}
