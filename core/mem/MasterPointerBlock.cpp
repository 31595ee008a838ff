#include "core/mem/MasterPointerBlock.h"

#include <new>

#include "platform/Memory.h"

ZorvexMasterPointerBlock::ZorvexMasterPointerBlock(ZorvexMasterPointerBlock* previous, ZorvexMasterPointerBlock* next)
    : next_(next), previous_(previous), position_(previous ? previous->position_ + 1 : 0) {
  if (previous_) previous_->next_ = this;
  if (next_) next_->previous_ = this;
  putInOrder();
}

void ZorvexMasterPointerBlock::putInOrder() {
  freeHead_ = reinterpret_cast<void**>(&slots_[0]);
  for (std::size_t i = 0; i + 1 < kSlots; ++i) slots_[i] = &slots_[i + 1];
  slots_[kSlots - 1] = nullptr;
  given_ = 0;
}

ZorvexMasterPointerBlock::~ZorvexMasterPointerBlock() {
  if (previous_) previous_->next_ = next_;
  if (next_) next_->previous_ = previous_;
}

static constexpr std::size_t kPage = 4096;
static constexpr std::size_t kBlockBytes = (sizeof(ZorvexMasterPointerBlock) + kPage - 1) / kPage * kPage;

void* ZorvexMasterPointerBlock::operator new(std::size_t) noexcept {
  return ky::platform::takePages(kBlockBytes, kAlignment);
}

void ZorvexMasterPointerBlock::operator delete(void* block) { ky::platform::returnPages(block, kBlockBytes); }

namespace ky {

void MasterBlockTable::put(const Cells& cells, ZorvexMasterPointerBlock* block) {
  std::size_t i = hash(reinterpret_cast<std::uintptr_t>(block));
  while (cells.block[i & cells.mask].load(std::memory_order_relaxed)) ++i;
  cells.block[i & cells.mask].store(block, std::memory_order_release);
}

const MasterBlockTable::Cells* MasterBlockTable::grown(const Cells& old) {
  const std::size_t size = 2 * (old.mask + 1);
  Cell* const cell = new (std::nothrow) Cell[size]();
  const Cells* const larger = cell ? new (std::nothrow) Cells{size - 1, cell, &old} : nullptr;
  if (!larger) {
    delete[] cell;
    return nullptr;
  }
  for (std::size_t i = 0; i <= old.mask; ++i) {
    if (auto* const block = old.block[i].load(std::memory_order_relaxed)) put(*larger, block);
  }
  return larger;
}

bool MasterBlockTable::add(ZorvexMasterPointerBlock* block) {
  const Cells* cells = cells_.load(std::memory_order_relaxed);
  if (2 * (count_ + 1) > cells->mask + 1) {
    cells = grown(*cells);
    if (!cells) return false;
    cells_.store(cells, std::memory_order_release);
  }
  put(*cells, block);
  ++count_;
  return true;
}

void RoomyBlocks::add(ZorvexMasterPointerBlock& block) {
  ZorvexMasterPointerBlock** link = &first_;
  while (*link && (*link)->position() < block.position()) link = &(*link)->nextRoomy;
  block.nextRoomy = *link;
  *link = &block;
}

}  // namespace ky
