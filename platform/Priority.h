// How much of the processors the calling thread gets. Wishes: the system grants what it likes.
#pragma once

namespace ky::platform {

/// Units:    `level` from -15 to 15, 0 for the usual; 15 stands above all ordinary threads.
void setCurrentThreadPriority(int level);

void bindCurrentThreadToFirstProcessor();

}  // namespace ky::platform
