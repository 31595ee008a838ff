// Time stamps of one thread's life and work.
#pragma once

#include "core/base/KyTypes.h"

class ThreadTimes {
 public:
  void SetCreationTime(ULong time) { iCreation = time; }
  ULong GetCreationTime() const { return iCreation; }
  void SetExitTime(ULong time) { iExit = time; }
  ULong GetExitTime() const { return iExit; }
  void SetKernelTime(ULong time) { iKernel = time; }
  void SetUserTime(ULong time) { iUser = time; }

  /// Returns:  what has passed from the time that was set to `now`.
  ULong GetElapsedKernelTime(ULong now) const { return now - iKernel; }
  ULong GetElapsedUserTime(ULong now) const { return now - iUser; }

  void ClearAllTimes() { *this = ThreadTimes(); }

 private:
  ULong iCreation = 0;
  ULong iExit = 0;
  ULong iKernel = 0;
  ULong iUser = 0;
};
