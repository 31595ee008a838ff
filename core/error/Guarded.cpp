#include "core/error/Guarded.h"

using namespace ky;

XError ky::foreignError(const std::exception& exception) {
  xHandleNonXraiseException();
  return XError("std::exception", "str what", exception.what(), 0);
}

XError ky::seriousError() {
  xHandleNonXraiseException();
  return XError("A serious error has occurred!\nIt is recommended that you restart the application immediately.");
}

void ky::callOpaquely(void (*call)(void* body), void* body) { call(body); }
