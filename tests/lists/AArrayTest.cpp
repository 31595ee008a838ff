#include "core/lists/AArray.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"
#include "tests/support/Raised.h"

namespace {

using ky::AllocationFailure;
using ky::ArrayAccess;
using ky::Owned;
using ky::test::checkFailedBy;
using ky::test::codeRaisedBy;

constexpr Long kAtEnd = 2147483647;
constexpr const char* kRange = "(index >= indexBase)&&(index < (numItems+indexBase))";

Owned<AArray> longs(std::initializer_list<Long> values, short block = 3) {
  Owned<AArray> array(AArray::NewWithSlotAndBlock(sizeof(Long), 3, block));
  for (const Long value : values) array->InsertAtIndex(&value, kAtEnd);
  return array;
}

std::vector<Long> contents(AArray& array) {
  const auto all = ky::elements<Long>(&array);
  return {all.begin(), all.end()};
}

int equalLongs(void* key, void* element) { return *static_cast<Long*>(key) != *static_cast<Long*>(element); }
int compareLongs(void* a, void* b) { return *static_cast<Long*>(a) - *static_cast<Long*>(b); }

/// An array beside a vector that says what it must hold.
class Beside {
 public:
  Beside(Long size, short block, Long base) : size_(size), array_(AArray::NewWithSlotAndBlock(size, 0, block)) {
    array_->SetIndexBase(base);
  }

  void step(std::mt19937& random) {
    const Long base = array_->GetIndexBase();
    const auto any = [&] { return Long(random() % want_.size()); };
    const unsigned kind = random() % (want_.empty() ? 2 : 11);
    if (kind == 0) {
      const std::string item = fresh(random);
      const Long place = Long(random() % (want_.size() + 1));
      array_->InsertAtIndex(item.data(), place + base);
      want_.insert(want_.begin() + place, item);
    } else if (kind == 1) {
      const std::string item = fresh(random);
      array_->InsertAtIndex(item.data(), random() % 2 ? kAtEnd : Long(want_.size()) + base + 1);
      want_.push_back(item);
    } else if (kind <= 3) {
      const Long from = any(), place = any();
      const std::string item = want_[std::size_t(from)];
      array_->InsertAtIndex(array_->ReferenceItem(from + base), place + base);
      want_.insert(want_.begin() + place, item);
    } else if (kind <= 6) {
      const Long place = any();
      const Long slack = ArrayAccess::slots(*array_) - Long(want_.size()) + 1;
      array_->DeleteItem(place + base);
      want_.erase(want_.begin() + place);
      const Long block = ArrayAccess::blockSize(*array_);
      EXPECT_EQ(ArrayAccess::slots(*array_) - Long(want_.size()), slack > block ? slack - block : slack);
    } else if (kind == 7) {
      const Long from = any(), to = any();
      array_->MoveItemToIndex(from + base, to + base);
      const std::string item = want_[std::size_t(from)];
      want_.erase(want_.begin() + from);
      want_.insert(want_.begin() + to, item);
    } else if (kind == 8) {
      const Long a = any(), b = any();
      array_->Swap(a + base, b + base);
      std::swap(want_[std::size_t(a)], want_[std::size_t(b)]);
    } else if (kind == 9) {
      const Long place = any();
      want_[std::size_t(place)] = fresh(random);
      array_->SetItem(want_[std::size_t(place)].data(), place + base);
    } else if (random() % 8 == 0) {
      array_->RemoveAll();
      want_.clear();
    } else {
      array_->Resize(Long(random() % 40));
    }
    expectSame();
  }

 private:
  std::string fresh(std::mt19937& random) const {
    std::string bytes(std::size_t(size_), '\0');
    for (char& byte : bytes) byte = char(random());
    return bytes;
  }

  void expectSame() {
    array_->DebugCheck();
    ASSERT_EQ(array_->GetNumItems(), Long(want_.size()));
    std::string item(std::size_t(size_), '\0');
    for (Long place = 0; place < Long(want_.size()); ++place) {
      array_->GetItem(item.data(), place + array_->GetIndexBase());
      ASSERT_EQ(item, want_[std::size_t(place)]) << "at " << place;
    }
  }

