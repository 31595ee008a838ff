#include "core/mem/SmallBlocks.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "core/mem/SpinTenure.h"
#include "platform/Memory.h"
#include "platform/Threads.h"

namespace ky {

constinit thread_local ThreadShelves* tShelves = nullptr;

namespace {

constexpr std::size_t kSlabBytes = std::size_t{64} << 10;
constexpr std::size_t kRegionBytes = std::size_t{4} << 20;
constexpr std::size_t kSlabs = kRegionBytes / kSlabBytes;

// A piece that is cut into blocks of one size. It has room while some are free or not cut yet.
struct alignas(64) Slab {
  Slab* next = nullptr;
  Slab* previous = nullptr;
  FreeBlock* free = nullptr;
  char* uncut = nullptr;
  char* end = nullptr;
  ULong used = 0;
  ULong blockBytes = 0;

  bool hasRoom() const { return free || uncut + blockBytes <= end; }
};

// Lies at a multiple of its size, so that a block's slab is found from its address. The slabs' records stand together
// ahead of the first slab: at the head of each they would all fall on the same lines of the processor's cache.
struct Region {
  Slab slab[kSlabs];
};

Slab& slabOf(const void* block) {
  const auto address = reinterpret_cast<std::uintptr_t>(block);
  auto* const region = reinterpret_cast<Region*>(address & ~(kRegionBytes - 1));
  return region->slab[(address & (kRegionBytes - 1)) / kSlabBytes];
}

class SlabList {
 public:
  Slab* first() const { return first_; }
  void add(Slab& slab) {
    slab.previous = nullptr;
    slab.next = first_;
    if (first_) first_->previous = &slab;
    first_ = &slab;
  }
  void remove(Slab& slab) {
    (slab.previous ? slab.previous->next : first_) = slab.next;
    if (slab.next) slab.next->previous = slab.previous;
  }

 private:
  Slab* first_ = nullptr;
};

// The slabs that no shelf uses.
class SlabPool {
 public:
  Slab* take() {
    const SpinTenure held(lock_);
    if (Slab* const slab = idle_.first()) {
      idle_.remove(*slab);
      return slab;
    }
    if (cut_ == kSlabs && !addRegion()) return nullptr;
    return cutSlab();
  }

  void give(Slab& slab) {
    const SpinTenure held(lock_);
    idle_.add(slab);
  }

 private:
  bool addRegion() {
    void* const pages = platform::takePages(kRegionBytes, kRegionBytes);
    if (!pages) return false;
    // Who fills one region will fill the next: from then on large pages make the first touch cheaper.
    if (region_) platform::preferLargePages(pages, kRegionBytes);
    region_ = new (pages) Region;
    cut_ = 0;
    return true;
  }

  Slab* cutSlab() {
    Slab& slab = region_->slab[cut_];
    char* const start = reinterpret_cast<char*>(region_) + cut_ * kSlabBytes;
    slab.end = start + kSlabBytes;
    ++cut_;
    return &slab;
  }

  SpinLock lock_;
  SlabList idle_;
  Region* region_ = nullptr;
  std::size_t cut_ = kSlabs;
};

constinit SlabPool slabPool;

char* firstBlockOf(const Slab& slab) {
  char* const start = slab.end - kSlabBytes;
  const bool holdsRecords = (reinterpret_cast<std::uintptr_t>(start) & (kRegionBytes - 1)) == 0;
  return start + (holdsRecords ? sizeof(Region) : 0);
}

// What threads have not at hand, for one block size.
class CentralShelf {
 public:
  // Fills an empty shelf with up to `most` freed blocks of one slab, or else with a stretch of as many that are not cut
  // yet: neighbours, which nobody has to touch before they are handed out. It stays empty when memory is short.
  void fill(ThreadShelves::Shelf& to, std::size_t shelf, ULong most) {
    const SpinTenure held(lock_);
    Slab* const slab = roomy_.first() ? roomy_.first() : addSlab(shelf);
    if (!slab) return;
    slab->used += slab->free ? takeFreed(*slab, to, most) : takeUncut(*slab, to, most);
    if (!slab->hasRoom()) roomy_.remove(*slab);
  }

  void give(FreeBlock* first) {
    const SpinTenure held(lock_);
    while (first) {
      FreeBlock* const block = first;
      first = block->next;
      Slab& slab = slabOf(block);
      if (!slab.hasRoom()) roomy_.add(slab);
      block->next = slab.free;
      slab.free = block;
      if (--slab.used == 0) dropEmpty(slab);
    }
  }

 private:
  static ULong takeFreed(Slab& slab, ThreadShelves::Shelf& to, ULong most) {
    FreeBlock** tail = &to.first;
    for (; to.count < most && slab.free; ++to.count) {
      *tail = slab.free;
      slab.free = slab.free->next;
      tail = &(*tail)->next;
    }
    *tail = nullptr;
    return to.count;
  }

