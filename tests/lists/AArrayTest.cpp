#include "core/lists/AArray.h"

#include "tests/lists/ListSupport.h"
#include "tests/support/Faults.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr const char* kRange = "(index >= indexBase)&&(index < (numItems+indexBase))";

Owned<AArray> longs(std::initializer_list<Long> values) {
  Owned<AArray> array(AArray::NewWithSlotAndBlock(sizeof(Long), 3, 3));
  for (const Long value : values) array->InsertAtIndex(&value, kAtEnd);
  return array;
}

/// An array beside a vector that says what it must hold.
class Beside {
 public:
  Beside(Long size, short block, Long base)
      : base_(base), block_(block), item_(size, '\0'), array_(AArray::NewWithSlotAndBlock(size, 0, block)) {
    array_->SetIndexBase(base);
  }

  void step() {
    const unsigned kind = want_.empty() ? 0 : random_() % 12;
    const Long a = any(), b = any();
    const auto from = want_.begin() + a, to = want_.begin() + b;
    if (kind <= 3) {
      insert(Long(random_() % (want_.size() + 1)));
    } else if (kind <= 6) {
      // Once more than a block of slots is unused, one is given back.
      const Long slack = ArrayAccess::slots(*array_) - Long(want_.size()) + 1;
      array_->DeleteItem(a + base_);
      want_.erase(from);
      EXPECT_EQ(ArrayAccess::slots(*array_) - Long(want_.size()), slack > block_ ? slack - block_ : slack);
    } else if (kind == 7) {
      array_->MoveItemToIndex(a + base_, b + base_);
      from < to ? std::rotate(from, from + 1, to + 1) : std::rotate(to, from, from + 1);
    } else if (kind == 8) {
      array_->Swap(a + base_, b + base_);
      std::swap(*from, *to);
    } else if (kind == 9) {
      array_->SetItem(fresh().data(), a + base_);
      *from = item_;
    } else if (random_() % 8 == 0) {
      array_->RemoveAll();
      want_.clear();
    } else {
      array_->Resize(Long(random_() % 40));
    }
    expectSame();
  }

 private:
  Long any() { return want_.empty() ? 0 : Long(random_() % want_.size()); }
  const std::string& fresh() {
    for (char& byte : item_) byte = char(random_());
    return item_;
  }

  /// Puts a new element, or one of the array's own, at `place`.
  void insert(Long place) {
    const bool atEnd = place == Long(want_.size()) && random_() % 2;
    const Long from = any();
    const bool own = !want_.empty() && random_() % 2;
    const std::string item = own ? want_[from] : fresh();
    array_->InsertAtIndex(own ? array_->ReferenceItem(from + base_) : item.data(), atEnd ? kAtEnd : place + base_);
    want_.insert(want_.begin() + place, item);
  }

  void expectSame() {
    array_->DebugCheck();
    ASSERT_EQ(array_->GetNumItems(), Long(want_.size()));
    for (Long place = 0; place < Long(want_.size()); ++place) {
      array_->GetItem(item_.data(), place + base_);
      ASSERT_EQ(item_, want_[place]) << "at " << place;
    }
  }

  const Long base_, block_;
  std::string item_;
  std::mt19937 random_{7};
  Owned<AArray> array_;
  std::vector<std::string> want_;
};

}  // namespace

TEST(AArray, HoldsWhatAVectorHoldsThroughAnyOperations) {
  const Long shapes[][3] = {{4, 3, 1}, {1, 1, 0}, {16, 100, 1}, {7, 5, -3}, {12000, 3, 1}, {8, 0, 1}};
  for (const auto& [size, block, base] : shapes) {
    SCOPED_TRACE(testing::Message() << size << " bytes, block " << block << ", base " << base);
    Beside pair(size, short(block), base);
    for (int i = 0; i < (size > 1000 ? 200 : 2000) && !HasFailure(); ++i) pair.step();
  }
}

TEST(AArray, RefusesBadArgumentsAndChangesNothing) {
  const Owned<AArray> array = longs({10, 20, 30});
  AArray& a = *array;
  Long x = 99;
  expectRefusals({
      {"index >= indexBase", [&] { a.InsertAtIndex(&x, 0); }},
      {kRange, [&] { a.DeleteItem(4); }},
      {kRange, [&] { a.GetItem(&x, 0); }},
      {kRange, [&] { a.ReferenceItem(INT_MIN); }},
      {"usingTemporary == TRUE", [&] { a.CopyFromTemporary(1); }},
      {"usingTemporary == FALSE", [&] { a.CopyToTemporary(1), a.MoveItemToIndex(1, 2); }},
      {"lockChanges == FALSE", [&] { a.SetLockChanges(true), a.InsertAtIndex(&x, 1); }},
      {"lockChanges == FALSE", [&] { appendElement(&a, x); }},
  });
  EXPECT_EQ(contentsOf(a), (std::vector<Long>{10, 20, 30}));
}

TEST(AArray, StaysAsItWasWhenMemoryRunsOut) {
  const NothingStays memory;
  const Owned<AArray> array = longs({10, 20, 30});
  const Long item = 40;
  const auto insertAt = [&](Long index, Long from) {
    array->InsertAtIndex(&item, index);
    array->DeleteItem(from);
    array->Resize(3);
  };
  failEachAllocation({[&] { insertAt(1, 1); }, [&] { insertAt(kAtEnd, 4); }, [&] { Owned<AObject>(array->Copy()); }},
                     [&] {
                       EXPECT_EQ(contentsOf(*array), (std::vector<Long>{10, 20, 30}));
                     });
  array->Resize(500);
  const AllocationFailure failure(1);
  array->DeleteItem(2);
  EXPECT_TRUE(failure.happened()) << "less memory was asked for, and none is no failure";
  EXPECT_EQ(contentsOf(*array), (std::vector<Long>{10, 30}));
}

TEST(AArray, SearchesByHalves) {
  const auto compare = [](LongPtr wanted, void* element) { return Long(wanted) - *static_cast<Long*>(element); };
  const Owned<AArray> array = longs({});
  for (Long value = 0; value < 40; value += 2) appendElement(array.get(), value);
  array->SetIndexBase(-7);
  for (Long wanted = -1; wanted <= 39; ++wanted) {
    Long index = 0, out = -5;
    const bool there = wanted >= 0 && wanted % 2 == 0;
    EXPECT_EQ(array->BinarySearchItem(wanted, compare, &index, &out) != 0, there) << wanted;
    EXPECT_EQ(index, (wanted + 1) / 2 - 7);
    EXPECT_EQ(out, there ? wanted : -5);
  }
}
