#include "core/lists/RecordStack.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"
#include "tests/support/Raised.h"

namespace {

using namespace ky;
using namespace ky::test;

class Stack {
 public:
  explicit Stack(Long recordSize) : stack(NewStack(recordSize)), owner(reinterpret_cast<char**>(stack)) {}

  void push(const std::string& record) { PushRecord(stack, record.data()); }
  std::string pop() {
    std::string record(static_cast<std::size_t>((*stack)->recordSize), '?');
    PopRecord(stack, record.data());
    return record;
  }

  stackHdr** const stack;

 private:
  OwnedHandle owner;
};

TEST(RecordStack, FollowsAModel) {
  for (const Long size : {1, 3, 8, 61}) {
    std::mt19937 random(static_cast<unsigned>(size));
    Stack stack(size);
    std::vector<std::string> model;
    for (int step = 0; step < 2'000; ++step) {
      if (model.empty() || random() % 100 < (step / 250 % 2 ? 40u : 60u)) {
        model.emplace_back(static_cast<std::size_t>(size), static_cast<char>(random()));
        model.back().back() = static_cast<char>(random());
        stack.push(model.back());
      } else {
        ASSERT_EQ(stack.pop(), model.back());
        model.pop_back();
      }
    }
  }
}

TEST(RecordStack, AnEmptyOneGivesNothing) {
  Stack stack(4);
  std::string record = "kept";
  EXPECT_EQ(checkFailedBy([&] { PopRecord(stack.stack, record.data()); }), "count > 0");
  EXPECT_EQ(record, "kept");
  EXPECT_EQ(checkFailedBy([] { NewStack(0); }), "recordSize > 0");
}

TEST(RecordStack, WithoutMemoryItStaysAsItWas) {
  Stack stack(2);
  for (char digit = 'a'; digit < 'a' + 16; ++digit) stack.push({digit, '.'});
  {
    const AllocationFailure failure(1);
    EXPECT_EQ(codeRaisedBy([&] { stack.push("z."); }), "MEM_OUT_OF_MEMORY");
  }
  EXPECT_EQ(stack.pop(), "p.");
  EXPECT_EQ(codeRaisedBy([] { NewStack(0x10000000); }), "MEM_OUT_OF_MEMORY");
}

}  // namespace
