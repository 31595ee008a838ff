#include "apps/support/Progress.h"

#include <gtest/gtest.h>

#include "core/error/UIHooks.h"
#include "platform/Clock.h"

namespace {

Int64 now = 0;
Int64 clockNow() { return now; }

}  // namespace

TEST(Progress, TheBarIsAsLongAsTheWorkDone) {
  EXPECT_EQ(support::progressBar("x", 0, 8, 80), "[                    ]   0%  x");
  EXPECT_EQ(support::progressBar("x", 2000000000, 2000000000, 80), "[####################] 100%  x");
  EXPECT_EQ(support::progressBar("x", 1, 4, 80), "[#####               ]  25%  x");
  EXPECT_EQ(support::progressBar("", 16, 0, 80), "[                ####]  ");
  EXPECT_EQ(support::progressBar("", 18, 0, 80), "[ ####               ]  ");
}

TEST(Progress, ShowsOnlyLongWorkAndWipesItAway) {
  const ky::platform::ClockHooks hooks = ky::platform::setClockHooks({clockNow, nullptr});
  const UIrtns before = InstallUIrtns(support::progressRoutines());
  const auto shown = [](auto&& work) {
    testing::internal::CaptureStderr();
    work();
    return testing::internal::GetCapturedStderr();
  };
  now = 1000000;
  EXPECT_EQ(shown([] { DisplayWait(0, -1), UIstatClose(); }), "");
  EXPECT_EQ(shown([] { DisplayWait(0, -1), now += 499999, DisplayWait(0, -1); }), "");
  EXPECT_EQ(shown([] { ++now, DisplayTherm("x", 1, 4, 0), DisplayTherm("x", 2, 4, 0); }),
            "\r[#####               ]  25%  x\033[K");
  EXPECT_EQ(shown([] { UIstatClose(); }), "\r\033[K");
  EXPECT_EQ(shown([] { now += 600000, DisplayWait(0, -1), UIstatClose(); }), "");
  InstallUIrtns(before);
  ky::platform::setClockHooks(hooks);
}
