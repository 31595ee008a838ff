// The one `main` of all test programs: brings the library up once, with broken invariants raised as FATAL_ERROR.
#include <gtest/gtest.h>

#include "core/error/SystemErrors.h"
#include "core/os/HostStart.h"
#include "core/threads/UIThreadSafeInstalls.h"

namespace {

unsigned char raiseFatal(const char* msg, const char* file, int line) { FatalErrXRaise(msg, file, line); }

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  KyHostSettings settings;
  settings.fatalHandler = raiseFatal;
  KyStartHost(settings);
  UIThreadSafeInstalls::InstallNonMainFtl(raiseFatal);
  return RUN_ALL_TESTS();
}
