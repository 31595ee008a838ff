// Pointer blocks as the memory manager's own files make them: counted, but not traced.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>

#include "core/mem/SmallBlocks.h"

namespace ky {

/// Stands ahead of the caller's bytes and keeps them aligned for any type.
struct alignas(16) PtrHeader {
  ULong unused[2];
  ULong pages;  ///< of a block with pages of its own: how many of 4 KB it has
  Long size;
};
static_assert(sizeof(PtrHeader) == 16);

/// Blocks of this size and more have pages of their own: they grow without being copied, and large ones are cheaper to
/// touch for the first time.
inline constexpr Long kLeastPagedPtr = kSmallBlocksInUse ? 0x100000 : 0x7FFFFFFF;

inline constexpr std::size_t kLargestSmallPtr = kSmallBlocksInUse ? kLargestSmallBlock - sizeof(PtrHeader) : 0;

inline PtrHeader* ptrHeader(void* p) { return static_cast<PtrHeader*>(p) - 1; }
inline const PtrHeader* ptrHeader(const void* p) { return static_cast<const PtrHeader*>(p) - 1; }

/// Whether allocations are traced or made to fail: one test on the way of each.
struct AllocationWatch {
  static constexpr ULong kTraced = 1;
  static constexpr ULong kFreesChecked = 2;
  static constexpr ULong kFailing = 4;  ///< and its multiples: that many threads wait for a failure

  std::atomic<ULong> flags{0};

  bool traced() const { return (flags.load(std::memory_order_relaxed) & kTraced) != 0; }
  bool freesWatched() const { return (flags.load(std::memory_order_relaxed) & (kTraced | kFreesChecked)) != 0; }
  bool failing() const { return flags.load(std::memory_order_relaxed) >= kFailing; }
  bool watching() const { return flags.load(std::memory_order_relaxed) != 0; }
};
extern constinit AllocationWatch allocationWatch;

/// Returns:  true if this allocation of the calling thread is the one that is to fail.
bool failsNow() noexcept;

[[noreturn]] void raiseOutOfMemory();

/// Returns:  null for a negative size or if there is no memory.
void* takeLargePtr(Long size) noexcept;
void giveLargePtr(PtrHeader* header) noexcept;

inline bool isSmallPtr(Long size) { return kSmallBlocksInUse && static_cast<ULong>(size) <= kLargestSmallPtr; }
inline std::size_t shelfForPtr(Long size) { return shelfFor(static_cast<std::size_t>(size) + sizeof(PtrHeader)); }

// Only the thread writes its counters, so that no read-modify-write is needed.
inline void countPtr(ThreadShelves& mine, Int64 bytes, Int64 blocks) noexcept {
  constexpr auto relaxed = std::memory_order_relaxed;
  mine.bytes.store(mine.bytes.load(relaxed) + bytes, relaxed);
  mine.blocks.store(mine.blocks.load(relaxed) + blocks, relaxed);
}

/// The short way of most blocks, which needs nothing but what the calling thread has at hand.
///
/// Returns:  null if the block takes the long way: newPtrUntraced(), and a trace if one is on.
inline void* newPtrAtHand(Long size) noexcept {
  ThreadShelves* const mine = tShelves;
  if (!mine || !isSmallPtr(size) || allocationWatch.watching()) [[unlikely]]
    return nullptr;
  void* const raw = takeSmallBlockAtHand(*mine, shelfForPtr(size));
  if (!raw) [[unlikely]]
    return nullptr;
  auto* const header = static_cast<PtrHeader*>(raw);
  header->size = size;
  countPtr(*mine, size, 1);
  return header + 1;
}

/// Raises:   MEM_OUT_OF_MEMORY.
void* newPtrUntraced(Long size);

inline void disposePtrUntraced(void* p) noexcept {
  PtrHeader* const header = ptrHeader(p);
  const Long size = header->size;
  ThreadShelves* const mine = threadShelves();
  if (!mine) [[unlikely]] {
    countAlone(-Int64{size}, -1);
    isSmallPtr(size) ? giveSmallBlockAlone(shelfForPtr(size), header) : giveLargePtr(header);
    return;
  }
  countPtr(*mine, -Int64{size}, -1);
  if (isSmallPtr(size)) {
    giveSmallBlock(*mine, shelfForPtr(size), header);
  } else {
    giveLargePtr(header);
  }
}

/// Resizes, keeping contents.
///
/// Returns:  where the block lies now.
/// Raises:   MEM_OUT_OF_MEMORY, with the block as it was.
void* resizePtrUntraced(void* p, Long size);

/// Whole pages that count as one pointer block: without a header, so that they take up no page more.
///
/// Returns:  null if there is no memory.
void* takeCountedPages(Long bytes) noexcept;
void returnCountedPages(void* pages, Long bytes) noexcept;

}  // namespace ky
