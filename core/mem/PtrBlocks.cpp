#include "core/mem/PtrBlocks.h"

#include <algorithm>
#include <cstring>

#include "core/error/XError.h"
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

void* inLargePages(void* pages, Long size) noexcept {
  if (pages && size >= kLeastInLargePages) platform::preferLargePages(pages, pagesFor(size));
  return pages;
}

}  // namespace

void* takeLargePtr(Long size) noexcept {
  if (size < 0) return nullptr;
  if (!isPagedPtr(size)) return std::malloc(bytesWithHeader(size));
  return inLargePages(platform::takePages(pagesFor(size), pageFor(size)), size);
}

void giveLargePtr(PtrHeader* header) noexcept {
  if (isPagedPtr(header->size)) {
    platform::returnPages(header, pagesFor(header->size));
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

void* resizeLarge(void* p, Long size) {
  PtrHeader* const header = ptrHeader(p);
  const Int64 growth = Int64{size} - header->size;
  void* raw = header;
  if (!isPagedPtr(size)) {
    raw = std::realloc(header, bytesWithHeader(size));
  } else if (pagesFor(size) != pagesFor(header->size)) {
    raw = inLargePages(platform::resizePages(header, pagesFor(header->size), pagesFor(size)), size);
  }
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
