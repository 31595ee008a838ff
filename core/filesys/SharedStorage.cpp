#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdio>

#include "core/error/Assert.h"
#include "core/error/Printing.h"
#include "core/error/Subsystems.h"
#include "core/error/SystemErrors.h"
#include "core/filesys/Volumes.h"
#include "platform/Errors.h"
#include "platform/Volumes.h"

using namespace ky;

namespace {

std::atomic<Long> emulated{0};

constexpr Long kLargestEfficient = 0x1000000;

CorvaneInfo_t emulatedInfo(Long size) {
  CorvaneInfo_t info;
  info.blockSize = 512;
  info.chunkSize = 131072;
  info.limitSize = static_cast<Long>(std::min<Int64>(Int64{size} * 2, 0x7FFFFFFF));
  info.efficientRead = info.efficientWrite = {size, size};
  return info;
}

CorvaneInfo_t driversInfo(OSVolID volume) {
  Long number = -1;
  volume.Get(&number);
  // A number beyond the letters is a volume all the same, of which no driver knows.
  const bool hasNoLetter = number >= 256;
  const bool isLetter = number >= 0 && number < 256 && std::isalpha(static_cast<int>(number));
  Long facts[7] = {};
  int error = platform::kPathNotFound;
  if (!hasNoLetter && check(isLetter, "isalpha(theID)")) error = platform::sharedStorageFacts(number, &facts);
  raiseFileErrorIf(error, "GetCorvaneInfo can't CORVANE_IOCTL_GET_PERF_DATA_V1 on ioRefNum");
  return {facts[0], facts[1], facts[2], {facts[3], facts[4]}, {facts[5], facts[6]}};
}

void printInfo(const CorvaneInfo_t& info) {
  static const int subsystem = dbgRegSubSystem("CorvaneIoctl");
  if (!dbgTestFlag(subsystem, kDbgPrint)) return;
  dprintf("CORVANE paramters:\n");
  const struct {
    const char* name;
    Long value;
  } rows[] = {{"blockSize", info.blockSize},
              {"chunkSize", info.chunkSize},
              {"limitSize", info.limitSize},
              {"efficientRead.min", info.efficientRead.min},
              {"efficientRead.max", info.efficientRead.max},
              {"efficientWrite.min", info.efficientWrite.min},
              {"efficientWrite.max", info.efficientWrite.max}};
  for (const auto& row : rows) dprintf("  %s: %ld\n", row.name, static_cast<long>(row.value));
}

void checkInfo(const CorvaneInfo_t& info) {
  if (!check(info.blockSize > 0, "outInfo->blockSize > 0") || !check(info.chunkSize > 0, "outInfo->chunkSize > 0"))
    return;
  const auto isWhole = [&](Long size) { return size % info.chunkSize == 0; };
  check(isWhole(info.efficientRead.min), "(outInfo->efficientRead.min % chunkSize) == 0");
  check(isWhole(info.efficientRead.max), "(outInfo->efficientRead.max % chunkSize) == 0");
  check(isWhole(info.efficientWrite.min), "(outInfo->efficientWrite.min % chunkSize) == 0");
  check(isWhole(info.efficientWrite.max), "(outInfo->efficientWrite.max % chunkSize) == 0");
}

void mountPath(OSVolID volume, char* buffer, int size) {
  VolInfo_t info;
  GetFileSysInfo(volume, &info);
  std::snprintf(buffer, static_cast<std::size_t>(size), "%s", info.root);
}

[[maybe_unused]] const bool sInstalledAtLoad = [] {
  installVolumeServices({IsCorvaneFS, GetCorvaneInfo, mountPath});
  return true;
}();

}  // namespace

Long CorvaneEmulation() { return emulated; }

void CorvaneEmulation(Long bytes) { emulated = bytes; }

Boolean IsCorvaneFS(OSVolID volume) {
  if (CorvaneEmulation() != 0) return 1;
  VolInfo_t info;
  return GetFileSysInfo(volume, &info) && info.kind == FS_SHARED;
}

Boolean IsCorvaneFSInstalled(bool print) {
  bool running = false;
  if (const int error = platform::sharedStorageService(&running)) {
    char words[256];
    platform::errorText(error, words, sizeof words);
    dprintf("Error: '%s':\n%s", "SCManager", words);
    return 0;
  }
  if (running && print) dprintf("Zorvex file system is running\n");
  return running;
}

void GetCorvaneInfo(OSVolID volume, ULong ioRefNum, CorvaneInfo_t* outInfo) {
  if (ioRefNum == ULong(-1)) xraiseWinFileError(platform::lastFileError(), "GetCorvaneInfo given bad ioRefNum");
  if (!check(outInfo != nullptr, "outInfo")) return;
  const Long emulation = CorvaneEmulation();
  const CorvaneInfo_t info = emulation == 0 ? driversInfo(volume) : emulatedInfo(emulation);
  printInfo(info);
  *outInfo = info;
  for (CorvaneInfo_t::Sizes* sizes : {&outInfo->efficientRead, &outInfo->efficientWrite}) {
    sizes->min = std::min(sizes->min, kLargestEfficient);
    sizes->max = std::min(sizes->max, kLargestEfficient);
  }
  checkInfo(*outInfo);
}

void SetCorvaneMaxTransfer(Long bytes) {
  raiseFileErrorIf(platform::setSharedStorageTransfer(bytes), "\\\\.\\zorvexfs");
}
