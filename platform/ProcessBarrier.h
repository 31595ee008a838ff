// A memory barrier in every thread of the process, paid for by the one that asks.
#pragma once

namespace ky::platform {

/// Makes processBarrier() possible, in this process and in its forks.
///
/// Returns:  false if the system has no such barrier.
bool prepareProcessBarrier() noexcept;

/// Returns when each of the process's threads has passed a full memory barrier since the call.
///
/// Requires: it was prepared.
void processBarrier() noexcept;

}  // namespace ky::platform
