#include "core/player/PeriodicTimer.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <memory>
#include <mutex>
#include <new>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/OsPrintf.h"
#include "core/threads/Blocking.h"
#include "core/threads/ThreadContext.h"
#include "platform/Clock.h"
#include "platform/Priority.h"
#include "platform/Threads.h"

using namespace ky;

namespace {

constexpr int kHighPriority = 15;
constexpr std::size_t kStackSize = 1'048'576;
constexpr Int64 kNever = std::numeric_limits<Int64>::max();

enum class Command { start, stop, close };

}  // namespace

struct _TIMER_HANDLE {
  bool begin();
  /// Returns when the timer's thread has acted on it. A callback may need what the caller would keep from it.
  void tell(Command what);
  void awaitAnswer(std::unique_lock<std::mutex>& hold) {
    changed.wait(hold, [&] { return answered; });
  }
  bool isOwnThread() const { return threadID == platform::currentThreadId(); }

  PeriodicTimerProc callback = nullptr;
  bool highPriority = false;
  Int64 period = 0;  ///< microseconds
  platform::NativeThread thread;
  ULong threadID = 0;
  std::mutex callers;  ///< one command at a time

 private:
  static void onThread(void* timer);
  void run();
  Command obeyed();
  void tick(std::unique_lock<std::mutex>& hold);
  void awaitCommandOrTick(std::unique_lock<std::mutex>& hold);
  void call(PeriodicTimerCode_t code, ULong elapsedMs) const;
  void answer();

  // Under the gate.
  std::mutex gate;
  std::condition_variable changed;
  Command command = Command::stop;
  bool told = false;
  bool answered = false;

  // The thread's own, in microseconds.
  Int64 due = kNever;
  Int64 lastTick = 0;
};

bool _TIMER_HANDLE::begin() {
  if (thread.start(onThread, this, kStackSize) != 0) return false;
  const Blocking blocking;
  std::unique_lock hold(gate);
  awaitAnswer(hold);
  return true;
}

void _TIMER_HANDLE::tell(Command what) {
  const Blocking blocking;
  const std::lock_guard one(callers);
  std::unique_lock hold(gate);
  command = what;
  told = true;
  answered = false;
  changed.notify_all();
  awaitAnswer(hold);
}

void _TIMER_HANDLE::onThread(void* argument) {
  auto& timer = *static_cast<_TIMER_HANDLE*>(argument);
  ThreadContext::Register(0);
  timer.threadID = platform::currentThreadId();
  platform::bindCurrentThreadToFirstProcessor();
  if (timer.highPriority) platform::setCurrentThreadPriority(kHighPriority);
  timer.call(kTimerInit, 0);
  timer.run();
  ThreadContext::Unregister();
}

void _TIMER_HANDLE::run() {
  std::unique_lock hold(gate);
  answer();
  for (bool open = true; open;) {
    awaitCommandOrTick(hold);
    if (told) {
      open = obeyed() != Command::close;
    } else {
      tick(hold);
    }
  }
}

void _TIMER_HANDLE::awaitCommandOrTick(std::unique_lock<std::mutex>& hold) {
  while (!told) {
    if (due == kNever) {
      changed.wait(hold);
      continue;
    }
    const Int64 left = due - KyMicroseconds();
    if (left <= 0) return;
    changed.wait_for(hold, std::chrono::microseconds(left));
  }
}

Command _TIMER_HANDLE::obeyed() {
  told = false;
  const Int64 now = KyMicroseconds();
  due = command == Command::start ? now + period : kNever;
  lastTick = now;
  answer();
  return command;
}

// The elapsed time counts by a clock of whole milliseconds, so that the sum over many ticks loses nothing.
void _TIMER_HANDLE::tick(std::unique_lock<std::mutex>& hold) {
  const Int64 now = KyMicroseconds();
  due += ((now - due) / period + 1) * period;
  const Int64 elapsed = now / 1000 - lastTick / 1000;
  lastTick = now;
  hold.unlock();
  call(kTimerTick, static_cast<ULong>(elapsed));
  hold.lock();
}

void _TIMER_HANDLE::call(PeriodicTimerCode_t code, ULong elapsedMs) const {
  guarded([&] { callback(code, elapsedMs); },
          [](XError& caught) {
            OsPrintf("Periodic timer: the callback raised %s", caught.GetCode() ? caught.GetCode() : "");
          });
}

void _TIMER_HANDLE::answer() {
  answered = true;
  changed.notify_all();
}

namespace {

bool hasObeyed(_TIMER_HANDLE* timer, Command what) {
  if (!check(!timer->isOwnThread(), "caller is not the timer's own thread")) return false;
  timer->tell(what);
  return true;
}

}  // namespace

_TIMER_HANDLE* InitPeriodicTimer(PeriodicTimerProc callback, Boolean highPriority, ULong microseconds) {
  if (!check(callback != nullptr, "callback != NULL")) return nullptr;
  std::unique_ptr<_TIMER_HANDLE> timer(new (std::nothrow) _TIMER_HANDLE);
  if (!timer) return nullptr;
  timer->callback = callback;
  timer->highPriority = highPriority != 0;
  timer->period = std::max(microseconds, ULong{1});
  return timer->begin() ? timer.release() : nullptr;
}

void StartPeriodicTimer(_TIMER_HANDLE* timer) { hasObeyed(timer, Command::start); }

void StopPeriodicTimer(_TIMER_HANDLE* timer) { hasObeyed(timer, Command::stop); }

void ClosePeriodicTimer(_TIMER_HANDLE* timer) {
  if (!hasObeyed(timer, Command::close)) return;
  timer->thread.join();
  delete timer;
}
