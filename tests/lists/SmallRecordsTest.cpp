// The two small record classes.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/lists/AAssociation.h"
#include "core/lists/ASimpleList.h"
#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"
#include "tests/support/Raised.h"

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

}  // namespace

TEST(ASimpleList, KeepsWhatFitsAndIsNotCleared) {
  const Owned<ASimpleList> list = listOfThree();
  const Owned<ASimpleList> copy(static_cast<ASimpleList*>(list->Copy()));
  list->Resize(5);
  EXPECT_EQ(contents(*list), "0.5 - 2.5 - -");
  list->Resize(2);
  EXPECT_EQ(contents(*list), "0.5 -");
  list->Resize(3);
  EXPECT_EQ(contents(*list), "0.5 - -");
  list->ClearEntry(0);
  EXPECT_EQ(contents(*list), "- - -");
  EXPECT_EQ(contents(*copy), "0.5 - 2.5");
  EXPECT_EQ(copy->NumSet(), 2);
  copy->ClearAllEntries();
  EXPECT_EQ(copy->NumSet(), 0);
  list->Reconstruct(2, 4);
  EXPECT_EQ(contents(*list), "- -");
  EXPECT_EQ(list->GetEntrySize(), 8);
}

TEST(ASimpleList, RefusesBadNumbers) {
  const Owned<ASimpleList> list = listOfThree();
  double item = 0;
  for (const int bad : {-1, 3}) {
    EXPECT_FALSE(list->IsSet(bad) || list->IsClear(bad));
    list->ClearEntry(bad);
    const XError error = errorRaisedBy([&] { list->SetEntry(bad, &item); });
    EXPECT_STREQ(error.GetCode(), "CM_INVALID_ENTRY_NBR");
    EXPECT_EQ(parm(error, "entry"), std::to_string(bad));
    EXPECT_EQ(codeRaisedBy([&] { list->GetEntry(bad, &item); }), "CM_ENTRY_CLEAR");
  }
  EXPECT_EQ(parm(errorRaisedBy([&] { list->GetEntry(1, &item); }), "entry"), "1");
  EXPECT_EQ(codeRaisedBy([&] { list->Resize(0x7FFFFFFF); }), "MEM_OUT_OF_MEMORY");
  EXPECT_EQ(contents(*list), "0.5 - 2.5");
}

TEST(AAssociation, KeepsACopyOfTheBytes) {
  const Int64 before = memoryTotals().totalPtr;
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
      if (size <= 0) {
        EXPECT_EQ(given.data, spec.data);  // the caller's own, whatever it means
      } else {
        const std::size_t count = static_cast<std::size_t>(size);
        EXPECT_EQ(std::string(static_cast<const char*>(given.data), count), std::string(count, 'a'));
      }
    }
  }
  EXPECT_EQ(memoryTotals().totalPtr, before);
}
