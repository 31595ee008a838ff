#include "platform/Threads.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>

namespace ky::platform {
namespace {

struct ExitRoutine {
  void (*routine)(void*) = nullptr;
  void* argument = nullptr;
  ExitRoutine* next = nullptr;
};

constinit thread_local ULong tThreadId = 0;

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

}  // namespace

ULong currentThreadId() {
  if (tThreadId == 0) tThreadId = static_cast<ULong>(syscall(SYS_gettid));
  return tThreadId;
}

bool currentThreadHandle(ThreadHandle& handle) {
  const pthread_t self = pthread_self();
  static_assert(sizeof self <= sizeof handle.value);
  std::memcpy(&handle.value, &self, sizeof self);
  return true;
}

void atThreadExit(void (*routine)(void*), void* argument) {
  const pthread_key_t key = exitKey();
  auto* const before = static_cast<ExitRoutine*>(pthread_getspecific(key));
  pthread_setspecific(key, new ExitRoutine{routine, argument, before});
}

}  // namespace ky::platform
