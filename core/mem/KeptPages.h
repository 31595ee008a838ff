// Pages of disposed large blocks, put by for the next large block: fresh pages cost more to touch than to fill.
#pragma once

#include <cstddef>

namespace ky {

struct PageRun {
  void* start = nullptr;
  std::size_t bytes = 0;
};

/// Takes over a run that platform::takePages() gave. Up to 128 MB stay, the newest; the system may have them meanwhile
/// if it runs short of memory.
void keepPages(PageRun run) noexcept;

/// Returns:  a run of at least `bytes` and at most `limit` bytes with anything in it, or none: the smallest there is.
///           What its owner does not write stays the system's to take. It goes to platform::returnPages() or back here.
PageRun takeKeptPages(std::size_t bytes, std::size_t limit) noexcept;

}  // namespace ky
