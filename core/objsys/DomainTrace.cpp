#include "core/objsys/DomainTrace.h"

#include <cstdio>

#include "core/error/Printing.h"
#include "core/error/Subsystems.h"
#include "core/error/UIHooks.h"
#include "core/objsys/APortable.h"
#include "core/utils/AStream.h"

namespace ky {

namespace {

int domainSubsystem = 0;
int dataSubsystem = 0;

/// Until a translation table is at hand, every text is its own translation.
const char* translated(const char* text) { return text; }

}  // namespace

void registerDomainSubsystems() {
  domainSubsystem = dbgRegSubSystem("Domain");
  dataSubsystem = dbgRegSubSystem("DomainData");
}

bool tracesDomains() { return domainSubsystem && dbgTestFlag(domainSubsystem, kDbgPrint); }

void setDataTrace(AStream* stream) {
  const bool traced = dataSubsystem && dbgTestFlag(dataSubsystem, kDbgPrint);
  stream->SetTraceFunc(traced ? static_cast<KyPrint>(dprintf) : nullptr);
}

TimeOfDay::TimeOfDay() { dbgTime(text, sizeof text); }

const char* classNameOf(APortable* object) { return object ? object->ClassName() : "NULL"; }

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void showProgress(const char* format, Long current, Long total) {
  if (!tracesDomains()) {
    DisplayWait(0, -1);
    return;
  }
  char text[256];
  std::snprintf(text, sizeof text, translated(format), long(total));
  DisplayTherm(text, current, total, 1);
}
#pragma GCC diagnostic pop

}  // namespace ky
