#include "apps/support/Progress.h"

#include <gtest/gtest.h>

#include <functional>

#include "core/error/UIHooks.h"
#include "platform/Clock.h"

namespace {

Int64 now = 1000000;
Int64 clockNow() { return now; }

}  // namespace

TEST(Progress, TheBarIsAsLongAsTheWorkDoneAndFitsTheTerminal) {
  const struct {
    Int64 done, total;
    int width;
    const char* bar;
  } cases[] = {{0, 8, 80, "[                    ]   0%  x"},
               {2000000000, 2000000000, 80, "[####################] 100%  x"},
               {9, 8, 80, "[####################] 100%  x"},
               {1, 4, 80, "[#####               ]  25%  x"},
               {16, 0, 80, "[                ####]  x"},
               {18, 0, 80, "[ ####               ]  x"},
               {1, 4, 10, "[#####   "}};
  for (const auto& c : cases) EXPECT_EQ(support::progressBar("x", c.done, c.total, c.width), c.bar);
}

TEST(Progress, ShowsOnlyLongWorkAndWipesItAway) {
  const ky::platform::ClockHooks hooks = ky::platform::setClockHooks({clockNow, nullptr});
  const UIrtns before = InstallUIrtns(support::progressRoutines());
  const auto sign = [] { DisplayWait(0, -1); };
  const auto later = [](Int64 time) { return [time] { now += time; }; };
  const auto therm = [] { DisplayTherm("x", 1, 4, 0); };
  const auto counted = [&] {
    const support::Progress bar("y", 4, [] { return 3; });
    sign();
  };
  const struct {
    std::vector<std::function<void()>> work;
    const char* shown;
  } steps[] = {{{sign, UIstatClose}, ""},
               {{sign, later(499999), sign}, ""},
               {{later(1), therm, therm}, "\r[#####               ]  25%  x\033[K"},
               {{later(100000), counted}, "\r[###############     ]  75%  y\033[K"},
               {{UIstatClose}, "\r\033[K"},
               {{later(600000), sign, UIstatClose}, ""}};
  for (const auto& step : steps) {
    testing::internal::CaptureStderr();
    for (const auto& work : step.work) work();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), step.shown) << &step - steps;
  }
  InstallUIrtns(before);
  ky::platform::setClockHooks(hooks);
}
