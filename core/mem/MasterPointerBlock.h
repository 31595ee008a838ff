// Blocks of master pointers: how slots are handed out within one, and which block an address belongs to.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "core/base/KyTypes.h"

/// A free slot holds the address of the next free one, or null in the last; a used slot what its handle points at.
class ZorvexMasterPointerBlock {
 public:
  static constexpr std::size_t kSlots = 40960;
  /// Blocks lie at multiples of this, so that an address tells which block it could belong to.
  static constexpr std::size_t kAlignment = std::size_t{512} << 10;

  ZorvexMasterPointerBlock(ZorvexMasterPointerBlock* previous, ZorvexMasterPointerBlock* next);
  virtual ~ZorvexMasterPointerBlock();

  /// Returns:  null if there is no memory.
  static void* operator new(std::size_t size) noexcept;
  static void operator delete(void* block);

  /// Alignment is not tested.
  bool owns(const void* address) const {
    return address >= static_cast<const void*>(slots_) && address <= static_cast<const void*>(&slots_[kSlots - 1]);
  }
  /// Whether both addresses lie where one block could have its slots.
  static bool areNeighbours(const void* one, const void* other) {
    return (reinterpret_cast<std::uintptr_t>(one) ^ reinterpret_cast<std::uintptr_t>(other)) < kAlignment;
  }
  bool isFull() const { return freeHead_ == nullptr; }

  /// Requires: not full.
  /// Returns:  the slot, or null if the free list leads out of the block.
  void** take(void* content) {
    void** const slot = freeHead_;
    if (!owns(slot) || !(*slot == nullptr || owns(*slot))) [[unlikely]]
      return nullptr;
    freeHead_ = static_cast<void**>(*slot);
    ++used_;
    *slot = content;
    return slot;
  }

  /// Takes up to `count` slots in the order of the free list, and lists them downwards from `end`. As in the free list,
  /// what each holds is an address among the block's slots.
  ///
  /// Returns:  how many; fewer if the block is full then, or its free list leads out of it.
  std::size_t takeIdle(void*** end, std::size_t count) {
    void*** at = end;
    void** slot = freeHead_;
    while (at != end - count && owns(slot)) {
      void** const next = static_cast<void**>(*slot);
      *--at = slot;
      if (!owns(next)) [[unlikely]] {
        if (next) {
          ++at;  // one that leads out is not taken
          break;
        }
        *slot = slot;
      }
      slot = next;
    }
    freeHead_ = slot;
    const auto taken = static_cast<std::size_t>(end - at);
    used_ += taken;
    return taken;
  }

  void give(void** slot) {
    *slot = freeHead_;
    freeHead_ = slot;
    ++given_;
    if (--used_ == 0 && given_ >= kSlots) putInOrder();
  }

  /// Place in the chain, from 0.
  std::size_t position() const { return position_; }

  ZorvexMasterPointerBlock* nextRoomy = nullptr;

 private:
  /// Chains all slots in address order. Slots given back in another order than they were taken end up strewn, and with
  /// them the handles of the next document: a block that empties starts anew, if that is worth the walk.
  void putInOrder();

  ZorvexMasterPointerBlock* next_ = nullptr;
  ZorvexMasterPointerBlock* previous_ = nullptr;
  void** freeHead_ = nullptr;
  void* slots_[kSlots];
  std::size_t position_ = 0;  // in the chain
  std::size_t used_ = 0;
  std::size_t given_ = 0;  // since they were in order
};
static_assert(sizeof(ZorvexMasterPointerBlock) <= ZorvexMasterPointerBlock::kAlignment);

namespace ky {

/// Which blocks there are, by address. It only grows.
///
/// Threads:  find() takes no lock; add() is for one thread at a time.
class MasterBlockTable {
 public:
  /// Returns:  the block whose slots `address` lies among, or null.
  ZorvexMasterPointerBlock* find(const void* address) const {
    const auto start = reinterpret_cast<std::uintptr_t>(address) & ~(ZorvexMasterPointerBlock::kAlignment - 1);
    const Cells& cells = *cells_.load(std::memory_order_acquire);
    for (std::size_t i = hash(start);; ++i) {
      auto* const block = cells.block[i & cells.mask].load(std::memory_order_acquire);
      if (reinterpret_cast<std::uintptr_t>(block) == start) [[likely]] {
        return block && block->owns(address) ? block : nullptr;
      }
      if (!block) return nullptr;
    }
  }

  /// Returns:  false if there is no memory for a larger table.
  bool add(ZorvexMasterPointerBlock* block);

 private:
  using Cell = std::atomic<ZorvexMasterPointerBlock*>;
  // A table in use is never freed, for a reader may still be in it: a larger one keeps it.
  struct Cells {
    std::size_t mask;
    Cell* block;
    const Cells* outgrown;
  };
  static constexpr std::size_t kFirstCells = 64;

  static std::size_t hash(std::uintptr_t start) { return start / ZorvexMasterPointerBlock::kAlignment; }
  static void put(const Cells& cells, ZorvexMasterPointerBlock* block);
  static const Cells* grown(const Cells& old);

  Cell first_[kFirstCells] = {};
  Cells firstCells_{kFirstCells - 1, first_, nullptr};
  std::atomic<const Cells*> cells_{&firstCells_};
  std::size_t count_ = 0;
};

/// The blocks that have a free slot, first in the chain first.
class RoomyBlocks {
 public:
  ZorvexMasterPointerBlock* first() const { return first_; }
  /// A block joins when it is made or gets its first free slot. The walk is short: a block leaves only when all ahead
  /// of it have left.
  void add(ZorvexMasterPointerBlock& block);
  void dropFirst() { first_ = first_->nextRoomy; }

 private:
  ZorvexMasterPointerBlock* first_ = nullptr;
};

}  // namespace ky
