// A stop-watch in microseconds, and waits too short to sleep for.
#pragma once

#include "core/base/KyTypes.h"

/// Units:    microseconds throughout.
class KY_API TIMERDevice {
 public:
  void GetCurTime(Int64* now) const;
  /// `*elapsed` becomes the time since `*since`.
  void DeltaTime(const Int64* since, Int64* elapsed) const;

  void MarkStartTime();
  void GetTimeSinceMark(Int64* elapsed) const;

  /// Spins for `microseconds`; with `mark`, marks where it began.
  void WaitAbsoluteTime(ULong microseconds, Boolean mark);
  /// Spins until `microseconds` have passed since the mark.
  void WaitRemainingTime(ULong microseconds) const;

 private:
  Int64 iMark = 0;
};
