// Counts of live objects by class.
#pragma once

#include "core/base/AObject.h"

// Threads:   none of these locks. Run them while one thread makes objects, or accept lost counts.

/// Makes the table of classes, once. The loggers call it on first need.
KY_API void InitClassProfiler();

// The two hooks for AObject::InstallLogRoutines(). They count while the profiler runs.
KY_API void LogObjCreated(AObject* object);
KY_API void LogObjDisposed(AObject* object);

KY_API void StartClassProfiler();
KY_API void StopClassProfiler();

/// Zeroes the counts; the sizes stay.
KY_API void ResetClassProfiler();

/// Prints up to `count` classes through dprintf, those with the most live objects (mode 1) or live bytes (mode 2)
/// first. Any other mode prints nothing.
KY_API void PrintClassProfile(short count, short mode);
