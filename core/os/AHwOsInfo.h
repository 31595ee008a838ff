// What the host is, who uses it, and what time it is.
#pragma once

#include "core/base/AObject.h"

/// The one service object. Times are seconds since 1970; texts show the local time.
///
/// Threads:  any, between MakeHwOsInfo and DeleteHwOsInfo.
class KY_API AHwOsInfo : public AObject {
  KY_CLASS(AHwOsInfo, AObject)

 public:
  /// Makes the object, unless there is one.
  static void MakeHwOsInfo();
  static void DeleteHwOsInfo();
  /// Returns:  the object, null before it is made.
  static AHwOsInfo* current();

  // Virtual operations behind AObject's.
  virtual ULong GetTime() = 0;
  /// Shows a dialog if the year lies outside 1999 to 2009.
  virtual void CheckSystemTime() = 0;
  /// "mm/dd/yyyy hh:mm:ss", with question marks for a time that has no date.
  virtual void dtToStr(ULong time, unsigned char* buffer, unsigned size) = 0;
  /// The same.
  virtual void localTimeToStr(ULong time, unsigned char* buffer, unsigned size) = 0;
  /// "mm/dd/yyyy", with question marks for a time that has no date.
  virtual void dtToDateStr(ULong time, unsigned char* buffer, unsigned size) = 0;
  /// A number that tells this host from others.
  virtual ULong GetHostID() = 0;
  virtual Long GetProcessorCount() = 0;
  /// Units:    1,024 bytes.
  virtual UInt64 GetPhysicalMemoryKB() = 0;

 protected:
  AHwOsInfo() = default;
  ~AHwOsInfo() override = default;
};

class KY_API AHwOsInfoWin : public AHwOsInfo {
  KY_CLASS(AHwOsInfoWin, AHwOsInfo)

 public:
  ULong GetTime() override;
  void CheckSystemTime() override;
  void dtToStr(ULong time, unsigned char* buffer, unsigned size) override;
  void localTimeToStr(ULong time, unsigned char* buffer, unsigned size) override;
  void dtToDateStr(ULong time, unsigned char* buffer, unsigned size) override;
  ULong GetHostID() override;
  Long GetProcessorCount() override;
  UInt64 GetPhysicalMemoryKB() override;
};

// Who and where: at most 255 characters each, in a buffer of 256; "" for what the host does not tell.

KY_API void KYGetUserName(char* name);
KY_API void KYGetApplName(char* name);
KY_API void KYGetSystemName(char* name);

class KY_API KyNetwork {
 public:
  /// Returns:  the address of the host as numbers and full stops, for the calling thread until its next call; null if
  ///           the name is not known.
  /// Threads:  lets the other cooperative threads run while the network answers.
  static const char* HostName2in_addr(const char* host);
};

namespace ky {

/// These work at any time, also before the service object is made.

/// As GetHostID.
KY_API ULong hostNumber();
/// As dtToStr and dtToDateStr, for times of any size.
KY_API void dateAndTimeText(Int64 time, char* buffer, unsigned size);
KY_API void dateText(Int64 time, char* buffer, unsigned size);

}  // namespace ky
