#include "core/player/PlayerClock.h"

#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

TEST(PlayerClock, LeavesTheClockItselfToSubclasses) {
  const Owned<APlayerClock> clock(new APlayerClock);
  const Owned<AKernelClock> kernel(new AKernelClock);
  const std::string owed = refusalOf([&] { clock->StartCBs(); });
  EXPECT_TRUE(owed.starts_with("Class ")) << owed;
  expectRefusals({
      {owed, [&] { clock->SetCBInfo(nullptr, 0, 1); }},
      {owed, [&] { clock->StopCBs(); }},
      {owed, [&] { clock->SetPlayRate(2); }},
      {owed, [&] { clock->IsPlayrateOne(); }},
      {owed, [&] { clock->GetPlayRate(); }},
      {owed, [&] { clock->PreLoad(1); }},
      {owed, [&] { clock->ResetSampleRate(); }},
      {"CorrectDrift should never be called on AKernelClock in user mode", [&] { kernel->CorrectDrift(); }},
  });
}
