#include "platform/Threads.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

namespace ky::platform {
namespace {

struct ExitRoutine {
  void (*routine)(void*) = nullptr;
  void* argument = nullptr;
  ExitRoutine* next = nullptr;
};

constinit thread_local ULong tThreadId = 0;

pthread_t native(const ThreadHandle& handle) {
  pthread_t thread = {};
  static_assert(sizeof thread <= sizeof handle.value);
  std::memcpy(&thread, &handle.value, sizeof thread);
  return thread;
}

void runExitRoutines(void* list);

pthread_key_t exitKey() {
  static const pthread_key_t key = [] {
    pthread_key_t made = 0;
    pthread_key_create(&made, runExitRoutines);
    return made;
  }();
  return key;
}

// A routine may ask for another, which then heads the list.
void runExitRoutines(void* list) {
  while (auto* const first = static_cast<ExitRoutine*>(list)) {
    pthread_setspecific(exitKey(), first->next);
    const ExitRoutine due = *first;
    delete first;
    due.routine(due.argument);
    list = pthread_getspecific(exitKey());
  }
}

/// Returns:  the lowest address of the calling thread's stack, null if it is not known.
char* stackEnd() {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return nullptr;
  void* lowest = nullptr;
  std::size_t bytes = 0;
  pthread_attr_getstack(&attributes, &lowest, &bytes);
  pthread_attr_destroy(&attributes);
  return static_cast<char*>(lowest);
}

}  // namespace

std::size_t stackLeft() {
  static thread_local char* const end = stackEnd();
  return end ? static_cast<std::size_t>(static_cast<char*>(__builtin_frame_address(0)) - end) : SIZE_MAX;
}

ULong currentThreadId() {
  if (tThreadId == 0) tThreadId = static_cast<ULong>(syscall(SYS_gettid));
  return tThreadId;
}

bool currentThreadHandle(ThreadHandle& handle) {
  const pthread_t self = pthread_self();
  std::memcpy(&handle.value, &self, sizeof self);
  return true;
}

void atThreadExit(void (*routine)(void*), void* argument) {
  const pthread_key_t key = exitKey();
  auto* const before = static_cast<ExitRoutine*>(pthread_getspecific(key));
  pthread_setspecific(key, new ExitRoutine{routine, argument, before});
}

int currentCore() { return sched_getcpu(); }

void yieldProcessor() { sched_yield(); }

void sleepWhile(const std::atomic<int>& word, int value) {
  static_assert(sizeof word == sizeof(int));
  syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
}

void wakeSleeper(const std::atomic<int>& word) {
  syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

namespace {

struct Entry {
  void (*entry)(void*) = nullptr;
  void* argument = nullptr;
};

void* runEntry(void* entry) {
  const std::unique_ptr<Entry> due(static_cast<Entry*>(entry));
  due->entry(due->argument);
  return nullptr;
}

}  // namespace

int NativeThread::start(void (*entry)(void*), void* argument, std::size_t stackSize) {
  pthread_attr_t attributes;
  if (const int error = pthread_attr_init(&attributes)) return error;
  pthread_attr_setstacksize(&attributes, std::max(stackSize, static_cast<std::size_t>(PTHREAD_STACK_MIN)));
  auto due = std::make_unique<Entry>(Entry{entry, argument});
  pthread_t thread = {};
  const int error = pthread_create(&thread, &attributes, runEntry, due.get());
  pthread_attr_destroy(&attributes);
  if (error != 0) return error;
  due.release();
  std::memcpy(&handle.value, &thread, sizeof thread);
  started = true;
  return 0;
}

void NativeThread::join() {
  if (std::exchange(started, false)) pthread_join(native(handle), nullptr);
}

void NativeThread::letGo() {
  if (std::exchange(started, false)) pthread_detach(native(handle));
}

}  // namespace ky::platform
