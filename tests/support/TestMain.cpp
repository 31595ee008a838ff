// The one `main` of all test programs: brings the library up once, with broken invariants raised as FATAL_ERROR.
#include <gtest/gtest.h>

#include "core/os/HostStart.h"
#include "core/threads/UIThreadSafeInstalls.h"
#include "tests/support/Bare.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!ky::test::isBareProcess(argc, argv)) {
    KyHostSettings settings;
    settings.fatalHandler = ky::test::raiseFatal;
    KyStartHost(settings);
    UIThreadSafeInstalls::InstallNonMainFtl(ky::test::raiseFatal);
  }
  return RUN_ALL_TESTS();
}
