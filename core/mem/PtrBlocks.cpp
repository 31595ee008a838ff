#include "core/mem/PtrBlocks.h"

#include <algorithm>
#include <cstring>

#include "core/error/XError.h"
#include "core/mem/KeptPages.h"
#include "core/mem/KyMemory.h"
#include "platform/Memory.h"

namespace ky {

constinit AllocationWatch allocationWatch;

namespace {

struct FailureOrder {
  Long countdown = 0;  // 0 when none is waited for
  bool happened = false;
};
thread_local FailureOrder failureOrder;

constexpr std::size_t kPageAlignment = 4096;

}  // namespace

AllocationFailure::AllocationFailure(Long nth) {
  failureOrder = {nth, false};
  allocationWatch.flags += AllocationWatch::kFailing;
}

AllocationFailure::~AllocationFailure() {
  failureOrder = {};
  allocationWatch.flags -= AllocationWatch::kFailing;
}

bool AllocationFailure::happened() const { return failureOrder.happened; }

bool failsNow() noexcept {
  FailureOrder& order = failureOrder;
  if (order.countdown <= 0 || --order.countdown != 0) return false;
  order.happened = true;
  return true;
}

void raiseOutOfMemory() {
  const XError error("MEM_OUT_OF_MEMORY", 0);
  +error;
  xraisexerror(error);  // never reached: a unary plus on an error with a code raises
}

namespace {

constexpr std::size_t kPage = 0x1000;

/// From here on a block has whole large pages: a first touch costs a fifth, and a block that grows in small steps would
/// otherwise never have room for a large page at the time it touches it.
constexpr Long kLeastInLargePages = 0x400000;
constexpr std::size_t kLargePage = 0x200000;

bool isPagedPtr(Long size) { return size >= kLeastPagedPtr; }
std::size_t bytesWithHeader(Long size) { return static_cast<std::size_t>(size) + sizeof(PtrHeader); }
std::size_t pageFor(Long size) { return size < kLeastInLargePages ? kPage : kLargePage; }
std::size_t pagesFor(Long size) { return (bytesWithHeader(size) + pageFor(size) - 1) & ~(pageFor(size) - 1); }

/// How much larger than a block a kept run may be that it gets: room to grow in small steps without being moved. What
/// it does not touch is no burden.
constexpr std::size_t kMostSlack = 64;

/// A block that shrinks below this share of its pages gives the others back.
constexpr std::size_t kLeastShare = 4;

PageRun runOf(PtrHeader* header) noexcept { return {header, std::size_t{header->pages} * kPage}; }

PageRun keptRunFor(Long size) noexcept { return takeKeptPages(pagesFor(size), pagesFor(size) * kMostSlack); }

/// Notes in a block's header how many pages it has.
///
/// Returns:  the header, null for no run.
PtrHeader* headed(PageRun run, Long size) noexcept {
  if (!run.start) return nullptr;
  if (size >= kLeastInLargePages) platform::preferLargePages(run.start, run.bytes);
  auto* const header = static_cast<PtrHeader*>(run.start);
  header->pages = static_cast<ULong>(run.bytes / kPage);
  return header;
}

}  // namespace

void* newPtrUntraced(Long size) {
  ThreadShelves* const mine = threadShelves();
  if (!mine || (allocationWatch.failing() && failsNow())) raiseOutOfMemory();
  void* const raw = isSmallPtr(size) ? takeSmallBlock(*mine, shelfForPtr(size)) : takeLargePtr(size);
  if (!raw) raiseOutOfMemory();
  auto* const header = static_cast<PtrHeader*>(raw);
  header->size = size;
  countPtr(*mine, size, 1);
  return header + 1;
}

void* takeLargePtr(Long size) noexcept {
  if (size < 0) return nullptr;
  if (!isPagedPtr(size)) return std::malloc(bytesWithHeader(size));
  PageRun run = keptRunFor(size);
  if (!run.start) run = {platform::takePages(pagesFor(size), pageFor(size)), pagesFor(size)};
  return headed(run, size);
}

void giveLargePtr(PtrHeader* header) noexcept {
  if (isPagedPtr(header->size)) {
    keepPages(runOf(header));
  } else {
    std::free(header);
  }
}

namespace {

void count(Int64 bytes, Int64 blocks) noexcept {
  if (ThreadShelves* const mine = threadShelves()) {
    countPtr(*mine, bytes, blocks);
  } else {
    countAlone(bytes, blocks);
  }
}

/// Gives a paged block at least the pages that `size` needs, and not far more.
///
/// Returns:  the header where it lies now, null if there are none.
PtrHeader* fitPages(PtrHeader* header, Long size) noexcept {
  const PageRun run = runOf(header);
  const std::size_t needed = pagesFor(size);
  const bool grows = size > header->size;
  if (needed <= run.bytes && (grows || run.bytes <= needed * kLeastShare)) return header;
  if (needed > run.bytes) {
    if (const PageRun kept = keptRunFor(size); kept.start) {
      std::memcpy(kept.start, header, bytesWithHeader(header->size));
      keepPages(run);
      return headed(kept, size);
    }
  }
  return headed({platform::resizePages(header, run.bytes, needed), needed}, size);
}

void* resizeLarge(void* p, Long size) {
  PtrHeader* const header = ptrHeader(p);
  const Int64 growth = Int64{size} - header->size;
  void* const raw = isPagedPtr(size) ? fitPages(header, size) : std::realloc(header, bytesWithHeader(size));
  if (!raw) raiseOutOfMemory();
  auto* const moved = static_cast<PtrHeader*>(raw);
  moved->size = size;
  count(growth, 0);
  return moved + 1;
}

void* resizeByCopy(void* p, Long size) {
  void* const fresh = newPtrUntraced(size);
  std::memcpy(fresh, p, static_cast<std::size_t>(std::min(size, ptrHeader(p)->size)));
  disposePtrUntraced(p);
  return fresh;
}

}  // namespace

void* resizePtrUntraced(void* p, Long size) {
  PtrHeader* const header = ptrHeader(p);
  const Long old = header->size;
  if (size < 0) raiseOutOfMemory();
  if (isSmallPtr(size) && isSmallPtr(old) && shelfForPtr(size) == shelfForPtr(old)) {
    ThreadShelves* const mine = threadShelves();
    if (!mine || (allocationWatch.failing() && failsNow())) raiseOutOfMemory();
    header->size = size;
    countPtr(*mine, Int64{size} - old, 0);
    return p;
  }
  if (isSmallPtr(size) || isSmallPtr(old) || isPagedPtr(size) != isPagedPtr(old)) return resizeByCopy(p, size);
  if (allocationWatch.failing() && failsNow()) raiseOutOfMemory();
  return resizeLarge(p, size);
}

void* takeCountedPages(Long bytes) noexcept {
  if (allocationWatch.failing() && failsNow()) return nullptr;
  void* const pages = platform::takePages(static_cast<std::size_t>(bytes), kPageAlignment);
  if (pages) count(bytes, 1);
  return pages;
}

void returnCountedPages(void* pages, Long bytes) noexcept {
  platform::returnPages(pages, static_cast<std::size_t>(bytes));
  count(-Int64{bytes}, -1);
}

}  // namespace ky
