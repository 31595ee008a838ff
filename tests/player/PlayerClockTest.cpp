#include "core/player/PlayerClock.h"

#include <gtest/gtest.h>

#include <functional>

#include "core/mem/Owned.h"
#include "tests/support/Raised.h"

namespace {

using namespace ky;
using namespace ky::test;

struct Clock : APlayerClock {
  using APlayerClock::driftReference;
};

TEST(PlayerClock, KeepsSlipRatioAndDriftReference) {
  const Owned<Clock> clock(new Clock);
  const Owned<Clock> other(new Clock);
  EXPECT_EQ(clock->GetTransferRatio(), 1.0);
  clock->SetTimeSlip(-5'000'000'000);
  clock->SetTransferRatio(0.5);
  clock->PreventDrift(other.get());
  clock->CorrectDrift();
  EXPECT_EQ(clock->GetTimeSlip(), -5'000'000'000);
  EXPECT_EQ(clock->GetTransferRatio(), 0.5);
  EXPECT_EQ(clock->driftReference(), other.get());
  clock->InitTimeSlip();
  EXPECT_EQ(clock->GetTimeSlip(), 0);
}

TEST(PlayerClock, LeavesTheClockItselfToSubclasses) {
  const Owned<Clock> clock(new Clock);
  const std::function<void()> calls[] = {
      [&] { clock->SetCBInfo(nullptr, 0, 1); },
      [&] { clock->StartCBs(); },
      [&] { clock->StopCBs(); },
      [&] { clock->SetPlayRate(2); },
      [&] { clock->IsPlayrateOne(); },
      [&] { clock->GetPlayRate(); },
      [&] { clock->PreLoad(1); },
      [&] { clock->ResetSampleRate(); },
  };
  for (const auto& call : calls) EXPECT_EQ(codeRaisedBy(call), "FATAL_ERROR");
  const Owned<AKernelClock> kernel(new AKernelClock);
  EXPECT_TRUE(kernel->IsInstanceOf("APlayerClock"));
  EXPECT_EQ(checkFailedBy([&] { kernel->CorrectDrift(); }),
            "CorrectDrift should never be called on AKernelClock in user mode");
}

}  // namespace
