// Where error stacks come from: the heap, or a pool for code that may not touch the heap.
#pragma once

#include "core/base/KyTypes.h"

class KY_API CustomAllocator {
 public:
  // Slots in order: alloc, dispose.
  virtual void* alloc(unsigned size) = 0;
  virtual void dispose(void* block) = 0;

  virtual ~CustomAllocator() = default;
};

/// The global heap. It lets bad_alloc pass.
class KY_API HeapAllocator : public CustomAllocator {
 public:
  constexpr HeapAllocator() = default;

  void* alloc(unsigned size) override;
  void dispose(void* block) override;
};

/// A fixed number of blocks, made at construction.
///
/// Owns:     the blocks; those still out when the pool goes are gone with it.
/// Threads:  one at a time.
class KY_API PoolAllocator : public CustomAllocator {
 public:
  /// Units:    `size` is the bytes of a block, rounded up so that any type suits it.
  PoolAllocator(unsigned count, unsigned size);
  ~PoolAllocator() override;
  PoolAllocator(const PoolAllocator&) = delete;
  PoolAllocator& operator=(const PoolAllocator&) = delete;

  /// A block of the pool's size, whatever `size` is: the pool serves only what fits.
  ///
  /// Returns:  null when all blocks are out.
  void* alloc(unsigned size) override;
  void dispose(void* block) override;

 private:
  char* mArena = nullptr;
  void* mFree = nullptr;
};
