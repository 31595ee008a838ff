// The sub-allocator's tables and rules, without lock or report.
//
// A block is a 32-bit header and the caller's bytes. Its real size is the size asked for, rounded up to 4, with the
// header, and at least 12; it takes up that rounded up to 8, so that the caller's bytes lie at multiples of 8. Free
// blocks of one real size form a list, first freed first used, which gives the larger blocks time to drain.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/base/KyTypes.h"

namespace ky {

inline constexpr Long kAltHeader = 4;
inline constexpr Long kAltLeastReal = 12;
inline constexpr Long kAltSizeLimit = 65536;
inline constexpr Long kAltMasterBytes = 131072;
inline constexpr Long kAltEntries = 1024;
inline constexpr Long kAltSlots = 8092;

struct AltHeader {
  std::uint16_t size;    ///< asked for
  std::uint16_t master;  ///< slot of the master block

  static constexpr std::uint16_t kLarge = 0xFFFF;
  static AltHeader large(Long size) { return {static_cast<std::uint16_t>(size), kLarge}; }
  bool isLarge() const { return master == kLarge; }
};
static_assert(sizeof(AltHeader) == kAltHeader);

inline AltHeader* altHeader(void* block) { return static_cast<AltHeader*>(block) - 1; }
inline const AltHeader* altHeader(const void* block) { return static_cast<const AltHeader*>(block) - 1; }

/// The caller's part of the real size in units of 4, which is the index of its list.
constexpr ULong altUnits(ULong size) {
  constexpr ULong kLeast = (kAltLeastReal - kAltHeader) / 4;
  const ULong units = (size + 3) / 4;
  return units < kLeast ? kLeast : units;
}
constexpr Long altRealSize(Long size) { return static_cast<Long>(altUnits(static_cast<ULong>(size))) * 4 + kAltHeader; }
/// What a block takes up.
constexpr Long altPitch(Long real) { return (real + 7) & ~Long{7}; }
/// A negative size is none that is small.
constexpr bool altIsSmall(Long size) { return static_cast<ULong>(size) <= (kAltEntries - 1) * 4; }

/// Names a block: slot of its master block and place in it, in units of 4; 0 names none. Blocks begin at multiples of 4
/// and end below 131,072: 15 bits of place, and 13 of slot ahead of them.
using AltLink = ULong;
inline constexpr int kAltPlaceBits = 15;
inline constexpr AltLink kAltPlaceMask = (1u << kAltPlaceBits) - 1;

/// What lies in a free block.
struct AltFreeBlock {
  AltHeader header;
  AltLink next;
  AltLink previous;  ///< of no meaning in the first of its list
};
static_assert(sizeof(AltFreeBlock) == kAltLeastReal);

/// The list of one real size.
struct AltEntry {
  AltLink head;
  AltLink tail;  ///< of no meaning while there is no head
  Long size;
  Long used;
  Long blocks;  ///< in use or on the list, so that only `used` changes with each take and give

  Long free() const { return blocks - used; }
};

struct AltMaster {
  Long carved;
  Long next;  ///< offset of the next byte to carve
  Long left;
  Long slot;
  Long reserved[3];  ///< puts the first header 4 bytes short of a multiple of 8
};
static_assert(sizeof(AltMaster) == 28);

/// The blocks in use are counted here, for each take and give counts: the heads of the master blocks lie whole pages
/// apart, so that they would push each other out of the processor's cache.
struct AltSlot {
  AltMaster* master;  ///< null in a free slot
  Long used;
};

struct AltTables {
  AltEntry* entries = nullptr;
  AltSlot* slots = nullptr;

  /// Raises:   MEM_OUT_OF_MEMORY.
  static AltTables make();
  void dispose();
};

struct AltCounts {
  Long freeBytes = 0;
  Long totalBytes = 0;
  Long numBlocks = 0;
};

enum class AltFault {
  none,
  notDead,   ///< a master block in use was to be reset
  onNoList,  ///< a free block is on neither its list nor that of the dead
};

struct AltMasterRow {
  char mark;
  Long slot;
  Long used;
  Long free;
  std::uintptr_t start;
};

/// A master block is dead when none of its blocks are in use and it is not the current one; fresh when nothing is
/// carved out of it.
///
/// Invariant: deadMasters() is the number of dead master blocks.
class AltHeap {
 public:
  void start(const AltTables& tables);

  /// The short way of most blocks: from the list, and back onto it.
  ///
  /// Requires: a small block, and a heap that was started.
  /// Returns:  null, or false, if it takes the long way; nothing is changed then.
  void* takeAtHand(Long size);
  bool giveAtHand(void* block);

