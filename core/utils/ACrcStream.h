// A stream that keeps nothing but a checksum of what is written to it.
#pragma once

#include "core/utils/AStream.h"

/// Digests what is written by CRC-32 (IEEE 802.3) and counts it; reading only counts.
class KY_API ACrcStream : public AStream {
  KY_CLASS(ACrcStream, AStream)

 public:
  static ACrcStream* New();

  void SetPosition(Long position) override;

  // Virtual operations behind AStream's, in slot order.

  virtual void ResetCrc();
  /// Returns:  the checksum so far; of nothing 0, of "123456789" 0xCBF43926.
  virtual ULong GetResultCrc();
  /// The running register, by which a digest is suspended and resumed.
  virtual ULong GetCurrentCrc();
  virtual void SetCurrentCrc(ULong crc);

 protected:
  ACrcStream() = default;
  ~ACrcStream() override = default;
  void ICrcStream();

  ULong crc = 0xFFFFFFFF;  // without what the window holds

 private:
  void fetch(void* data, Long length);
  void store(const void* data, Long length);
  void digestWindow(Int64 at);

  Int64 windowBegin = 0;
  char pending[512];
};
