#include "core/player/PlayerClock.h"

#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

TEST(PlayerClock, KeepsSlipRatioAndDriftReference) {
  struct Clock : APlayerClock {
    using APlayerClock::driftReference;
  };
  const Owned<Clock> clock(new Clock), other(new Clock);
  EXPECT_EQ(clock->GetTransferRatio(), 1.0);
  clock->SetTimeSlip(-5'000'000'000);
  clock->PreventDrift(other.get());
  clock->CorrectDrift();
  EXPECT_EQ(clock->GetTimeSlip(), -5'000'000'000);
  EXPECT_EQ(clock->driftReference(), other.get());
  clock->InitTimeSlip();
  EXPECT_EQ(clock->GetTimeSlip(), 0);
}

TEST(PlayerClock, LeavesTheClockItselfToSubclasses) {
  const Owned<APlayerClock> clock(new APlayerClock);
  const Owned<AKernelClock> kernel(new AKernelClock);
  for (const auto& call : std::initializer_list<std::function<void()>>{
           [&] { clock->SetCBInfo(nullptr, 0, 1); }, [&] { clock->StartCBs(); }, [&] { clock->StopCBs(); },
           [&] { clock->SetPlayRate(2); }, [&] { clock->IsPlayrateOne(); }, [&] { clock->GetPlayRate(); },
           [&] { clock->PreLoad(1); }, [&] { clock->ResetSampleRate(); }}) {
    EXPECT_EQ(codeRaisedBy(call), "FATAL_ERROR");
  }
  EXPECT_EQ(checkFailedBy([&] { kernel->CorrectDrift(); }),
            "CorrectDrift should never be called on AKernelClock in user mode");
}
