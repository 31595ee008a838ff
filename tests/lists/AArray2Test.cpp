#include "core/lists/AArray2.h"

#include "core/lists/AHashTable.h"
#include "core/lists/ASortedArray.h"
#include "tests/lists/ListSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

using Longs = std::vector<Long>;

Longs seen;
AArray2* walked;

Boolean see(void* element, void*) { return seen.push_back(*static_cast<Long*>(element)), false; }
int byLong(const void* element, const void* key, void*) {
  return *static_cast<const Long*>(element) - *static_cast<const Long*>(key);
}
Boolean bump(void* element, void*) { return ++*static_cast<Long*>(element), true; }

Owned<AArray2> longs(std::initializer_list<Long> values) {
  Owned<AArray2> array(AArray2::New(elementProc<Long>));
  for (const Long value : values) array->Append(&value);
  seen.clear();
  return array;
}

}  // namespace

TEST(AArray2, WalksItsElementsEitherWay) {
  const Owned<AArray2> array = longs({1, 2, 3});
  array->SetIndexBase(0);
  array->ForEach(see, nullptr);
  array->ForEachReverse(see, nullptr);
  EXPECT_EQ(seen, (Longs{1, 2, 3, 3, 2, 1}));
  array->ForEach(bump, nullptr);
  EXPECT_EQ(contentsOf(*array), (Longs{1, 2, 3})) << "it gives copies";
  array->ModEach(bump, nullptr);
  array->ForEachDirect(bump, nullptr);
  array->ModEachI([](void*, void* element, Long index) -> Boolean { return *static_cast<Long*>(element) += index, 0; },
                  nullptr);
  EXPECT_EQ(contentsOf(*array), (Longs{3, 5, 7}));

  const auto isAbove = [](void* element, void* than) -> Boolean {
    return *static_cast<Long*>(element) > LongPtr(than);
  };
  Long index = -1;
  EXPECT_TRUE(array->ForEachUntil(&index, isAbove, asKey(4)) && index == 1);
  EXPECT_TRUE(array->ForEachDirectUntil(&index, isAbove, asKey(5)) && index == 2);
  EXPECT_FALSE(array->ForEachUntil(&index, isAbove, asKey(7)) || array->ForEachDirectUntil(&index, isAbove, asKey(7)));
  const Long five = 5;
  EXPECT_TRUE(array->RemoveByContent(&five) && !array->RemoveByContent(&five));
  EXPECT_EQ(contentsOf(*array), (Longs{3, 7}));
}

TEST(AArray2, WalksSurviveCallbacksThatDelete) {
  const auto deleteAll = [](void* element, void*) -> Boolean {
    see(element, nullptr);
    walked->RemoveAll();
    walked->Resize(0);
    return false;
  };
  for (const bool forwards : {true, false}) {
    const Owned<AArray2> array = longs({1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    walked = array.get();
    forwards ? array->ModEach(deleteAll, nullptr) : array->ForEachReverse(deleteAll, nullptr);
    EXPECT_EQ(seen, Longs{forwards ? 1 : 10});
  }
}

TEST(AArray2, DisposesElementsAsTheyGo) {
  Owned<AArray2> array = longs({1, 2, 3, 2});
  array->SetElemDisposeFunc(see, nullptr);
  EXPECT_EQ(refusalOf([&] { array->DeleteItem(5); }), "rawIndex >= 0 && rawIndex < numItems");
  array->DeleteItem(3);
  array.release()->Dispose();
  EXPECT_EQ(seen, (Longs{3, 1, 2, 2}));

  AArray2* const failing = longs({1, 2, 3}).release();
  const auto fail = [](void* element, void*) -> Boolean {
    see(element, nullptr);
    return +XError("ERROR_OTHER", "long which", *static_cast<Long*>(element), 0), false;
  };
  failing->SetElemDisposeFunc(fail, nullptr);
  EXPECT_EQ(parm(errorRaisedBy([&] { failing->Dispose(); }), "which"), "1");
  EXPECT_EQ(seen, (Longs{1, 2, 3}));
}

TEST(AArray2, GrowsToAnIndexWithZeroesBetweenAndReadsBlocksOfWholeElements) {
  const Owned<AArray2> array = longs({1, 2, 3});
  array->SetAndGrow(6, array->ReferenceItem(2));
  Long nine = 9;
  array->SetAndGrow(1, &nine);
  const auto read = [&](const Longs& block) { return array->Read(reinterpret_cast<const char*>(block.data())); };
  expectRefusals({
      {"MEM_OUT_OF_MEMORY", [&] { array->SetAndGrow(INT_MAX, &nine); }},
      {"new_numItems * this->elementSize == len",
       [&] {
         read({7, 1, 2});
       }},
      {"num >= 0",
       [&] {
         read({-8, 1, 2});
       }},
  });
  EXPECT_EQ(contentsOf(*array), (Longs{9, 2, 3, 0, 0, 2}));
  EXPECT_EQ(read({8, 20, 30}), 12);
  EXPECT_EQ(contentsOf(*array), (Longs{20, 30}));
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
  EXPECT_EQ(refusalOf([&] { search(nullptr, 5, 20, 4); }), "bad case");
}

TEST(ASortedArray, AddsAheadOfEqualElementsAndNeverSorts) {
  const Owned<ASortedArray> array(ASortedArray::New(elementProc<Long>, byLong, nullptr, byLong, nullptr));
  array->AutoSort();
  for (const Long item : {30, 20, 10}) EXPECT_EQ(array->Add(&item), 1);
  const Long again = 20;
  EXPECT_EQ(array->Add(&again), 2);
  EXPECT_EQ(contentsOf(*array), (Longs{10, 20, 20, 30}));
  Boolean found = false;
  EXPECT_EQ(array->KeySearch(&found, &again, 3), 3);
  EXPECT_TRUE(found);
  EXPECT_EQ(refusalOf([&] { array->AutoSort(); }), "Not implemented");
}
