#include "platform/Priority.h"

#include <sched.h>
#include <sys/resource.h>

#include <algorithm>

#include "platform/Threads.h"

namespace ky::platform {
namespace {

constexpr int kAboveAll = 15;

}  // namespace

// An ordinary user may lower a thread, but raise none.
void setCurrentThreadPriority(int level) {
  if (level >= kAboveAll) {
    sched_param realTime = {};
    realTime.sched_priority = sched_get_priority_min(SCHED_RR);
    if (sched_setscheduler(0, SCHED_RR, &realTime) == 0) return;
  }
  setpriority(PRIO_PROCESS, currentThreadId(), std::clamp(-level, -kAboveAll, kAboveAll));
}

void bindCurrentThreadToFirstProcessor() {
  cpu_set_t first;
  CPU_ZERO(&first);
  CPU_SET(0, &first);
  sched_setaffinity(0, sizeof first, &first);
}

}  // namespace ky::platform
