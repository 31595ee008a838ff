#include "core/error/CustomAllocator.h"

#include <algorithm>
#include <cstddef>
#include <new>

namespace {

constexpr unsigned kAlignment = alignof(std::max_align_t);

}  // namespace

void* HeapAllocator::alloc(unsigned size) { return ::operator new(size); }

void HeapAllocator::dispose(void* block) { ::operator delete(block); }

PoolAllocator::PoolAllocator(unsigned count, unsigned size) {
  const std::size_t step = (std::max<std::size_t>(size, sizeof(void*)) + kAlignment - 1) / kAlignment * kAlignment;
  mArena = static_cast<char*>(::operator new(step* count));
  for (std::size_t i = count; i > 0; --i) dispose(mArena + (i - 1) * step);
}

PoolAllocator::~PoolAllocator() { ::operator delete(mArena); }

void* PoolAllocator::alloc(unsigned) {
  void* const block = mFree;
  if (block) mFree = *static_cast<void**>(block);
  return block;
}

void PoolAllocator::dispose(void* block) {
  if (!block) return;
  *static_cast<void**>(block) = mFree;
  mFree = block;
}