  /// Returns:  null if there is no memory.
  void* take(Long size);
  void give(void* block);
  void countLarge(Long real);
  void uncountLarge() { --largeBlocks_; }

  bool contains(const void* address) const;
  void freshen();
  /// Returns:  the bytes given back.
  Long returnMasters(Long bytes);
  void describe(std::vector<AltEntry>& entries, std::vector<AltMasterRow>& masters) const;

  AltCounts counts() const;
  Long deadMasters() const { return deadMasters_; }
  bool isFull() const { return slotsUsed_ == kAltSlots && holes_ == 0; }
  /// Returns:  what was found broken since it was asked last.
  AltFault takeFault() { return fault_ == AltFault::none ? fault_ : std::exchange(fault_, AltFault::none); }

 private:
  bool isDead(const AltSlot& slot) const { return slot.used == 0 && slot.master != current_; }
  bool isDead(const AltMaster& master) const { return isDead(tables_.slots[master.slot]); }
  AltSlot& slotOf(AltLink link) const { return tables_.slots[link >> kAltPlaceBits]; }
  AltFreeBlock* blockAt(AltLink link) const { return blockIn(*slotOf(link).master, placeOf(link)); }
  bool leadsToBlock(AltLink link) const;
  static std::size_t placeOf(AltLink link) { return std::size_t{link & kAltPlaceMask} * 4; }
  static AltFreeBlock* blockIn(AltMaster& master, std::size_t place) {
    return reinterpret_cast<AltFreeBlock*>(reinterpret_cast<char*>(&master) + place);
  }
  static AltLink linkTo(ULong slot, const AltMaster& master, const AltFreeBlock* block) {
    const auto place = reinterpret_cast<const char*>(block) - reinterpret_cast<const char*>(&master);
    return slot << kAltPlaceBits | static_cast<AltLink>(place) / 4;
  }
  AltEntry& entryFor(ULong size) { return tables_.entries[altUnits(size)]; }

  void* takeFirst(AltEntry& entry, Long size);
  void putLast(AltEntry& entry, AltFreeBlock& block, AltLink link);
  void setCurrent(AltMaster* master);
  void moveDeadHead(AltEntry& entry);
  static AltFreeBlock* carve(AltMaster& master, Long size, Long pitch);
  AltMaster* chooseMaster();
  AltMaster* makeMaster(Long slot);
  void dropMaster(AltMaster& master);
  AltMaster* masterWith(Long bytes);
  void keepSpare(AltMaster* master);
  void reset(AltMaster& master);
  bool unlink(AltFreeBlock& block, AltLink link);

  AltTables tables_;
  AltMaster* current_ = nullptr;
  AltMaster* spare_ = nullptr;  ///< the one before with the most bytes left: what is small enough still goes there
  Long slotsUsed_ = 0;
  Long holes_ = 0;  ///< null slots below slotsUsed_
  AltLink deadHead_ = 0;
  Long deadMasters_ = 0;
  Long masterBytes_ = 0;
  Long largeBytes_ = 0;   ///< of all there ever were
  Long largeBlocks_ = 0;  ///< in use
  AltFault fault_ = AltFault::none;
};

inline void* AltHeap::takeFirst(AltEntry& entry, Long size) {
  AltFreeBlock* const block = blockAt(entry.head);
  ++slotOf(entry.head).used;
  ++entry.used;
  entry.head = block->next;
  block->header.size = static_cast<std::uint16_t>(size);
  return &block->header + 1;
}

inline void AltHeap::putLast(AltEntry& entry, AltFreeBlock& block, AltLink link) {
  block.next = 0;
  block.previous = entry.tail;
  if (entry.head) [[likely]] {
    blockAt(entry.tail)->next = link;
  } else {
    entry.head = link;
  }
  entry.tail = link;
  --entry.used;
}

// The short ways call nothing: so little is done that a call would show.
inline void* AltHeap::takeAtHand(Long size) {
  AltEntry& entry = entryFor(static_cast<ULong>(size));
  if (!entry.head || isDead(slotOf(entry.head))) [[unlikely]]
    return nullptr;
  return takeFirst(entry, size);
}

inline bool AltHeap::giveAtHand(void* p) {
  auto* const block = reinterpret_cast<AltFreeBlock*>(altHeader(p));
  AltSlot& slot = tables_.slots[block->header.master];
  if (slot.used == 1 && slot.master != current_) [[unlikely]]
    return false;  // its master block dies
  --slot.used;
  putLast(entryFor(block->header.size), *block, linkTo(block->header.master, *slot.master, block));
  return true;
}

}  // namespace ky
