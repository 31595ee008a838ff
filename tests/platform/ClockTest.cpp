#include "platform/Clock.h"

#include <gtest/gtest.h>

namespace {

using namespace ky::platform;

Int64 sSlept = 0;

TEST(Clock, HooksStandInForTimeAndSleep) {
  const ClockHooks before =
      setClockHooks({[] { return Int64{42}; }, [](Int64 milliseconds) { sSlept += milliseconds; }});
  EXPECT_EQ(KyMicroseconds(), 42);
  sleepFor(120'000);
  EXPECT_EQ(sSlept, 120'000);
  setClockHooks(before);
  EXPECT_NE(KyMicroseconds(), 42);
}

}  // namespace
