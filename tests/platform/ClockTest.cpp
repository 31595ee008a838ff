#include "platform/Clock.h"

#include <gtest/gtest.h>

#include <ctime>

#include "platform/Host.h"

namespace {

using namespace ky::platform;

Int64 sSlept = 0;

TEST(Clock, RunsOnWhileTheThreadSleeps) {
  const Int64 before = KyMicroseconds();
  sleepFor(3);
  const Int64 passed = KyMicroseconds() - before;
  EXPECT_GE(passed, 3'000);
  EXPECT_LT(passed, 60'000'000);
}

TEST(Clock, HooksStandInForTimeAndSleep) {
  const ClockHooks before =
      setClockHooks({[] { return Int64{42}; }, [](Int64 milliseconds) { sSlept += milliseconds; }});
  EXPECT_EQ(KyMicroseconds(), 42);
  sleepFor(120'000);
  EXPECT_EQ(sSlept, 120'000);
  setClockHooks(before);
  EXPECT_NE(KyMicroseconds(), 42);
}

TEST(Clock, LocalTimeNamesTheSameInstant) {
  std::tm local = localTime(1'234'567'890);
  EXPECT_EQ(std::mktime(&local), 1'234'567'890);
}

TEST(Host, IdentifierStaysTheSame) {
  EXPECT_NE(hostIdentifier(), "");
  EXPECT_EQ(hostIdentifier(), hostIdentifier());
}

}  // namespace
