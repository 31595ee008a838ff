// Pages from the operating system, and what it tells about memory.
#pragma once

#include <cstddef>

#include "core/base/KyTypes.h"

namespace ky::platform {

/// Zero-filled pages, given to the process but not touched yet.
///
/// Requires: `alignment` a power of two; `bytes` and it multiples of a page.
/// Returns:  null if there are none.
void* takePages(std::size_t bytes, std::size_t alignment) noexcept;

/// Gives back what takePages() gave.
void returnPages(void* pages, std::size_t bytes) noexcept;

/// Makes a run of pages longer, moving it if need be, or shorter; new pages are zero-filled.
///
/// Returns:  null if there are none, with the run as it was.
void* resizePages(void* pages, std::size_t bytes, std::size_t newBytes) noexcept;

/// Lets the system take these pages if it runs short of memory, whatever is in them, until they are written again.
void lendPages(void* pages, std::size_t bytes) noexcept;

/// Asks for large pages behind `pages`: dearer by the piece, cheaper by the byte, so for what will be filled.
void preferLargePages(void* pages, std::size_t bytes) noexcept;

/// Units:    bytes, but for `loadPercent`.
struct MemoryFacts {
  UInt64 loadPercent = 0;
  UInt64 totalPhysical = 0;
  UInt64 freePhysical = 0;
  UInt64 totalPageFile = 0;  ///< physical memory and swap space
  UInt64 freePageFile = 0;
  UInt64 totalVirtual = 0;
  UInt64 freeVirtual = 0;
  bool workingSetKnown = false;
  UInt64 minWorkingSet = 0;  ///< what the process may lock now
  UInt64 maxWorkingSet = 0;  ///< how far it may raise that
};
KY_API MemoryFacts memoryFacts();

}  // namespace ky::platform
