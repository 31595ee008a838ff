// The small record classes.
#include "core/lists/AAssociation.h"
#include "core/lists/ASimpleList.h"
#include "core/lists/RecordStack.h"
#include "tests/support/Faults.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string popped(stackHdr** stack) {
  std::string record(static_cast<std::size_t>((*stack)->recordSize), '?');
  PopRecord(stack, record.data());
  return record;
}

}  // namespace

TEST(ASimpleList, KeepsEntriesThroughResizingAndRefusesBadNumbers) {
  const Owned<ASimpleList> list(ASimpleList::New(3, sizeof(double)));
  double item = 2.5;
  list->SetEntry(2, &item);
  const Owned<ASimpleList> copy(static_cast<ASimpleList*>(list->Copy()));
  list->Resize(5);
  EXPECT_TRUE(list->IsSet(2) && list->IsClear(4));
  list->Resize(2);
  list->Resize(3);
  EXPECT_EQ(list->NumSet(), 0) << "what was cut off is gone";
  item = 0;
  copy->GetEntry(2, &item);
  EXPECT_EQ(item, 2.5);
  for (const int bad : {-1, 3}) {
    EXPECT_FALSE(list->IsSet(bad) || list->IsClear(bad));
    EXPECT_EQ(codeRaisedBy([&] { list->SetEntry(bad, &item); }), "CM_INVALID_ENTRY_NBR");
    EXPECT_EQ(codeRaisedBy([&] { list->GetEntry(bad, &item); }), "CM_ENTRY_CLEAR");
  }
  EXPECT_EQ(codeRaisedBy([&] { list->Resize(0x7FFFFFFF); }), "MEM_OUT_OF_MEMORY");
  EXPECT_EQ(list->NumEntries(), 3);
}

TEST(AAssociation, KeepsACopyOfTheBytes) {
  const NothingStays memory;
  const Owned<AAssociation> association(AAssociation::New(1, {}));
  for (const LongPtr size : {-3, 0, 16, 5000, 4000, 1}) {
    std::string bytes(5000, 'a');
    const aliasSpec_struct spec = {LongPtr{1} << 40, size, bytes.data(), [](AUndoable*, const aliasSpec_struct*) {},
                                   nullptr};
    association->IAssociation(7, spec);
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

TEST(RecordStack, GivesTheRecordsBackLatestFirstAndLosesNoneWithoutMemory) {
  for (const Long size : {1, 3, 8, 61}) {
    stackHdr** const stack = NewStack(size);
    const OwnedHandle owner(reinterpret_cast<char**>(stack));
    const auto record = [size](int n) { return std::string(std::size_t(size - 1), char(n)) + char(n + 1); };
    for (int pushed = 0; pushed < 200; ++pushed) {
      failEachAllocation({[&] { PushRecord(stack, record(pushed).data()); }}, [] {});
    }
    EXPECT_GE(owner.size(), 200 * size);
    for (int left = 200; left > 0; --left) ASSERT_EQ(popped(stack), record(left - 1));
    EXPECT_EQ(refusalOf([&] { popped(stack); }), "count > 0");
  }
}
