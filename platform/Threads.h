// Operating-system threads: their start, identity and end.
#pragma once

#include <atomic>
#include <cstddef>

#include "core/base/KyTypes.h"

namespace ky::platform {

/// The operating system's number for the calling thread, kept after the first call.
KY_API ULong currentThreadId();

/// What identifies a thread to the operating system's own calls.
struct ThreadHandle {
  UInt64 value = 0;
};

/// Returns:  false if the system gives no handle.
bool currentThreadHandle(ThreadHandle& handle);

/// Runs `routine` at the end of the calling thread, behind the destructors of its thread-local objects, latest first. A
/// routine may ask for another. None runs for the thread in which the process exits.
KY_API void atThreadExit(void (*routine)(void* argument), void* argument);

/// Returns:  how many bytes of its stack the calling thread has left; the most there are if the system does not tell.
KY_API std::size_t stackLeft();

/// The processor core that the calling thread runs on, at this moment.
KY_API int currentCore();

/// Lets another thread have the processor.
KY_API void yieldProcessor();

/// Lets the processor rest a moment, in a thread that looks again and again for what another is about to do.
inline void pauseProcessor() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

/// Sleeps while `word` holds `value`, until it is woken; may also return for no reason.
KY_API void sleepWhile(const std::atomic<int>& word, int value);
/// Wakes one that sleeps for `word`. Takes only the address, so the word itself may be gone.
KY_API void wakeSleeper(const std::atomic<int>& word);

/// A thread of the operating system; once started it is to be joined or let go, once.
class KY_API NativeThread {
 public:
  NativeThread() = default;
  NativeThread(const NativeThread&) = delete;
  NativeThread& operator=(const NativeThread&) = delete;

  /// Units:    `stackSize` in bytes; less than the system's least means that.
  /// Returns:  0 or the system's error.
  int start(void (*entry)(void* argument), void* argument, std::size_t stackSize);
  bool isStarted() const { return started; }
  void join();
  void letGo();

 private:
  ThreadHandle handle;
  bool started = false;
};

}  // namespace ky::platform
