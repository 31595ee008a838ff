#include "core/mem/KeptPages.h"

#include <algorithm>

#include "core/mem/SpinTenure.h"
#include "platform/Memory.h"

namespace ky {
namespace {

constexpr std::size_t kMostBytes = 128 << 20;
constexpr int kMostRuns = 8;

SpinLock lock;
PageRun runs[kMostRuns];  // oldest first
int runCount = 0;
std::size_t keptBytes = 0;

PageRun removeRun(int index) {
  const PageRun run = runs[index];
  std::copy(runs + index + 1, runs + runCount, runs + index);
  --runCount;
  keptBytes -= run.bytes;
  return run;
}

/// The smallest run that is large enough leaves the larger ones for larger blocks.
int smallestFor(std::size_t bytes) {
  int best = -1;
  for (int i = 0; i < runCount; ++i) {
    if (runs[i].bytes >= bytes && (best < 0 || runs[i].bytes < runs[best].bytes)) best = i;
  }
  return best;
}

}  // namespace

void keepPages(PageRun run) noexcept {
  if (run.bytes > kMostBytes) return platform::returnPages(run.start, run.bytes);
  platform::lendPages(run.start, run.bytes);
  PageRun tooMuch[kMostRuns];
  int tooMany = 0;
  {
    const SpinTenure held(lock);
    while (runCount == kMostRuns || keptBytes + run.bytes > kMostBytes) tooMuch[tooMany++] = removeRun(0);
    runs[runCount++] = run;
    keptBytes += run.bytes;
  }
  for (int i = 0; i < tooMany; ++i) platform::returnPages(tooMuch[i].start, tooMuch[i].bytes);
}

PageRun takeKeptPages(std::size_t bytes, std::size_t limit) noexcept {
  const SpinTenure held(lock);
  const int index = smallestFor(bytes);
  return index < 0 || runs[index].bytes > limit ? PageRun{} : removeRun(index);
}

}  // namespace ky
