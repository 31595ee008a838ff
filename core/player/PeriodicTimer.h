// Calls back again and again, on a thread of the timer's own.
//
//   _TIMER_HANDLE* timer = InitPeriodicTimer(tick, false, 1000);
//   StartPeriodicTimer(timer);
//   StopPeriodicTimer(timer);
//   ClosePeriodicTimer(timer);
#pragma once

#include "core/base/KyTypes.h"

struct _TIMER_HANDLE;

enum PeriodicTimerCode_t : Long {
  kTimerInit = 1,  ///< once, from InitPeriodicTimer()
  kTimerTick = 2,
};

/// Units:    milliseconds since the tick before or, at the first, since the start.
/// Threads:  called on the timer's thread; what it raises is logged and dropped.
typedef void (*PeriodicTimerProc)(Long code, ULong elapsedMs);

/// Makes a stopped timer. It ticks by absolute times: a tick that comes late does not move the next, and those that
/// were missed count as one.
///
/// Units:    `microseconds` from tick to tick, at least 1.
/// Returns:  null if its thread did not come up.
KY_API _TIMER_HANDLE* InitPeriodicTimer(PeriodicTimerProc callback, Boolean highPriority, ULong microseconds);

// Each returns when the timer's thread has done it, so behind StopPeriodicTimer() no tick comes any more.
//
// Requires: "caller is not the timer's own thread".

/// The first tick comes a period from now, also for a timer that runs.
KY_API void StartPeriodicTimer(_TIMER_HANDLE* timer);
KY_API void StopPeriodicTimer(_TIMER_HANDLE* timer);
/// Ends the thread and frees the timer.
KY_API void ClosePeriodicTimer(_TIMER_HANDLE* timer);
