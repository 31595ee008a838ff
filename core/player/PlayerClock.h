// What a media player asks of its clocks; the clocks themselves live in the player.
#pragma once

#include "core/base/AObject.h"

/// Is called back by a clock.
class KY_API PlayerClockCBClient {
 public:
  virtual ~PlayerClockCBClient() = default;

  Boolean ClientWantsKernelClockCB() const { return iWantsKernelClock; }
  void SetClientWantsKernelClockCB(Boolean wants) { iWantsKernelClock = wants; }

 private:
  Boolean iWantsKernelClock = false;
};

/// Is called back by a clock that runs in the kernel.
class KY_API PlayerClockCBKernelClient : public PlayerClockCBClient {
 public:
  virtual void ClockClientCB() = 0;
};

class KY_API APlayerClock : public AObject {
  KY_CLASS(APlayerClock, AObject)

 public:
  // Virtual operations of its own. A subclass supplies those that have to do with call-backs, rates and loading; here
  // they are its responsibility and give 0.

  /// Borrows:  `client`, while it is called back.
  virtual void SetCBInfo(PlayerClockCBClient* client, Int64 start, Int64 period);
  virtual void StartCBs();
  virtual void StopCBs();
  /// Units:    1.0 is normal speed.
  virtual void SetPlayRate(double rate);
  virtual Boolean IsPlayrateOne();
  virtual double GetPlayRate();
  virtual void SetTimeSlip(Int64 slip);
  virtual Int64 GetTimeSlip();
  virtual void InitTimeSlip();
  /// Borrows:  `reference`, which the clock is not to drift from; null for none.
  virtual void PreventDrift(APlayerClock* reference);
  /// Does nothing: a clock that can drift overrides it.
  virtual void CorrectDrift();
  virtual void PreLoad(float seconds);
  virtual void ResetSampleRate();
  virtual void SetTransferRatio(double ratio);
  virtual double GetTransferRatio();

 protected:
  APlayerClock* driftReference() const { return iDriftReference; }

 private:
  Int64 iTimeSlip = 0;
  double iTransferRatio = 1.0;
  APlayerClock* iDriftReference = nullptr;
};

/// A clock that runs in the kernel, which keeps it from drifting by itself.
class KY_API AKernelClock : public APlayerClock {
  KY_CLASS(AKernelClock, APlayerClock)

 public:
  /// Fatal.
  void CorrectDrift() override;
};
