#include "core/player/PlayerClock.h"

#include "core/error/Assert.h"

using namespace ky;

void APlayerClock::SetCBInfo(PlayerClockCBClient*, Int64, Int64) { SubclassResponsibility(); }

void APlayerClock::StartCBs() { SubclassResponsibility(); }

void APlayerClock::StopCBs() { SubclassResponsibility(); }

void APlayerClock::SetPlayRate(double) { SubclassResponsibility(); }

Boolean APlayerClock::IsPlayrateOne() {
  SubclassResponsibility();
  return false;
}

double APlayerClock::GetPlayRate() {
  SubclassResponsibility();
  return 0;
}

void APlayerClock::SetTimeSlip(Int64 slip) { iTimeSlip = slip; }

Int64 APlayerClock::GetTimeSlip() { return iTimeSlip; }

void APlayerClock::InitTimeSlip() { iTimeSlip = 0; }

void APlayerClock::PreventDrift(APlayerClock* reference) { iDriftReference = reference; }

void APlayerClock::CorrectDrift() {}

void APlayerClock::PreLoad(float) { SubclassResponsibility(); }

void APlayerClock::ResetSampleRate() { SubclassResponsibility(); }

void APlayerClock::SetTransferRatio(double ratio) { iTransferRatio = ratio; }

double APlayerClock::GetTransferRatio() { return iTransferRatio; }

void AKernelClock::CorrectDrift() { fatal("CorrectDrift should never be called on AKernelClock in user mode"); }
