// The small record classes.
#include "core/lists/AAssociation.h"
#include "core/lists/ASimpleList.h"
#include "core/lists/RecordStack.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

Owned<ASimpleList> listOfThree() {
  Owned<ASimpleList> list(ASimpleList::New(3, sizeof(double)));
  for (const int entry : {0, 2}) {
    const double item = entry + 0.5;
    list->SetEntry(entry, &item);
  }
  return list;
}

/// "0.5 - 2.5" for a list whose second entry is clear.
std::string contents(ASimpleList& list) {
  std::string text;
  for (int entry = 0; entry < list.NumEntries(); ++entry) {
    EXPECT_NE(list.IsSet(entry), list.IsClear(entry));
    double item = 0;
    if (list.IsSet(entry)) list.GetEntry(entry, &item);
    text += (entry ? " " : "") + (list.IsSet(entry) ? std::to_string(item).substr(0, 3) : "-");
  }
  return text;
}

std::string popped(stackHdr** stack) {
  std::string record(static_cast<std::size_t>((*stack)->recordSize), '?');
  PopRecord(stack, record.data());
  return record;
}

}  // namespace

TEST(ASimpleList, KeepsWhatFitsAndIsNotCleared) {
  const Owned<ASimpleList> list = listOfThree();
  const Owned<ASimpleList> copy(static_cast<ASimpleList*>(list->Copy()));
  const std::pair<std::function<void()>, const char*> rows[] = {
      {[&] { list->Resize(5); }, "0.5 - 2.5 - -"}, {[&] { list->Resize(2); }, "0.5 -"},
      {[&] { list->Resize(3); }, "0.5 - -"},       {[&] { list->ClearEntry(0); }, "- - -"},
      {[&] { list->Reconstruct(2, 4); }, "- -"},
  };
  for (const auto& [act, want] : rows) {
    act();
    EXPECT_EQ(contents(*list), want);
  }
  EXPECT_EQ(contents(*copy), "0.5 - 2.5");
  EXPECT_EQ(copy->NumSet(), 2);
  copy->ClearAllEntries();
  EXPECT_EQ(copy->NumSet(), 0);
}

TEST(ASimpleList, RefusesBadNumbers) {
  const Owned<ASimpleList> list = listOfThree();
  double item = 0;
  for (const int bad : {-1, 3}) {
    EXPECT_FALSE(list->IsSet(bad) || list->IsClear(bad));
    list->ClearEntry(bad);
    EXPECT_EQ(wordsOf(errorRaisedBy([&] { list->SetEntry(bad, &item); })),
              "Exception: CM_INVALID_ENTRY_NBR, entry:" + std::to_string(bad));
    EXPECT_EQ(codeRaisedBy([&] { list->GetEntry(bad, &item); }), "CM_ENTRY_CLEAR");
  }
  EXPECT_EQ(parm(errorRaisedBy([&] { list->GetEntry(1, &item); }), "entry"), "1");
  EXPECT_EQ(codeRaisedBy([&] { list->Resize(0x7FFFFFFF); }), "MEM_OUT_OF_MEMORY");
  EXPECT_EQ(contents(*list), "0.5 - 2.5");
}

TEST(AAssociation, KeepsACopyOfTheBytes) {
  const NothingStays memory;
  for (const LongPtr size : {-3, 0, 1, 16, 17, 5000}) {
    SCOPED_TRACE(size);
    std::string bytes(5000, 'a');
    const aliasSpec_struct spec = {LongPtr{1} << 40, size, bytes.data(), [](AUndoable*, const aliasSpec_struct*) {},
                                   nullptr};
    const Owned<AAssociation> association(AAssociation::New(7, spec));
    bytes.assign(5000, 'b');
    const Owned<AAssociation> copy(static_cast<AAssociation*>(association->Copy()));
    for (AAssociation* from : {association.get(), copy.get()}) {
      Long key = 0;
      aliasSpec_struct given;
      from->GetAlias(key, given);
      EXPECT_TRUE(key == 7 && given.key == spec.key && given.dataLength == size && given.attach == spec.attach);
      EXPECT_EQ(given.data == spec.data, size <= 0) << "without bytes it is the caller's own, whatever it means";
      const std::string_view data(static_cast<const char*>(given.data), std::size_t(std::max<LongPtr>(size, 0)));
      EXPECT_EQ(data.find_first_not_of('a'), std::string_view::npos);
    }
  }
}

TEST(RecordStack, GivesTheRecordsBackLatestFirst) {
  for (const Long size : {1, 3, 8, 61}) {
    stackHdr** const stack = NewStack(size);
    const OwnedHandle owner(reinterpret_cast<char**>(stack));
    const auto record = [size](int n) { return std::string(std::size_t(size - 1), char(n)) + char(n + 1); };
    for (int pushed = 0; pushed < 200; ++pushed) {
      PushRecord(stack, record(pushed).data());
      PushRecord(stack, record(-pushed).data());
      ASSERT_EQ(popped(stack), record(-pushed));
    }
    EXPECT_GE(owner.size(), 200 * size);
    for (int left = 200; left > 0; --left) ASSERT_EQ(popped(stack), record(left - 1));
  }
}

TEST(RecordStack, RefusesWhatItCannotGiveOrTake) {
  stackHdr** const stack = NewStack(2);
  const OwnedHandle owner(reinterpret_cast<char**>(stack));
  std::string record = "k.";
  EXPECT_EQ(checkFailedBy([&] { PopRecord(stack, record.data()); }), "count > 0");
  EXPECT_EQ(record, "k.");
  for (int i = 0; i < 16; ++i) PushRecord(stack, "p.");
  failEachAllocation([&] { PushRecord(stack, "z."); },
                     [&](const std::string& code) {
                       EXPECT_EQ(code, "MEM_OUT_OF_MEMORY");
                       EXPECT_EQ(popped(stack), "p.");
                       PushRecord(stack, "p.");
                     });
  EXPECT_EQ(popped(stack), "z.");
  expectRefusals({
      {"recordSize > 0", [] { NewStack(0); }},
      {"MEM_OUT_OF_MEMORY", [] { NewStack(0x10000000); }},
  });
}
