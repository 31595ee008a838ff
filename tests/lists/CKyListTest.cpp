#include "core/lists/CKyList.h"

#include <set>

#include "tests/lists/ListSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

using Words = std::vector<LongPtr>;

AObject* word(LongPtr value) { return reinterpret_cast<AObject*>(value); }
LongPtr valueOf(const void* item) { return reinterpret_cast<LongPtr>(item); }

/// A list of plain words.
Owned<CKyList> words(std::initializer_list<LongPtr> values = {}) {
  Owned<CKyList> list(CKyList::New());
  list->SetItemsAreObjects(false);
  for (const LongPtr value : values) list->Append(word(value));
  return list;
}

Words contents(CKyList& list) {
  list.DebugCheck();
  Words all;
  for (Long index = 1; index <= list.GetNumItems(); ++index) all.push_back(valueOf(list.NthItem(index)));
  return all;
}

/// A walk over a list that others change, beside the ascending numbers that it must give.
class Walk {
 public:
  Walk(unsigned seed, bool forwards) : random_(seed), forwards_(forwards), last_(forwards ? 0 : 1000) {
    for (unsigned count = random_() % 20; count > 0; --count) append();
  }

  void run() {
    // Once the last item was given out the walk is over, whatever is appended then.
    bool over = false;
    AObject* item = forwards_ ? list_->GetFirstItem(&it_, nullptr) : list_->GetLastItem(&it_, nullptr);
    for (LongPtr want = due(); !over && want; want = due()) {
      ASSERT_EQ(valueOf(item), want);
      last_ = want;
      over = forwards_ && last_ == *want_.rbegin();
      for (unsigned changes = random_() % 4; changes > 0; --changes) change();
      list_->DebugCheck();
      item = forwards_ ? list_->GetNextItem(&it_, nullptr) : list_->GetPrevItem(&it_, nullptr);
    }
    ASSERT_EQ(item, nullptr);
  }

 private:
  /// The number that stands beyond the last one now, 0 for none.
  LongPtr due() const {
    const auto at = forwards_ ? want_.upper_bound(last_) : want_.lower_bound(last_);
    if (forwards_) return at == want_.end() ? 0 : *at;
    return at == want_.begin() ? 0 : *std::prev(at);
  }
  void append() { list_->Append(word(*want_.insert(next_++).first)); }
  /// Appends, or removes the current item or any.
  void change() {
    if (random_() % 3 == 0 && want_.size() < 40) return append();
    if (want_.empty()) return;
    auto at = want_.find(last_);
    if (at == want_.end() || random_() % 2) at = std::next(want_.begin(), std::ptrdiff_t(random_() % want_.size()));
    list_->Remove(word(*at));
    want_.erase(at);
  }

  std::mt19937 random_;
  const bool forwards_;
  LongPtr last_;
  LongPtr next_ = 1;
  Owned<CKyList> list_ = words();
  std::set<LongPtr> want_;
  Interator_t it_;
};

}  // namespace

TEST(CKyList, WalksSurviveDeletionsAndAppends) {
  for (unsigned round = 0; round < 600 && !HasFatalFailure(); ++round) Walk(round, round % 2 == 0).run();
}

TEST(CKyList, StopsAWalkThatOtherChangesOvertake) {
  void (*const changes[])(CKyList&) = {
      [](CKyList& l) { l.InsertAt(word(9), 2); },
      [](CKyList& l) { l.BringFront(word(3)); },
      [](CKyList& l) { l.Qsort([](void*, void*) { return 0; }); },
  };
  for (const auto change : changes) {
    const Owned<CKyList> list = words({1, 2, 3});
    Interator_t it;
    list->GetFirstItem(&it, nullptr);
    change(*list);
    EXPECT_EQ(refusalOf([&] { list->GetNextItem(&it, nullptr); }), "!needsRenumbering");
  }
}

TEST(CKyList, SortsStably) {
  const Owned<CKyList> list = words();
  Words want;
  std::mt19937 random(3);
  for (int i = 0; i < 500; ++i) {
    want.push_back(LongPtr(random() % 1000));
    list->InsertAt(word(want.back()), kAtEnd);
  }
  std::stable_sort(want.begin(), want.end(), [](LongPtr a, LongPtr b) { return a / 10 < b / 10; });
  const auto byTens = [](void* a, void* b) -> int {
    return int(*static_cast<LongPtr*>(a) / 10 - *static_cast<LongPtr*>(b) / 10);
  };
  list->Qsort(byTens);
  EXPECT_EQ(contents(*list), want);
  Long index = 0;
  const auto compare = [](LongPtr key, void* item) { return Long(key - valueOf(item) / 10); };
  EXPECT_EQ(valueOf(list->BinarySearch(50, compare, &index)) / 10, 50);
  EXPECT_EQ(list->BinarySearch(100, compare, &index), nullptr);
  EXPECT_EQ(index, 501);
}

TEST(CKyList, JoinsAndParts) {
  Owned<CKyList> a = words({1, 2, 3, 4}), b = words({3, 9, 1});
  const Owned<CKyList> common(a->Intersection(b.get()));
  EXPECT_EQ(contents(*common), (Words{3, 1}));
  a->RemoveList(common.get());
  a->AddList(a.get());
  b->Combine(a.release());
  EXPECT_EQ(contents(*b), (Words{3, 9, 1, 2, 4, 2, 4}));
  b->RemoveList(b.get());
  EXPECT_TRUE(b->IsEmpty());
}

TEST(CKyList, OwnsHandlesWithTheirBytes) {
  const NothingStays memory;
  const auto textOf = [](CKyList& list, Long index) {
    char** const handle = reinterpret_cast<char**>(list.NthItem(index));
    return std::string(*handle, std::size_t(KyGetHandleSize(handle)));
  };
  const Owned<CKyList> list(CKyList::New());
  list->AppendAsHandle("bb", 2);
  list->PrependAsHandle("a", 1);
  EXPECT_EQ(list->SizeWithItems(), list->Size() + 3);
  CKyList* const copy = list->DeepCopy();
  list->DisposeItems();
  EXPECT_EQ(textOf(*copy, 1) + textOf(*copy, 2), "abb");
  copy->DisposeAll();
}

TEST(CKyList, CopiesItsObjectsOrNothing) {
  const NothingStays memory;
  CKyList* const list = CKyList::New();
  for (const Long value : {1, 2, 3}) list->Append(Counted::New(value));
  CKyList* const dest = CKyList::New();
  const Owned<Counted> replaced(Counted::New(8));
  dest->Append(replaced.get());
  list->CopyItems(dest);
  EXPECT_EQ(Counted::alive, 7);
  EXPECT_EQ(static_cast<Counted*>(dest->NthItem(3))->value, 3);
  dest->DisposeAll();

  static_cast<Counted*>(list->LastItem())->value = Counted::kNoCopy;
  EXPECT_EQ(codeRaisedBy([&] { list->DeepCopy(); }), "NO_OBJECT_CREATED");
  EXPECT_EQ(Counted::alive, 4);
  EXPECT_EQ(list->GetNumItems(), 3);
  list->DisposeAll();
  EXPECT_EQ(Counted::alive, 1);
}
