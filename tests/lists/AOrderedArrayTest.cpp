#include "core/lists/AOrderedArray.h"

#include "core/mem/KyStringHandles.h"
#include "tests/lists/ListSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

template <class T>
void expectOrder(typechoice type, std::vector<T> ascending) {
  SCOPED_TRACE(int(type));
  const Owned<AOrderedArray> array(AOrderedArray::New(sizeof(T), type));
  std::vector<T> shuffled = ascending;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(5));
  for (const T& item : shuffled) array->InsertItem(&item);
  EXPECT_EQ(contentsOf<T>(*array), ascending);
  for (const T& item : ascending) {
    EXPECT_EQ(codeRaisedBy([&] { array->InsertItem(&item); }), "DUPLICATE_KEYS_IN_ORDERED_ARRAY");
  }
  Long index = 0;
  Boolean found = false;
  T out{};
  array->BinarySearch(&ascending[1], &index, &out, &found);
  EXPECT_TRUE(found && index == 2 && out == ascending[1]);
}

}  // namespace

TEST(AOrderedArray, OrdersByTheTypeOfItsKeys) {
  expectOrder<short>(typeShort, {-32768, -1, 0, 1, 32767});
  expectOrder<Long>(typeLong, {INT_MIN, -1, 0, INT_MAX});
  expectOrder<std::uintptr_t>(typeAddr, {0, 1, UINTPTR_MAX / 2, UINTPTR_MAX / 2 + 1, UINTPTR_MAX});
  expectOrder<float>(typeFloat, {-1e30f, -0.25f, 0.0f, 0.5f, 1e30f});
  expectOrder<double>(typeDouble, {-1e300, -0.25, 0.0, 0.5, 1e300});
  expectOrder<Int64>(typeInt64, {INT64_MIN, -0x100000000, 0, 0x100000000, INT64_MAX});
  std::vector<OwnedHandle> owners;
  std::vector<char**> texts = {nullptr};
  for (const char* text : {"A", "a", "ab", "\x80"}) texts.push_back(owners.emplace_back(KyNewSHdl(text)).get());
  expectOrder<char**>(typeStrHdl, texts);

  const Owned<AOrderedArray> array(AOrderedArray::New(1, typeAddr));
  EXPECT_EQ(codeRaisedBy([&] { array->IOrderedArray(8, typechoice(7)); }), "BAD_TYPE_IN_ORDERED_ARRAY");
  const AllocationFailure second(2);
  EXPECT_EQ(codeRaisedBy([&] { array->IOrderedArray(8, typeAddr); }), "MEM_OUT_OF_MEMORY");
  EXPECT_EQ(ArrayAccess::elementSize(*array), 1) << "the array stays as it was";
}

// Into 10, 20, 30, 40. The element at the index itself is not compared with: hence 35 may go to index 3.
TEST(AOrderedArray, InsertAtIndexLooksAtOneNeighbourOnEachSide) {
  const struct {
    Long item, index;
    bool fits;
  } rows[] = {{5, 1, true},   {25, 1, false}, {35, 3, true},      {45, 3, false},
              {20, 3, false}, {40, 5, false}, {50, kAtEnd, true}, {35, kAtEnd, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.item << " at " << row.index);
    const Owned<AOrderedArray> array(AOrderedArray::New(sizeof(Long), typeLong));
    for (Long item = 10; item <= 40; item += 10) array->InsertItem(&item);
    EXPECT_EQ(codeRaisedBy([&] { array->InsertAtIndex(&row.item, row.index); }),
              row.fits ? "" : "ARRAY_INSERT_IN_WRONG_POSITION");
    EXPECT_EQ(array->GetNumItems(), row.fits ? 5 : 4);
  }
}
