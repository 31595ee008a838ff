#include "core/lists/AList.h"

#include <gtest/gtest.h>

#include <vector>

#include "core/mem/Owned.h"
#include "tests/lists/Counted.h"
#include "tests/support/Raised.h"

namespace {

using ky::Owned;
using ky::test::checkFailedBy;
using ky::test::codeRaisedBy;
using ky::test::Counted;

std::vector<Long> visited;
AList* walked;

Long valueOf(void* object) { return object ? static_cast<Counted*>(object)->value : -1; }
void visit(void* object) { visited.push_back(valueOf(object)); }

/// A list of the values 1 to 4, whose objects end with it.
class AListTest : public testing::Test {
 protected:
  void SetUp() override {
    visited.clear();
    list = walked = AList::New();
    for (Long value = 1; value <= 4; ++value) list->Append(Counted::New(value));
  }
  void TearDown() override {
    list->DisposeAll();
    EXPECT_EQ(Counted::alive, 0);
  }

  AObject* item(Long value) {
    return list->FindItem1([](void* object, LongPtr wanted) -> Boolean { return valueOf(object) == wanted; }, value);
  }
  std::vector<Long> order() {
    visited.clear();
    list->DoForEach(visit);
    list->DebugCheck();
    return visited;
  }

  AList* list = nullptr;
};

TEST_F(AListTest, MovesObjectsAmongEachOther) {
  Counted* const stranger = Counted::New(9);
  const struct {
    void (*act)(AList&, AObject*);
    Long value;
    std::vector<Long> want;
  } rows[] = {
      {[](AList& l, AObject* o) { l.BringFront(o); }, 3, {3, 1, 2, 4}},
      {[](AList& l, AObject* o) { l.SendBack(o); }, 2, {1, 3, 4, 2}},
      {[](AList& l, AObject* o) { l.MoveUp(o); }, 3, {1, 3, 2, 4}},
      {[](AList& l, AObject* o) { l.MoveUp(o); }, 1, {1, 2, 3, 4}},
      {[](AList& l, AObject* o) { l.MoveDown(o); }, 2, {1, 3, 2, 4}},
      {[](AList& l, AObject* o) { l.MoveDown(o); }, 4, {1, 2, 3, 4}},
      {[](AList& l, AObject* o) { l.MoveToIndex(o, 2); }, 4, {1, 4, 2, 3}},
  };
  for (const auto& row : rows) {
    row.act(*list, item(row.value));
    EXPECT_EQ(order(), row.want);
    for (Long value = 1; value <= 4; ++value) list->MoveToIndex(item(value), value);
    row.act(*list, stranger);
    EXPECT_EQ(order(), (std::vector<Long>{1, 2, 3, 4}));
  }
  stranger->Dispose();
}

TEST_F(AListTest, InsertsAndFindsByPlace) {
  list->InsertAfter(Counted::New(5), item(4));
  list->InsertAfter(Counted::New(6), nullptr);
  list->Prepend(Counted::New(7));
  list->InsertAt(Counted::New(8), 2);
  EXPECT_EQ(order(), (std::vector<Long>{7, 8, 1, 6, 2, 3, 4, 5}));
  EXPECT_EQ(valueOf(list->FirstItem()), 7);
  EXPECT_EQ(valueOf(list->LastItem()), 5);
  EXPECT_EQ(list->NthItem(0), nullptr);
  EXPECT_EQ(list->NthItem(9), nullptr);
  EXPECT_EQ(list->FindIndex(item(6)), 4);
  EXPECT_EQ(list->Offset(item(6)), 3);
  EXPECT_LT(list->FindIndex(nullptr), 0);
  EXPECT_FALSE(list->Includes(nullptr));

  Owned<AList> none(AList::New());
  EXPECT_EQ(none->FirstItem(), nullptr);
  EXPECT_EQ(none->LastItem(), nullptr);
}

TEST_F(AListTest, WalksUnderALockThatAnErrorLiftsToo) {
  EXPECT_EQ(checkFailedBy([&] { list->DoForEach([](void*) { walked->Add(nullptr); }); }), "lockChanges == FALSE");
  EXPECT_EQ(codeRaisedBy([&] {
              list->FindItem([](void*) -> Boolean {
                +XError("ERROR_OTHER", 0);
                return false;
              });
            }),
            "ERROR_OTHER");
  list->DoForEach1(
      [](void* object, LongPtr) {
        visit(object);
        walked->FindItem([](void*) -> Boolean { return true; });  // restores the lock that it found
        EXPECT_EQ(checkFailedBy([] { walked->DeleteItem(1); }), "lockChanges == FALSE");
      },
      0);
  EXPECT_EQ(visited.size(), 4u);
  EXPECT_EQ(list->SetLockChanges(false), 0);
}

TEST_F(AListTest, EndsObjectsThatLeaveTheListOrFailAsTheyEnd) {
  static_cast<Counted*>(item(1))->onDispose = [](void* ended) {
    walked->Remove(static_cast<AObject*>(ended));
    AObject* const third = walked->NthItem(3);
    walked->Remove(third);
    third->Dispose();
  };
  static_cast<Counted*>(item(2))->onDispose = [](void*) { +XError("ERROR_OTHER", 0); };
  EXPECT_EQ(codeRaisedBy([&] { list->DisposeItems(); }), "ERROR_OTHER");
  EXPECT_EQ(Counted::alive, 0);
  EXPECT_TRUE(list->IsEmpty());
  list->Remove(nullptr);
}

}  // namespace
