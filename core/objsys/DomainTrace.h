// Trace lines and progress of the domains, gated by the debug subsystems "Domain" and "DomainData".
#pragma once

#include "core/base/KyTypes.h"

class APortable;
class AStream;

namespace ky {

void registerDomainSubsystems();

/// Whether the walks print where they are.
bool tracesDomains();

/// Has the stream print each value if "DomainData" is traced, else nothing.
void setDataTrace(AStream* stream);

/// The time of day of a trace line; a temporary of one statement.
struct TimeOfDay {
  TimeOfDay();
  char text[16];
};

/// The class of `object` as trace lines name it; "NULL" for none.
const char* classNameOf(APortable* object);

/// One sign of life: a turn of the wait indicator, or with "Domain" traced a bar under `format` with `total` put in.
void showProgress(const char* format, Long current, Long total);

/// Counts its calls, and shows progress on every 20th.
class ProgressCounter {
 public:
  void tick(const char* format, Long current, Long total) {
    if (--left_ > 0) [[likely]]
      return;
    left_ = kEvery;
    showProgress(format, current, total);
  }

 private:
  static constexpr int kEvery = 20;
  int left_ = kEvery;
};

}  // namespace ky
