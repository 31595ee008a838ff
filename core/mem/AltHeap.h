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

constexpr Long altRealSize(Long size) {
  const Long real = ((size + 3) & ~Long{3}) + kAltHeader;
  return real < kAltLeastReal ? kAltLeastReal : real;
}
/// What a block takes up.
constexpr Long altPitch(Long real) { return (real + 7) & ~Long{7}; }
constexpr Long altEntryFor(Long real) { return (real - kAltHeader) / 4; }
constexpr bool altIsLarge(Long size) { return altEntryFor(altRealSize(size)) >= kAltEntries; }

/// Names a block: slot of its master block and place in it; 0 names none.
using AltLink = ULong;

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
  AltLink tail;
  Long size;
  Long used;
  Long free;
};

struct AltMaster {
  Long carved;
  Long used;
  Long next;  ///< offset of the next byte to carve
  Long left;
  Long slot;
  Long reserved;
  Long padding;  ///< puts the first header 4 bytes short of a multiple of 8
};
static_assert(sizeof(AltMaster) == 28);

struct AltTables {
  AltEntry* entries = nullptr;
  AltMaster** slots = nullptr;

  /// Raises:   MEM_OUT_OF_MEMORY.
  static AltTables make();
  void dispose();
};

struct AltCounts {
  Long freeBytes = 0;
  Long totalBytes = 0;
  Long numBlocks = 0;
  Long deadMasters = 0;
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
/// Invariant: counts().deadMasters is the number of dead master blocks.
class AltHeap {
 public:
  void start(const AltTables& tables);

  /// Returns:  null if there is no memory.
  void* take(Long size);
  void give(void* block);
  void countLarge(Long real);
  void uncountLarge() { --counts_.numBlocks; }

  bool contains(const void* address) const;
  void freshen();
  /// Returns:  the bytes given back.
  Long returnMasters(Long bytes);
  void describe(std::vector<AltEntry>& entries, std::vector<AltMasterRow>& masters) const;

  const AltCounts& counts() const { return counts_; }
  bool isFull() const { return slotsUsed_ == kAltSlots && holes_ == 0; }
  /// Returns:  what was found broken since it was asked last.
  AltFault takeFault() { return fault_ == AltFault::none ? fault_ : std::exchange(fault_, AltFault::none); }

 private:
  bool isDead(const AltMaster& master) const { return master.used == 0 && &master != current_; }
  AltMaster* masterOf(AltLink link) const;
  AltFreeBlock* blockAt(AltLink link) const;
  bool leadsToBlock(AltLink link) const;
  static AltLink linkTo(const AltMaster& master, const AltFreeBlock* block);

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
  AltCounts counts_;
  AltFault fault_ = AltFault::none;
};

}  // namespace ky
