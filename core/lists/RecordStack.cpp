#include "core/lists/RecordStack.h"

#include <cstring>
#include <limits>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/KyHandles.h"

using namespace ky;

namespace {

constexpr Long kGrowth = 16;

Long bytesFor(Long recordSize, Int64 capacity) {
  const Int64 bytes = static_cast<Int64>(sizeof(stackHdr)) + recordSize * capacity;
  if (bytes > std::numeric_limits<Long>::max()) +XError("MEM_OUT_OF_MEMORY", 0);
  return static_cast<Long>(bytes);
}

char* recordAt(stackHdr** stack, Long index) {
  return reinterpret_cast<char*>(*stack + 1) + Int64{index} * (*stack)->recordSize;
}

}  // namespace

stackHdr** NewStack(Long recordSize) {
  if (!check(recordSize > 0, "recordSize > 0")) return nullptr;
  auto** const stack = reinterpret_cast<stackHdr**>(KyNewHandle(bytesFor(recordSize, kGrowth)));
  **stack = stackHdr{recordSize, 0, kGrowth};
  return stack;
}

void PushRecord(stackHdr** stack, const void* record) {
  const stackHdr head = **stack;
  if (head.count == head.capacity) {
    KySetHandleSize(stack, bytesFor(head.recordSize, Int64{head.capacity} + kGrowth));
    (*stack)->capacity += kGrowth;
  }
  std::memcpy(recordAt(stack, head.count), record, static_cast<std::size_t>(head.recordSize));
  ++(*stack)->count;
}

void PopRecord(stackHdr** stack, void* record) {
  if (!check((*stack)->count > 0, "count > 0")) return;
  const Long top = --(*stack)->count;
  std::memcpy(record, recordAt(stack, top), static_cast<std::size_t>((*stack)->recordSize));
}
