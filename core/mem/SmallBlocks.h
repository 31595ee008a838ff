// Small raw blocks: cut from larger pieces, kept at hand by each thread, reused for any size once a piece is empty.
#pragma once

#include <atomic>
#include <cstddef>

#include "core/base/KyTypes.h"
#include "core/base/Sanitizers.h"

namespace ky {

/// Off where an overrun or a leak is to show in the system's own heap.
inline constexpr bool kSmallBlocksInUse = !kAddressesChecked;

inline constexpr std::size_t kBlockUnit = 16;
inline constexpr std::size_t kLargestSmallBlock = 1024;
/// So far ahead of a block cut from a stretch its memory is asked for: a run of new objects is bound by how fast lines
/// of memory come to be written to.
inline constexpr std::size_t kFetchedAhead = 1024;
inline constexpr std::size_t kShelves = kLargestSmallBlock / kBlockUnit + 1;

/// Requires: 0 < `bytes` <= kLargestSmallBlock.
/// Returns:  the shelf whose blocks hold `bytes`: `bytes` in units, rounded up.
constexpr std::size_t shelfFor(std::size_t bytes) { return (bytes + kBlockUnit - 1) / kBlockUnit; }

struct FreeBlock {
  FreeBlock* next;
};

/// What one thread has at hand, and its part of the totals. Any thread may free a block: it goes to that one's shelf.
struct ThreadShelves {
  struct Shelf {
    FreeBlock* first = nullptr;
    char* uncut = nullptr;  ///< from here to `uncutEnd` lie blocks that were never handed out; the freed ones go first
    char* uncutEnd = nullptr;
    ULong count = 0;  ///< of the freed ones
    ULong limit = 0;  ///< at this count half of them go back
  };

  Shelf shelf[kShelves];
  std::atomic<Int64> bytes{0};  ///< written by the thread, read by whoever sums up
  std::atomic<Int64> blocks{0};
  ThreadShelves* next = nullptr;
  ThreadShelves* previous = nullptr;
};

extern constinit thread_local ThreadShelves* tShelves __attribute__((tls_model("initial-exec")));

/// Makes the calling thread's shelves, which return what they hold when it ends.
///
/// Returns:  null if there is no memory for them.
ThreadShelves* makeThreadShelves() noexcept;

inline ThreadShelves* threadShelves() noexcept { return tShelves ? tShelves : makeThreadShelves(); }

/// Returns:  the shelf's first block after some were fetched; null if the memory is not there.
void* fetchSmallBlocks(ThreadShelves& mine, std::size_t shelf) noexcept;
void returnHalf(ThreadShelves& mine, std::size_t shelf) noexcept;

/// Returns:  a block of `shelf` units, aligned to one; null if the thread has none at hand.
inline void* takeSmallBlockAtHand(ThreadShelves& mine, std::size_t shelf) noexcept {
  ThreadShelves::Shelf& from = mine.shelf[shelf];
  if (FreeBlock* const block = from.first) [[unlikely]] {  // laid out for the long runs that documents load
    from.first = block->next;
    --from.count;
    return block;
  }
  char* const block = from.uncut;
  if (block == from.uncutEnd) return nullptr;
  from.uncut = block + shelf * kBlockUnit;
  __builtin_prefetch(block + kFetchedAhead, 1);
  return block;
}

/// Returns:  a block of `shelf` units, aligned to one; null if the memory is not there.
inline void* takeSmallBlock(ThreadShelves& mine, std::size_t shelf) noexcept {
  void* const block = takeSmallBlockAtHand(mine, shelf);
  return block ? block : fetchSmallBlocks(mine, shelf);
}

inline void giveSmallBlock(ThreadShelves& mine, std::size_t shelf, void* p) noexcept {
  ThreadShelves::Shelf& to = mine.shelf[shelf];
  FreeBlock* const block = static_cast<FreeBlock*>(p);
  block->next = to.first;
  to.first = block;
  if (++to.count >= to.limit) [[unlikely]]
    returnHalf(mine, shelf);
}

/// The same for a thread that has no shelves, because memory is short.
void giveSmallBlockAlone(std::size_t shelf, void* p) noexcept;
void countAlone(Int64 bytes, Int64 blocks) noexcept;

struct BlockTotals {
  Int64 bytes = 0;
  Int64 blocks = 0;
};

/// Returns:  what all threads, ended ones too, have counted.
BlockTotals sumOfThreads() noexcept;

}  // namespace ky
