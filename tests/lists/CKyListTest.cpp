#include "core/lists/CKyList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "core/mem/KyHandles.h"
#include "core/mem/KyMemory.h"
#include "tests/lists/Counted.h"
#include "tests/support/Raised.h"

namespace {

using ky::Owned;
using ky::test::checkFailedBy;
using ky::test::codeRaisedBy;
using ky::test::Counted;

constexpr Long kAtEnd = 2147483647;

AObject* word(LongPtr value) { return reinterpret_cast<AObject*>(value); }
LongPtr valueOf(const void* item) { return reinterpret_cast<LongPtr>(item); }

/// A list of plain words.
Owned<CKyList> words(std::initializer_list<LongPtr> values = {}) {
  Owned<CKyList> list(CKyList::New());
  list->SetItemsAreObjects(false);
  for (const LongPtr value : values) list->Append(word(value));
  return list;
}

std::vector<LongPtr> contents(CKyList& list) {
  std::vector<LongPtr> all;
  for (Long index = 1; index <= list.GetNumItems(); ++index) all.push_back(valueOf(list.NthItem(index)));
  return all;
}

Boolean odd(void* item) { return valueOf(item) % 2; }

// Against a model that knows each word's number: a walk visits, in order, just those that are there when it comes by.
TEST(CKyList, WalksSurviveDeletionsAndAppends) {
  std::mt19937 random(11);
  for (int round = 0; round < 600; ++round) {
    const bool forwards = round % 2 == 0;
    Owned<CKyList> list = words();
    std::vector<LongPtr> model;
    LongPtr next = 1;
    const auto append = [&] {
      list->Append(word(next));
      model.push_back(next++);
    };
    const auto remove = [&](std::size_t place) {
      list->Remove(word(model[place]));
      model.erase(model.begin() + std::ptrdiff_t(place));
    };
    for (unsigned count = random() % 20; count > 0; --count) append();

    Interator_t it;
    LongPtr last = forwards ? 0 : 1000;
    // Once the last item was given out the walk is over, whatever is appended then.
    bool over = model.empty();
    AObject* item = forwards ? list->GetFirstItem(&it, nullptr) : list->GetLastItem(&it, nullptr);
    for (;;) {
      const auto after = std::upper_bound(model.begin(), model.end(), last);
      const auto before = std::lower_bound(model.begin(), model.end(), last);
      if (over || (forwards ? after == model.end() : before == model.begin())) {
        ASSERT_EQ(item, nullptr);
        break;
      }
      ASSERT_EQ(valueOf(item), forwards ? *after : before[-1]);
      last = valueOf(item);
      over = forwards && last == model.back();
      for (unsigned changes = random() % 4; changes > 0; --changes) {
        const auto at = std::lower_bound(model.begin(), model.end(), last);
        if (random() % 3 == 0 && model.size() < 40) {
          append();
        } else if (!model.empty()) {
          const bool current = random() % 2 && at != model.end() && *at == last;
          remove(current ? std::size_t(at - model.begin()) : random() % model.size());
        }
      }
      list->DebugCheck();
      item = forwards ? list->GetNextItem(&it, nullptr) : list->GetPrevItem(&it, nullptr);
    }
  }
}

CKyList* filtered;

TEST(CKyList, WalksSurviveAFilterThatDeletes) {
  Owned<CKyList> list = words({1, 2, 3, 4, 5, 6});
  filtered = list.get();
  const auto dropEven = [](void* item) -> Boolean {
    if (odd(item)) return true;
    filtered->Remove(static_cast<AObject*>(item));
    return false;
  };
  Interator_t it;
  std::vector<LongPtr> seen;
  for (AObject* item = list->GetFirstItem(&it, dropEven); item; item = list->GetNextItem(&it, dropEven)) {
    seen.push_back(valueOf(item));
  }
  EXPECT_EQ(seen, (std::vector<LongPtr>{1, 3, 5}));
  EXPECT_EQ(contents(*list), seen);
}

TEST(CKyList, StopsAWalkThatOtherChangesOvertake) {
  void (*const changes[])(CKyList&) = {
      [](CKyList& l) { l.InsertAt(word(9), 2); },
      [](CKyList& l) { l.Prepend(word(9)); },
      [](CKyList& l) { l.SetItemAt(word(9), 1); },
      [](CKyList& l) { l.BringFront(word(3)); },
      [](CKyList& l) { l.Swap(1, 2); },
      [](CKyList& l) { l.Qsort([](void*, void*) { return 0; }); },
  };
  for (const auto change : changes) {
    Owned<CKyList> list = words({1, 2, 3});
    Interator_t it;
    list->GetFirstItem(&it, nullptr);
    change(*list);
    EXPECT_EQ(checkFailedBy([&] { list->GetNextItem(&it, nullptr); }), "!needsRenumbering");
    EXPECT_EQ(checkFailedBy([&] { list->GetPrevItem(&it, nullptr); }), "!needsRenumbering");
    EXPECT_NE(list->GetLastItem(&it, nullptr), nullptr);
    list->DebugCheck();
  }
}

int byTens(void* a, void* b) { return int(*static_cast<LongPtr*>(a) / 10 - *static_cast<LongPtr*>(b) / 10); }

TEST(CKyList, SortsStably) {
  Owned<CKyList> list = words();
  std::vector<LongPtr> want;
  std::mt19937 random(3);
  for (int i = 0; i < 500; ++i) {
    want.push_back(LongPtr(random() % 1000));
    list->InsertAt(word(want.back()), kAtEnd);
  }
  std::stable_sort(want.begin(), want.end(), [](LongPtr a, LongPtr b) { return a / 10 < b / 10; });
  list->Qsort(byTens);
  EXPECT_EQ(contents(*list), want);

  Long index = 0;
  const auto compare = [](LongPtr key, void* item) { return Long(key - valueOf(item) / 10); };
  Owned<CKyList> few = words({10, 20, 40});
  EXPECT_EQ(valueOf(few->BinarySearch(4, compare, &index)), 40);
  EXPECT_EQ(index, 3);
  EXPECT_EQ(few->BinarySearch(3, compare, &index), nullptr);
  EXPECT_EQ(index, 3);
}

TEST(CKyList, JoinsAndParts) {
  Owned<CKyList> a = words({1, 2, 3, 4}), b = words({3, 9, 1});
  Owned<CKyList> common(a->Intersection(b.get()));
  EXPECT_EQ(contents(*common), (std::vector<LongPtr>{3, 1}));
  EXPECT_EQ(a->Intersection(words({8}).get()), nullptr);
  a->RemoveList(common.get());
  a->AddList(b.get());
  a->AddList(a.get());
  EXPECT_EQ(contents(*a), (std::vector<LongPtr>{2, 4, 3, 9, 1, 2, 4, 3, 9, 1}));
  b->Combine(a.release());
  b->Combine(b.get());
  EXPECT_EQ(b->GetNumItems(), 13);
  b->DebugCheck();
  b->RemoveList(b.get());
  EXPECT_TRUE(b->IsEmpty());
}

std::string textOf(CKyList& list, Long index) {
  char** const handle = reinterpret_cast<char**>(list.NthItem(index));
  return {*handle, std::size_t(KyGetHandleSize(handle))};
}

TEST(CKyList, OwnsHandlesWithTheirBytes) {
  const Int64 before = ky::memoryTotals().numPtrs;
  {
    Owned<CKyList> list(CKyList::New());
    list->AppendAsHandle("bb", 2);
    list->PrependAsHandle("a", 1);
    list->InsertHandleAt("xyz", 3, 2);
    list->AppendThisHandle(KyNewHandleClear(10));
    EXPECT_EQ(textOf(*list, 1) + textOf(*list, 2) + textOf(*list, 3), "axyzbb");
    EXPECT_EQ(list->SizeWithItems(), list->Size() + 16);
    Owned<CKyList> copy(list->DeepCopy());
    list->DisposeItems();
    EXPECT_TRUE(list->IsEmpty());
    EXPECT_EQ(textOf(*copy, 2), "xyz");
    copy->SetLockChanges(true);
    EXPECT_EQ(checkFailedBy([&] { copy->AppendAsHandle("c", 1); }), "lockChanges == FALSE");
    copy.release()->DisposeAll();
  }
  EXPECT_EQ(ky::memoryTotals().numPtrs, before);
}

TEST(CKyList, CopiesItsObjectsOrNothing) {
  const Int64 before = ky::memoryTotals().numPtrs;
  {
    Owned<CKyList> list(CKyList::New());
    for (const Long value : {1, 2, 3}) list->Append(Counted::New(value));
    EXPECT_EQ(list->SizeWithItems(), list->Size() + 3 * list->FirstItem()->Size());
    Owned<CKyList> dest(CKyList::New());
    AObject* const replaced = Counted::New(8);
    dest->Append(replaced);
    list->CopyItems(dest.get());
    replaced->Dispose();
    EXPECT_EQ(Counted::alive, 6);
    EXPECT_EQ(static_cast<Counted*>(dest->NthItem(3))->value, 3);
    dest.release()->DisposeAll();

    static_cast<Counted*>(list->LastItem())->value = Counted::kNoCopy;
    EXPECT_EQ(codeRaisedBy([&] { list->DeepCopy(); }), "NO_OBJECT_CREATED");
    EXPECT_EQ(Counted::alive, 3);
    EXPECT_EQ(list->GetNumItems(), 3);
    list.release()->DisposeAll();
  }
  EXPECT_EQ(Counted::alive, 0);
  EXPECT_EQ(ky::memoryTotals().numPtrs, before);
}

}  // namespace