  static ULong takeUncut(Slab& slab, ThreadShelves::Shelf& to, ULong most) {
    const ULong taken = std::min(most, static_cast<ULong>(slab.end - slab.uncut) / slab.blockBytes);
    to.uncut = slab.uncut;
    slab.uncut += std::size_t{taken} * slab.blockBytes;
    to.uncutEnd = slab.uncut;
    return taken;
  }

  Slab* addSlab(std::size_t shelf) {
    Slab* const slab = slabPool.take();
    if (!slab) return nullptr;
    slab->free = nullptr;
    slab->uncut = firstBlockOf(*slab);
    slab->used = 0;
    slab->blockBytes = static_cast<ULong>(shelf * kBlockUnit);
    roomy_.add(*slab);
    return slab;
  }

  // One empty slab stays, so that a lone block taken and given does not move it to and fro.
  void dropEmpty(Slab& slab) {
    if (roomy_.first() == &slab && !slab.next) return;
    roomy_.remove(slab);
    slabPool.give(slab);
  }

  SpinLock lock_;
  SlabList roomy_;
};

constinit CentralShelf central[kShelves];

constexpr ULong batchFor(std::size_t shelf) {
  constexpr std::size_t kBatchBytes = 8192;
  return static_cast<ULong>(std::clamp<std::size_t>(kBatchBytes / (shelf * kBlockUnit), 4, 64));
}

// All threads that have shelves, and what the ended ones counted.
struct Registry {
  SpinLock lock;
  ThreadShelves* first = nullptr;
  BlockTotals ended;
};

constinit Registry registry;

// Returns the blocks of a shelf that ends, freed or not cut yet, as one list.
FreeBlock* allOf(ThreadShelves::Shelf& from, std::size_t shelf) {
  FreeBlock* first = from.first;
  for (char* at = from.uncut; at != from.uncutEnd; at += shelf * kBlockUnit) {
    auto* const block = reinterpret_cast<FreeBlock*>(at);
    block->next = first;
    first = block;
  }
  return first;
}

void endThreadShelves(void* argument) {
  auto* const mine = static_cast<ThreadShelves*>(argument);
  for (std::size_t shelf = 1; shelf < kShelves; ++shelf) central[shelf].give(allOf(mine->shelf[shelf], shelf));
  {
    const SpinTenure held(registry.lock);
    (mine->previous ? mine->previous->next : registry.first) = mine->next;
    if (mine->next) mine->next->previous = mine->previous;
    registry.ended.bytes += mine->bytes;
    registry.ended.blocks += mine->blocks;
  }
  std::free(mine);
  tShelves = nullptr;
}

}  // namespace

ThreadShelves* makeThreadShelves() noexcept {
  constexpr std::size_t kLine = 64;
  void* const memory = std::aligned_alloc(kLine, (sizeof(ThreadShelves) + kLine - 1) / kLine * kLine);
  if (!memory) return nullptr;
  auto* const mine = new (memory) ThreadShelves;
  for (std::size_t shelf = 1; shelf < kShelves; ++shelf) mine->shelf[shelf].limit = 2 * batchFor(shelf);
  {
    const SpinTenure held(registry.lock);
    mine->next = registry.first;
    if (mine->next) mine->next->previous = mine;
    registry.first = mine;
  }
  tShelves = mine;
  platform::atThreadExit(endThreadShelves, mine);
  return mine;
}

void* fetchSmallBlocks(ThreadShelves& mine, std::size_t shelf) noexcept {
  central[shelf].fill(mine.shelf[shelf], shelf, batchFor(shelf));
  return takeSmallBlockAtHand(mine, shelf);
}

// The blocks freed last stay: they are still in the processor's cache.
void returnHalf(ThreadShelves& mine, std::size_t shelf) noexcept {
  ThreadShelves::Shelf& from = mine.shelf[shelf];
  const ULong kept = from.limit / 2;
  FreeBlock* last = from.first;
  for (ULong i = 1; i < kept; ++i) last = last->next;
  FreeBlock* const rest = last->next;
  last->next = nullptr;
  from.count = kept;
  central[shelf].give(rest);
}

void giveSmallBlockAlone(std::size_t shelf, void* p) noexcept {
  FreeBlock* const block = static_cast<FreeBlock*>(p);
  block->next = nullptr;
  central[shelf].give(block);
}

void countAlone(Int64 bytes, Int64 blocks) noexcept {
  const SpinTenure held(registry.lock);
  registry.ended.bytes += bytes;
  registry.ended.blocks += blocks;
}

BlockTotals sumOfThreads() noexcept {
  const SpinTenure held(registry.lock);
  BlockTotals sum = registry.ended;
  for (const ThreadShelves* each = registry.first; each; each = each->next) {
    sum.bytes += each->bytes.load(std::memory_order_relaxed);
    sum.blocks += each->blocks.load(std::memory_order_relaxed);
  }
  return sum;
}

}  // namespace ky
