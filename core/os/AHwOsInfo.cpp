#include "core/os/AHwOsInfo.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "core/error/UIHooks.h"
#include "core/filesys/Paths.h"
#include "core/threads/Blocking.h"
#include "core/utils/Crc.h"
#include "platform/Clock.h"
#include "platform/Host.h"
#include "platform/Memory.h"

using namespace ky;

namespace {

constexpr std::size_t kNameSize = 256;
AHwOsInfo* theInfo = nullptr;

void fill(char* name, const std::string& text) { std::snprintf(name, kNameSize, "%s", text.c_str()); }

/// A year that four digits cannot show has no date here.
bool hasDate(Int64 time, std::tm* local) {
  constexpr Int64 kEarliest = -62135596800, kLatest = 253402300799;
  if (time < kEarliest || time > kLatest) return false;
  *local = platform::localTime(time);
  return true;
}

char* asText(unsigned char* buffer) { return reinterpret_cast<char*>(buffer); }

}  // namespace

void ky::dateAndTimeText(Int64 time, char* buffer, unsigned size) {
  std::tm at = {};
  if (!hasDate(time, &at)) {
    std::snprintf(buffer, size, "\?\?/\?\?/\?\?\?\? \?\?:\?\?:\?\?");
    return;
  }
  std::snprintf(buffer, size, "%02d/%02d/%04d %02d:%02d:%02d", at.tm_mon + 1, at.tm_mday, at.tm_year + 1900, at.tm_hour,
                at.tm_min, at.tm_sec);
}

void ky::dateText(Int64 time, char* buffer, unsigned size) {
  std::tm at = {};
  if (!hasDate(time, &at)) {
    std::snprintf(buffer, size, "\?\?/\?\?/\?\?\?\?");
    return;
  }
  std::snprintf(buffer, size, "%02d/%02d/%04d", at.tm_mon + 1, at.tm_mday, at.tm_year + 1900);
}

ULong ky::hostNumber() {
  static const ULong number = [] {
    const std::string identifier = platform::hostIdentifier();
    return crcGenerate(identifier.data(), Long(identifier.size()));
  }();
  return number;
}

void AHwOsInfo::MakeHwOsInfo() {
  if (!theInfo) theInfo = new AHwOsInfoWin;
}

void AHwOsInfo::DeleteHwOsInfo() {
  if (theInfo) theInfo->Dispose();
  theInfo = nullptr;
}

AHwOsInfo* AHwOsInfo::current() { return theInfo; }

ULong AHwOsInfoWin::GetTime() { return static_cast<ULong>(platform::wallSeconds()); }

// The years stay those of the hosts that the check was made for; a program that runs today asks for it knowingly.
void AHwOsInfoWin::CheckSystemTime() {
  const int year = platform::localTime(GetTime()).tm_year;
  if (year >= 99 && year <= 109) return;
  UIdialog("Your System calendar and clock need\nto be set to the current date and time\nor problems may result.", "OK",
           1, UIicon_t(0), nullptr, 0, nullptr);
}

void AHwOsInfoWin::dtToStr(ULong time, unsigned char* buffer, unsigned size) {
  dateAndTimeText(time, asText(buffer), size);
}

void AHwOsInfoWin::localTimeToStr(ULong time, unsigned char* buffer, unsigned size) {
  dateAndTimeText(time, asText(buffer), size);
}

void AHwOsInfoWin::dtToDateStr(ULong time, unsigned char* buffer, unsigned size) {
  dateText(time, asText(buffer), size);
}

ULong AHwOsInfoWin::GetHostID() { return hostNumber(); }

Long AHwOsInfoWin::GetProcessorCount() { return platform::processorCount(); }

UInt64 AHwOsInfoWin::GetPhysicalMemoryKB() { return platform::memoryFacts().totalPhysical / 1024; }

void KYGetUserName(char* name) { fill(name, platform::userName()); }

void KYGetApplName(char* name) { fill(name, std::string(partsOf(platform::programPath()).name)); }

void KYGetSystemName(char* name) { fill(name, platform::hostName()); }

const char* KyNetwork::HostName2in_addr(const char* host) {
  thread_local char address[64];
  const std::string found = [host] {
    const Blocking frame;
    return platform::addressOf(host);
  }();
  std::snprintf(address, sizeof address, "%s", found.c_str());
  return found.empty() ? nullptr : address;
}
