#include "platform/Clock.h"

#include <atomic>
#include <cerrno>

namespace ky::platform {
namespace {

std::atomic<decltype(ClockHooks::microseconds)> sMicroseconds{nullptr};
std::atomic<decltype(ClockHooks::sleep)> sSleep{nullptr};

Int64 monotonicMicroseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return Int64{now.tv_sec} * 1'000'000 + now.tv_nsec / 1'000;
}

Int64 loadTime() {
  static const Int64 start = monotonicMicroseconds();
  return start;
}

[[maybe_unused]] const Int64 sTakenAtLoad = loadTime();

}  // namespace

void sleepFor(Int64 milliseconds) {
  if (const auto hook = sSleep.load()) return hook(milliseconds);
  if (milliseconds <= 0) return;
  timespec left = {static_cast<std::time_t>(milliseconds / 1'000), static_cast<long>(milliseconds % 1'000) * 1'000'000};
  while (nanosleep(&left, &left) == -1 && errno == EINTR) {
  }
}

Int64 wallSeconds() { return std::time(nullptr); }

std::tm localTime(Int64 seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm local = {};
  localtime_r(&time, &local);
  return local;
}

bool isSleepHooked() { return sSleep.load(std::memory_order_relaxed) != nullptr; }

ClockHooks setClockHooks(const ClockHooks& hooks) {
  return {sMicroseconds.exchange(hooks.microseconds), sSleep.exchange(hooks.sleep)};
}

}  // namespace ky::platform

Int64 KyMicroseconds() {
  using namespace ky::platform;
  if (const auto hook = sMicroseconds.load(std::memory_order_relaxed)) return hook();
  const Int64 start = loadTime();
  return monotonicMicroseconds() - start;
}
