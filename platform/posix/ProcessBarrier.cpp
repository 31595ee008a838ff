#include "platform/ProcessBarrier.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

namespace ky::platform {
namespace {

bool memoryBarrier(int command) noexcept { return syscall(SYS_membarrier, command, 0, 0) == 0; }

}  // namespace

bool prepareProcessBarrier() noexcept { return memoryBarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED); }

void processBarrier() noexcept {
  if (memoryBarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED)) return;
  // It was there before. Whoever goes on without it has no lock.
  if (!prepareProcessBarrier() || !memoryBarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED)) std::abort();
}

}  // namespace ky::platform
