#include "core/mem/AltHeap.h"

#include "core/mem/KyMemory.h"
#include "core/mem/PtrBlocks.h"

namespace ky {

namespace {

constexpr Long kFreshBytes = kAltMasterBytes - static_cast<Long>(sizeof(AltMaster));  // 131,044

// In the `previous` of a block that was taken off its free list because its master block is dead.
constexpr AltLink kOnDeadList = 0x80000000;

}  // namespace

AltTables AltTables::make() {
  AltTables tables;
  tables.entries = static_cast<AltEntry*>(KyNewPtrClear(kAltEntries * static_cast<Long>(sizeof(AltEntry))));
  tables.slots = static_cast<AltSlot*>(KyNewPtrClear(kAltSlots * static_cast<Long>(sizeof(AltSlot))));
  for (Long i = 0; i < kAltEntries; ++i) tables.entries[i].size = i * 4;
  return tables;
}

void AltTables::dispose() {
  KyDisposePtr(entries);
  KyDisposePtr(slots);
}

void AltHeap::start(const AltTables& tables) { tables_ = tables; }

AltCounts AltHeap::counts() const {
  AltCounts counts{masterBytes_, masterBytes_ + largeBytes_, largeBlocks_};
  if (!tables_.entries) return counts;
  for (Long i = 0; i < kAltEntries; ++i) {
    const AltEntry& entry = tables_.entries[i];
    counts.freeBytes -= entry.used * (entry.size + kAltHeader);
    counts.numBlocks += entry.used;
  }
  return counts;
}

// Whether it may be followed, if a client wrote into a free block.
bool AltHeap::leadsToBlock(AltLink link) const {
  const AltLink slot = link >> kAltPlaceBits;
  const auto offset = static_cast<Long>(placeOf(link));
  if (slot >= static_cast<AltLink>(slotsUsed_) || !tables_.slots[slot].master) return false;
  return offset >= static_cast<Long>(sizeof(AltMaster)) && offset < tables_.slots[slot].master->next;
}

void* AltHeap::take(Long size) {
  AltEntry& entry = entryFor(static_cast<ULong>(size));
  if (deadMasters_ > 0) moveDeadHead(entry);
  if (entry.head) return takeFirst(entry, size);

  const Long pitch = altPitch(altRealSize(size));
  AltMaster* const master = masterWith(pitch);
  if (!master) return nullptr;
  AltFreeBlock* const block = carve(*master, size, pitch);
  ++tables_.slots[master->slot].used;
  ++entry.used;
  ++entry.blocks;
  return &block->header + 1;
}

void AltHeap::give(void* p) {
  if (giveAtHand(p)) return;
  auto* const block = reinterpret_cast<AltFreeBlock*>(altHeader(p));
  AltSlot& slot = tables_.slots[block->header.master];
  --slot.used;
  ++deadMasters_;
  putLast(entryFor(block->header.size), *block, linkTo(block->header.master, *slot.master, block));
}

void AltHeap::countLarge(Long real) {
  largeBytes_ += real;
  ++largeBlocks_;
}

// No allocation is to reopen a master block that waits to be reclaimed.
void AltHeap::moveDeadHead(AltEntry& entry) {
  while (entry.head) {
    const AltLink link = entry.head;
    if (!isDead(slotOf(link))) [[likely]]
      return;
    AltFreeBlock* const block = blockAt(link);
    entry.head = block->next;
    --entry.blocks;

    block->next = deadHead_;
    block->previous = kOnDeadList;
    if (deadHead_) blockAt(deadHead_)->previous = link | kOnDeadList;
    deadHead_ = link;
  }
}

AltFreeBlock* AltHeap::carve(AltMaster& master, Long size, Long pitch) {
  AltFreeBlock* const block = blockIn(master, static_cast<std::size_t>(master.next));
  block->header = {static_cast<std::uint16_t>(size), static_cast<std::uint16_t>(master.slot)};
  ++master.carved;
  master.next += pitch;
  master.left -= pitch;
  return block;
}

AltMaster* AltHeap::masterWith(Long bytes) {
  if (spare_ && !isDead(*spare_) && spare_->left >= bytes) return spare_;
  if (!current_ || current_->left < bytes) {
    AltMaster* const before = current_;
    setCurrent(chooseMaster());
    keepSpare(before);
  }
  return current_;
}

void AltHeap::keepSpare(AltMaster* master) {
  if (master && master != current_ && (!spare_ || spare_->left < master->left)) spare_ = master;
}

void AltHeap::setCurrent(AltMaster* master) {
  if (master && isDead(*master)) --deadMasters_;
  AltMaster* const before = current_;
  current_ = master;
  if (before && isDead(*before)) ++deadMasters_;
}

// Returns a fresh master block: a reclaimed one, else a new one.
AltMaster* AltHeap::chooseMaster() {
  setCurrent(nullptr);
  Long freeSlot = slotsUsed_;
  if (deadMasters_ > 0 || holes_ > 0) {
    for (Long i = 0; i < slotsUsed_; ++i) {
      AltMaster* const master = tables_.slots[i].master;
      if (!master) {
        if (freeSlot == slotsUsed_) freeSlot = i;
        continue;
      }
      if (isDead(*master) && master->carved > 0) reset(*master);
      if (master->carved == 0) return master;
    }
  }
  return freeSlot < kAltSlots ? makeMaster(freeSlot) : nullptr;
}

AltMaster* AltHeap::makeMaster(Long slot) {
  auto* const master = static_cast<AltMaster*>(takeCountedPages(kAltMasterBytes));
  if (!master) return nullptr;
  *master = {};
  master->next = sizeof(AltMaster);
  master->left = kFreshBytes;
  master->slot = slot;
  tables_.slots[slot] = {master, 0};
  if (slot == slotsUsed_) {
    ++slotsUsed_;
  } else {
    --holes_;
  }
  masterBytes_ += kAltMasterBytes;
  ++deadMasters_;  // until it becomes the current one
  return master;
}

void AltHeap::dropMaster(AltMaster& master) {
  if (spare_ == &master) spare_ = nullptr;
  tables_.slots[master.slot] = {};
  ++holes_;
  masterBytes_ -= kAltMasterBytes;
  --deadMasters_;
  returnCountedPages(&master, kAltMasterBytes);
}

// Takes its blocks off their lists, in the order of carving.
void AltHeap::reset(AltMaster& master) {
  if (!isDead(master)) {
    fault_ = AltFault::notDead;
    return;
  }
  for (Long offset = sizeof(AltMaster); offset < master.next;) {
    AltFreeBlock* const block = blockIn(master, static_cast<std::size_t>(offset));
    if (!unlink(*block, linkTo(static_cast<ULong>(master.slot), master, block))) {
      fault_ = AltFault::onNoList;
      return;
    }
    offset += altPitch(altRealSize(block->header.size));
  }
  master.carved = 0;
  master.next = sizeof(AltMaster);
  master.left = kFreshBytes;
}

bool AltHeap::unlink(AltFreeBlock& block, AltLink link) {
  const bool onDeadList = (block.previous & kOnDeadList) != 0 && deadHead_ != 0;
  AltEntry& entry = entryFor(block.header.size);
  AltLink& head = onDeadList ? deadHead_ : entry.head;
  const AltLink previous = head == link ? 0 : block.previous & ~kOnDeadList;
  if (head != link && !(leadsToBlock(previous) && blockAt(previous)->next == link)) return false;
  if (block.next && !leadsToBlock(block.next)) return false;

  (previous ? blockAt(previous)->next : head) = block.next;
  if (block.next) {
    blockAt(block.next)->previous = onDeadList ? previous | kOnDeadList : previous;
  } else if (!onDeadList) {
    entry.tail = previous;
  }
  if (!onDeadList) --entry.blocks;
  return true;
}

bool AltHeap::contains(const void* address) const {
  for (Long i = 0; i < slotsUsed_; ++i) {
    const char* const start = reinterpret_cast<const char*>(tables_.slots[i].master);
    if (start && address >= start && address < start + kAltMasterBytes) return true;
  }
  return false;
}

void AltHeap::freshen() {
  for (Long i = 0; i < slotsUsed_ && deadMasters_ > 0; ++i) {
    AltMaster* const master = tables_.slots[i].master;
    if (master && isDead(*master) && master->carved > 0) reset(*master);
  }
}

Long AltHeap::returnMasters(Long bytes) {
  if (deadMasters_ == 0) return 0;
  freshen();
  Long returned = 0;
  for (Long i = 0; i < slotsUsed_ && returned < bytes; ++i) {
    AltMaster* const master = tables_.slots[i].master;
    if (!master || master == current_ || master->carved > 0) continue;
    dropMaster(*master);
    returned += kAltMasterBytes;
  }
  return returned;
}

void AltHeap::describe(std::vector<AltEntry>& entries, std::vector<AltMasterRow>& masters) const {
  entries.assign(tables_.entries, tables_.entries + kAltEntries);
  for (Long i = 0; i < slotsUsed_; ++i) {
    const auto [master, used] = tables_.slots[i];
    if (!master) continue;
    const char mark = master == current_ ? '*' : isDead(*master) ? 'd' : ' ';
    masters.push_back({mark, i, used, master->carved - used, reinterpret_cast<std::uintptr_t>(master)});
  }
}

}  // namespace ky
