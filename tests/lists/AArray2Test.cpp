#include "core/lists/AArray2.h"

#include <gtest/gtest.h>

#include <vector>

#include "core/lists/ASortedArray.h"
#include "core/mem/Owned.h"
#include "tests/support/Raised.h"

namespace {

using ky::ArrayAccess;
using ky::Owned;
using ky::test::checkFailedBy;
using ky::test::codeRaisedBy;
using Longs = std::vector<Long>;

Longs seen;
AArray2* walked;

Boolean see(void* element, void*) { return seen.push_back(*static_cast<Long*>(element)), false; }
Boolean equals(void* element, void* wanted) { return *static_cast<Long*>(element) == *static_cast<Long*>(wanted); }

Owned<AArray2> longs(std::initializer_list<Long> values) {
  Owned<AArray2> array(AArray2::New(ky::elementProc<Long>));
  for (const Long value : values) array->Append(&value);
  return array;
}

Longs contents(AArray2& array) {
  const auto all = ky::elements<Long>(&array);
  return {all.begin(), all.end()};
}

Longs seenBy(void (*walk)(AArray2&), AArray2& array) {
  seen.clear();
  walked = &array;
  walk(array);
  return seen;
}

TEST(AArray2, WalksItsElementsEitherWay) {
  Owned<AArray2> array = longs({1, 2, 3});
  array->SetIndexBase(0);
  const auto bump = [](void* element, void*) -> Boolean { return ++*static_cast<Long*>(element), true; };
  const auto addIndex = [](void*, void* element, Long index) -> Boolean {
    return *static_cast<Long*>(element) += 10 * index, false;
  };
  EXPECT_EQ(seenBy([](AArray2& a) { a.ForEach(see, nullptr); }, *array), (Longs{1, 2, 3}));
  EXPECT_EQ(seenBy([](AArray2& a) { a.ForEachReverse(see, nullptr); }, *array), (Longs{3, 2, 1}));
  array->ForEach(bump, nullptr);
  EXPECT_EQ(contents(*array), (Longs{1, 2, 3}));
  array->ModEach(bump, nullptr);
  EXPECT_EQ(contents(*array), (Longs{2, 3, 4}));
  array->ModEachI(addIndex, nullptr);
  EXPECT_EQ(contents(*array), (Longs{2, 13, 24}));
  array->ForEachDirect(bump, nullptr);
  EXPECT_EQ(contents(*array), (Longs{3, 14, 25}));

  Long index = -1, wanted = 14, absent = 15;
  EXPECT_TRUE(array->ForEachUntil(&index, equals, &wanted));
  EXPECT_EQ(index, 1);
  EXPECT_FALSE(array->ForEachDirectUntil(&index, equals, &absent));
  EXPECT_TRUE(array->ForEachDirectUntil(nullptr, equals, &wanted));
  EXPECT_EQ(codeRaisedBy([&] { array->ForEachDirect([](void*, void*) -> Boolean { throw 1; }, nullptr); }).substr(0, 9),
            "A serious");
}

TEST(AArray2, WalksSurviveCallbacksThatDelete) {
  const auto deleteAll = [](void* element, void*) -> Boolean {
    see(element, nullptr);
    walked->RemoveAll();
    walked->Resize(0);
    return false;
  };
  static const ky::ElementFn deleting = deleteAll;
  const auto ten = [] { return longs({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}); };
  EXPECT_EQ(seenBy([](AArray2& a) { a.ModEach(deleting, nullptr); }, *ten()), Longs{1});
  EXPECT_EQ(seenBy([](AArray2& a) { a.ForEachReverse(deleting, nullptr); }, *ten()), Longs{10});
}

TEST(AArray2, DisposesElementsAsTheyGo) {
  Owned<AArray2> array = longs({1, 2, 3, 2});
  array->SetElemDisposeFunc(see, nullptr);
  seen.clear();
  array->DeleteItem(3);
  Long two = 2;
  EXPECT_TRUE(array->RemoveByContent(&two));
  EXPECT_EQ(seen, (Longs{3, 2}));
  EXPECT_EQ(checkFailedBy([&] { array->DeleteItem(3); }), "rawIndex >= 0 && rawIndex < numItems");
  array->SetLockChanges(true);
  EXPECT_EQ(checkFailedBy([&] { array->DeleteItem(1); }), "lockChanges == FALSE");
  EXPECT_EQ(seen, (Longs{3, 2}));
  array.release()->Dispose();
  EXPECT_EQ(seen, (Longs{3, 2, 1, 2}));

  AArray2* const failing = longs({1, 2, 3}).release();
  failing->SetElemDisposeFunc(
      [](void* element, void*) -> Boolean {
        see(element, nullptr);
        +XError("ERROR_OTHER", "long which", *static_cast<Long*>(element), 0);
        return false;
      },
      nullptr);
  seen.clear();
  const XError error = ky::test::errorRaisedBy([&] { failing->Dispose(); });
  EXPECT_EQ(ky::test::parm(error, "which"), "1");
  EXPECT_EQ(seen, (Longs{1, 2, 3}));
}

TEST(AArray2, GrowsToAnIndexWithZeroesBetween) {
  Owned<AArray2> array = longs({1, 2, 3});
  array->SetAndGrow(6, array->ReferenceItem(2));
  EXPECT_EQ(contents(*array), (Longs{1, 2, 3, 0, 0, 2}));
  Long nine = 9;
  array->SetAndGrow(1, &nine);
  EXPECT_EQ(contents(*array), (Longs{9, 2, 3, 0, 0, 2}));
  EXPECT_EQ(codeRaisedBy([&] { array->SetAndGrow(2147483647, &nine); }), "MEM_OUT_OF_MEMORY");
  EXPECT_EQ(checkFailedBy([&] { array->SetAndGrow(0, &nine); }),
            "(index >= indexBase)&&(index < (numItems+indexBase))");
  array->DebugCheck();
  EXPECT_EQ(array->GetNumItems(), 6);
}

TEST(AArray2, ReadsABlockOfWholeElementsOnly) {
  Owned<AArray2> array = longs({7});
  const Long good[] = {8, 20, 30}, none[] = {0}, ragged[] = {7, 1, 2}, negative[] = {-8, 1, 2};
  const auto read = [&](const Long* block) { return array->Read(reinterpret_cast<const char*>(block)); };
  EXPECT_EQ(read(good), 12);
  EXPECT_EQ(contents(*array), (Longs{20, 30}));
  EXPECT_EQ(checkFailedBy([&] { read(ragged); }), "new_numItems * this->elementSize == len");
  EXPECT_EQ(checkFailedBy([&] { read(negative); }), "num >= 0");
  EXPECT_EQ(contents(*array), (Longs{20, 30}));
  EXPECT_EQ(read(none), 4);
  EXPECT_TRUE(array->IsEmpty());
}

int byLong(const void* element, const void* key, void*) {
  return *static_cast<const Long*>(element) - *static_cast<const Long*>(key);
}

// The rows of the table: what the modes find among 10, 20, 20, 20, 30 at indices 5 to 9.
TEST(BinSearchArray, FindsTheElementsAroundAKey) {
  const Long elements[] = {10, 20, 20, 20, 30};
  const struct {
    Long key;
    Long index[4];
    bool there;
  } rows[] = {{5, {5, 5, 4, 4}, false}, {10, {6, 5, 4, 5}, true},  {15, {6, 6, 5, 5}, false},
              {20, {9, 6, 5, 8}, true}, {30, {10, 9, 8, 9}, true}, {35, {10, 10, 9, 9}, false}};
  const auto search = [&](Boolean* found, Long count, const Long& key, short mode) {
    return BinSearchArray(found, 5, elements, 5 + count, elements + count, sizeof(Long), &key, byLong, nullptr, mode);
  };
  for (const auto& row : rows) {
    for (short mode = 0; mode < 4; ++mode) {
      Boolean found = true;
      EXPECT_EQ(search(&found, 5, row.key, mode), row.index[mode]) << row.key << " in mode " << mode;
      EXPECT_EQ(found != 0, row.there && mode % 2 == 1);
    }
  }
  EXPECT_EQ(search(nullptr, 0, 20, 1), 5);
  EXPECT_EQ(search(nullptr, 0, 20, 2), 4);
  EXPECT_EQ(checkFailedBy([&] { search(nullptr, 5, 20, 4); }), "bad case");
}

struct Pair {
  Long key, order;
};
int byKey(const void* a, const void* b, void*) {
  return static_cast<const Pair*>(a)->key - static_cast<const Pair*>(b)->key;
}
int byKeyAlone(const void* a, const void* key, void*) {
  return static_cast<const Pair*>(a)->key - *static_cast<const Long*>(key);
}

TEST(ASortedArray, AddsAheadOfEqualElements) {
  Owned<ASortedArray> array(ASortedArray::New(ky::elementProc<Pair>, byKey, nullptr, byKeyAlone, nullptr));
  for (Long i = 0; i < 500; ++i) {
    const Pair pair{i * 7919 % 50, i};
    const Long index = array->Add(&pair);
    ASSERT_EQ(static_cast<const Pair*>(array->ReferenceItem(index))->order, i);
    array->DebugCheck();
  }
  const auto all = ky::elements<Pair>(array.get());
  for (std::size_t i = 1; i < all.size(); ++i) {
    if (all[i - 1].key != all[i].key) continue;
    ASSERT_GT(all[i - 1].order, all[i].order);
  }
  Boolean found = false;
  const Long key = 20;
  EXPECT_EQ(array->KeySearch(&found, &key, 1), 201);
  EXPECT_TRUE(found);
}

}  // namespace
