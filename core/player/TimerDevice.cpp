#include "core/player/TimerDevice.h"

#include "platform/Clock.h"

namespace {

void spinUntil(Int64 time) {
  while (KyMicroseconds() < time) {
  }
}

}  // namespace

void TIMERDevice::GetCurTime(Int64* now) const { *now = KyMicroseconds(); }

void TIMERDevice::DeltaTime(const Int64* since, Int64* elapsed) const { *elapsed = KyMicroseconds() - *since; }

void TIMERDevice::MarkStartTime() { iMark = KyMicroseconds(); }

void TIMERDevice::GetTimeSinceMark(Int64* elapsed) const { *elapsed = KyMicroseconds() - iMark; }

void TIMERDevice::WaitAbsoluteTime(ULong microseconds, Boolean mark) {
  const Int64 start = KyMicroseconds();
  if (mark) iMark = start;
  spinUntil(start + microseconds);
}

void TIMERDevice::WaitRemainingTime(ULong microseconds) const { spinUntil(iMark + microseconds); }
