#include "platform/Memory.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>

#if defined(KY_SANITIZED)
// The leak checker looks for pointers only where it is told to, and these pages hold the only ones to many blocks.
extern "C" {
__attribute__((weak)) void __lsan_register_root_region(const void* start, std::size_t bytes);
__attribute__((weak)) void __lsan_unregister_root_region(const void* start, std::size_t bytes);
}
#endif

namespace ky::platform {
namespace {

void searchForPointers([[maybe_unused]] void* pages, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(KY_SANITIZED)
  if (__lsan_register_root_region) __lsan_register_root_region(pages, bytes);
#endif
}

void searchNoMore([[maybe_unused]] void* pages, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(KY_SANITIZED)
  if (__lsan_unregister_root_region) __lsan_unregister_root_region(pages, bytes);
#endif
}

}  // namespace

void* takePages(std::size_t bytes, std::size_t alignment) noexcept {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t reserved = alignment > page ? bytes + alignment : bytes;
  void* const start = mmap(nullptr, reserved, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED) return nullptr;

  const auto from = reinterpret_cast<std::uintptr_t>(start);
  const std::uintptr_t aligned = (from + alignment - 1) & ~(alignment - 1);
  if (aligned != from) munmap(start, aligned - from);
  const std::uintptr_t end = aligned + bytes;
  if (end != from + reserved) munmap(reinterpret_cast<void*>(end), from + reserved - end);
  searchForPointers(reinterpret_cast<void*>(aligned), bytes);
  return reinterpret_cast<void*>(aligned);
}

void returnPages(void* pages, std::size_t bytes) noexcept {
  searchNoMore(pages, bytes);
  munmap(pages, bytes);
}

void* resizePages(void* pages, std::size_t bytes, std::size_t newBytes) noexcept {
  if (newBytes == bytes) return pages;
  searchNoMore(pages, bytes);
  void* const moved = mremap(pages, bytes, newBytes, MREMAP_MAYMOVE);
  if (moved == MAP_FAILED) {
    searchForPointers(pages, bytes);
    return nullptr;
  }
  searchForPointers(moved, newBytes);
  return moved;
}

void lendPages(void* pages, std::size_t bytes) noexcept {
#if defined(MADV_FREE)
  madvise(pages, bytes, MADV_FREE);
#else
  static_cast<void>(pages), static_cast<void>(bytes);
#endif
}

void preferLargePages(void* pages, std::size_t bytes) noexcept {
#if defined(MADV_HUGEPAGE)
  madvise(pages, bytes, MADV_HUGEPAGE);
#else
  static_cast<void>(pages), static_cast<void>(bytes);
#endif
}

namespace {

struct SystemMemory {
  unsigned long long total = 0, available = 0, swap = 0, swapFree = 0;  // kilobytes
};

SystemMemory systemMemory() {
  SystemMemory memory;
  if (std::FILE* facts = std::fopen("/proc/meminfo", "re")) {
    char line[128];
    while (std::fgets(line, sizeof line, facts)) {
      std::sscanf(line, "MemTotal: %llu", &memory.total);
      std::sscanf(line, "MemAvailable: %llu", &memory.available);
      std::sscanf(line, "SwapTotal: %llu", &memory.swap);
      std::sscanf(line, "SwapFree: %llu", &memory.swapFree);
    }
    std::fclose(facts);
  }
  if (memory.total == 0) {
    memory.total = static_cast<UInt64>(sysconf(_SC_PHYS_PAGES)) * static_cast<UInt64>(sysconf(_SC_PAGESIZE)) / 1024;
    memory.available = memory.total;
  }
  return memory;
}

UInt64 limitOf(rlim_t limit) { return limit == RLIM_INFINITY ? UINT64_MAX : static_cast<UInt64>(limit); }

// What a process can address is half of what a pointer can, less the bits that today's processors leave out.
constexpr UInt64 kAddressSpace = sizeof(void*) == 8 ? UInt64{1} << 47 : UInt64{1} << 31;

UInt64 addressSpaceInUse() {
  unsigned long long pages = 0;
  if (std::FILE* facts = std::fopen("/proc/self/statm", "re")) {
    if (std::fscanf(facts, "%llu", &pages) != 1) pages = 0;
    std::fclose(facts);
  }
  return pages * static_cast<UInt64>(sysconf(_SC_PAGESIZE));
}

}  // namespace

MemoryFacts memoryFacts() {
  const SystemMemory system = systemMemory();
  MemoryFacts facts;
  facts.totalPhysical = system.total * 1024;
  facts.freePhysical = system.available * 1024;
  facts.totalPageFile = (system.total + system.swap) * 1024;
  facts.freePageFile = (system.available + system.swapFree) * 1024;
  if (system.total != 0) facts.loadPercent = 100 - system.available * 100 / system.total;

  rlimit space{};
  facts.totalVirtual =
      getrlimit(RLIMIT_AS, &space) == 0 ? std::min(limitOf(space.rlim_cur), kAddressSpace) : kAddressSpace;
  facts.freeVirtual = facts.totalVirtual - std::min(facts.totalVirtual, addressSpaceInUse());

  rlimit locked{};
  facts.workingSetKnown = getrlimit(RLIMIT_MEMLOCK, &locked) == 0;
  facts.minWorkingSet = limitOf(locked.rlim_cur);
  facts.maxWorkingSet = limitOf(locked.rlim_max);
  return facts;
}

}  // namespace ky::platform