  Long size_;
  Owned<AArray> array_;
  std::vector<std::string> want_;
};

TEST(AArray, HoldsWhatAVectorHoldsThroughAnyOperations) {
  const struct {
    Long size;
    short block;
    Long base;
  } shapes[] = {{4, 3, 1}, {1, 1, 0}, {16, 100, 1}, {7, 5, -3}, {12000, 3, 1}, {8, 0, 1}};
  for (const auto& shape : shapes) {
    SCOPED_TRACE(testing::Message() << shape.size << " bytes, block " << shape.block << ", base " << shape.base);
    std::mt19937 random(7);
    Beside pair(shape.size, shape.block, shape.base);
    for (int i = 0; i < (shape.size > 1000 ? 200 : 2000) && !HasFatalFailure(); ++i) pair.step(random);
  }
}

TEST(AArray, RefusesBadArgumentsAndChangesNothing) {
  Owned<AArray> array = longs({10, 20, 30});
  Long item = 99;
  const struct {
    std::string want;
    void (*act)(AArray&, Long&);
  } cases[] = {
      {"index >= indexBase", [](AArray& a, Long& x) { a.InsertAtIndex(&x, 0); }},
      {kRange, [](AArray& a, Long&) { a.DeleteItem(4); }},
      {kRange, [](AArray& a, Long& x) { a.SetItem(&x, 4); }},
      {kRange, [](AArray& a, Long& x) { a.GetItem(&x, 0); }},
      {kRange, [](AArray& a, Long&) { a.ReferenceItem(-2147483647 - 1); }},
      {"(index1 >= indexBase)&&(index1 < (numItems+indexBase))", [](AArray& a, Long&) { a.Swap(4, 1); }},
      {"(index2 >= indexBase)&&(index2 < (numItems+indexBase))", [](AArray& a, Long&) { a.Swap(1, 0); }},
      {"(itemIndex >= indexBase)&&(itemIndex < (numItems+indexBase))", [](AArray& a, Long&) { a.ItemOffset(4); }},
      {"(currentIndex >= indexBase)&&(currentIndex < (numItems+indexBase))",
       [](AArray& a, Long&) { a.MoveItemToIndex(0, 1); }},
      {"(newIndex >= indexBase)&&(newIndex < (numItems+indexBase))", [](AArray& a, Long&) { a.MoveItemToIndex(1, 4); }},
      {"usingTemporary == TRUE", [](AArray& a, Long&) { a.CopyFromTemporary(1); }},
      {"usingTemporary == FALSE", [](AArray& a, Long&) { a.CopyToTemporary(1), a.MoveItemToIndex(1, 2); }},
      {"lockChanges == FALSE", [](AArray& a, Long& x) { a.SetLockChanges(true), a.InsertAtIndex(&x, 1); }},
      {"lockChanges == FALSE", [](AArray& a, Long&) { a.DeleteItem(1); }},
      {"lockChanges == FALSE", [](AArray& a, Long& x) { ky::appendElement(&a, x); }},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(checkFailedBy([&] { c.act(*array, item); }), c.want);
    EXPECT_EQ(contents(*array), (std::vector<Long>{10, 20, 30}));
    EXPECT_EQ(item, 99);
  }
  EXPECT_EQ(array->LockItems(false), 1);
  EXPECT_EQ(array->SetLockChanges(true), 0);
}

TEST(AArray, StaysAsItWasWhenMemoryRunsOut) {
  Owned<AArray> array = longs({10, 20, 30});
  for (const bool quickly : {false, true}) {
    const Long item = 40;
    AllocationFailure failure(1);
    EXPECT_EQ(codeRaisedBy([&] { quickly ? ky::appendElement(array.get(), item) : array->InsertAtIndex(&item, 1); }),
              "MEM_OUT_OF_MEMORY");
  }
  for (Long nth = 1; nth <= 2; ++nth) {
    AllocationFailure failure(nth);
    EXPECT_EQ(codeRaisedBy([&] { array->Copy(); }), "MEM_OUT_OF_MEMORY");
  }
  array->DebugCheck();
  Owned<AArray> copy(static_cast<AArray*>(array->Copy()));
  array->DeleteItem(1);
  EXPECT_EQ(contents(*copy), (std::vector<Long>{10, 20, 30}));
}

TEST(AArray, SearchesInOrderAndByHalves) {
  Owned<AArray> array = longs({});
  Long key = 5;
  EXPECT_TRUE(array->IsEmpty());
  EXPECT_EQ(array->Search(&key, equalLongs), -2147483647 - 1);
  for (Long value = 0; value < 40; value += 2) ky::appendElement(array.get(), value);
  key = 38;
  EXPECT_EQ(array->Search(&key, equalLongs), 20);

  const auto compare = [](LongPtr wanted, void* element) { return Long(wanted) - *static_cast<Long*>(element); };
  for (const Long base : {1, 0, -7}) {
    array->SetIndexBase(base);
    for (Long wanted = -1; wanted <= 39; ++wanted) {
      Long index = 0, out = -5;
      const bool there = wanted >= 0 && wanted < 40 && wanted % 2 == 0;
      EXPECT_EQ(array->BinarySearchItem(wanted, compare, &index, &out) != 0, there) << wanted;
      EXPECT_EQ(index, (wanted + 1) / 2 + base);
      EXPECT_EQ(out, there ? wanted : -5);
    }
  }
}

TEST(AArray, SortsUnderALockThatAnErrorLiftsToo) {
  Owned<AArray> array = longs({3, 1, 2});
  static AArray* sorting = array.get();
  array->Qsort(compareLongs);
  EXPECT_EQ(contents(*array), (std::vector<Long>{1, 2, 3}));

  EXPECT_EQ(checkFailedBy([&] { array->Qsort([](void*, void*) { return sorting->DeleteItem(1), 0; }); }),
            "lockChanges == FALSE");
  EXPECT_EQ(codeRaisedBy([&] {
              array->Qsort([](void*, void*) -> int {
                sorting->CopyToTemporary(1);
                throw std::runtime_error("foreign");
              });
            }),
            "std::exception");
  array->Swap(1, 3);
  array->DeleteItem(2);
  EXPECT_EQ(contents(*array), (std::vector<Long>{3, 1}));
}

}  // namespace
