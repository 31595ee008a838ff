#include <array>
#include <atomic>
#include <cstring>
#include <string>

#include "core/error/Printing.h"
#include "core/filesys/DiskRtns.h"
#include "core/filesys/SystemFile.h"
#include "core/math/CUtils.h"
#include "platform/Clock.h"

// Set by one thread while the transfers of others look at them: atomic, though nothing hangs on their order.

namespace {

/// Fails one operation out of those to come.
class ForcedError {
 public:
  void set(int newCode, int newCount) {
    code = newCode;
    count = newCount;
  }

  int take() {
    int left = count.load(std::memory_order_relaxed);
    while (left >= 1 && !count.compare_exchange_weak(left, left - 1)) {
    }
    return left == 1 ? code.exchange(0) : 0;
  }

 private:
  std::atomic<int> code{0};
  std::atomic<int> count{0};
};

constinit ForcedError readError, writeError, openError, deleteError, renameError;
constinit std::atomic<unsigned char (*)(unsigned long)> readCallback{nullptr};
constinit std::atomic<ULong> debugFlags{0};

constexpr Long lastVolume = 4095;
struct Latency {
  std::atomic<Int64> milliseconds[2] = {};
};
constinit std::array<Latency, lastVolume + 2> latencies;

Latency* latencyOf(const OSVolID& volume) {
  Long number = -1;
  volume.Get(&number);
  return number < -1 || number > lastVolume ? nullptr : &latencies[static_cast<std::size_t>(number) + 1];
}

}  // namespace

void SetForceDiskReadErr(int code, int count) { readError.set(code, count); }
void SetForceDiskWriteErr(int code, int count) { writeError.set(code, count); }
void SetForceDiskOpenErr(int code, int count) { openError.set(code, count); }
void SetForceDiskDeleteErr(int code, int count) { deleteError.set(code, count); }
void SetForceDiskRenameErr(int code, int count) { renameError.set(code, count); }

int GetForceDiskReadErr() { return readError.take(); }
int GetForceDiskWriteErr() { return writeError.take(); }
int GetForceDiskOpenErr() { return openError.take(); }
int GetForceDiskDeleteErr() { return deleteError.take(); }
int GetForceDiskRenameErr() { return renameError.take(); }

void KySetAdditionalIOLatency(const OSVolID& volume, Boolean isWrite, Int64 milliseconds) {
  if (Latency* const latency = latencyOf(volume)) latency->milliseconds[isWrite != 0] = milliseconds;
}

Int64 KyGetAdditionalIOLatency(const OSVolID& volume, Boolean isWrite, Long) {
  const Latency* const latency = latencyOf(volume);
  return latency ? latency->milliseconds[isWrite != 0].load(std::memory_order_relaxed) : 0;
}

void ky::delayTransfer(const OSVolID& volume, bool isWrite, Long size) {
  const Int64 milliseconds = KyGetAdditionalIOLatency(volume, isWrite, size);
  if (milliseconds > 0) platform::sleepFor(milliseconds);
}

void SetKYReadLogTransferCB(unsigned char (*callback)(unsigned long length)) { readCallback = callback; }

void ky::tellRead(ULong length) {
  if (auto* const callback = readCallback.load(std::memory_order_relaxed)) callback(length);
}

void SetDiskRtnDbgFlags(ULong flags) { debugFlags = flags; }

ULong GetDiskRtnDbgFlags() { return debugFlags.load(std::memory_order_relaxed); }

// ---- the words for the trace flags

namespace {

void printHelp() {
  cprintf("DiskRtnFlags allows turning on certain debugging printfs during filesystem activity.\n");
  cprintf("It uses OsPrintf which on NT will print out to your debugger output window.\n");
  cprintf("syntax: DiskRtnFlags option\n");
  cprintf("  where 'option' is one of:\n");
  cprintf("\tHelp (h)          - to print this help message.\n");
  cprintf("\tAll\t(a)           - to turn on all debug messages.\n");
  cprintf("\tNone (non)        - to turn off all debug messages.\n");
  cprintf("\tOpenClose (o)     - to turn on all debug messages for opening and closing files.\n");
  cprintf("\tWrite (w)         - to turn on all debug messages for writing files.\n");
  cprintf("\tRead (r)          - to turn on all debug messages for reading files.\n");
  cprintf("\tCreate (c)        - to turn on all debug messages for creating files.\n");
  cprintf("\tNoOpenClose (noo) - to turn off all debug messages for opening and closing files.\n");
  cprintf("\tNoWrite (now)     - to turn off all debug messages for writing files.\n");
  cprintf("\tNoRead (nor)      - to turn off all debug messages for reading files.\n");
  cprintf("\tNoCreate (noc)    - to turn off all debug messages for creating files.\n");
  cprintf("Only the unique part of the command need be used (as shown in parens).\n");
  cprintf("For example to show all opens and closes just type: 'DiskRtnFlags o'\n");
}

constexpr struct {
  const char* shortForm;
  ULong kept;
  ULong added;
} options[] = {
    {"a", 0, 15},  {"non", 0, 0},   {"o", ~0u, 1},   {"w", ~0u, 2},   {"r", ~0u, 4},
    {"c", ~0u, 8}, {"noo", ~1u, 0}, {"now", ~2u, 0}, {"nor", ~4u, 0}, {"noc", ~8u, 0},
};

}  // namespace

void ky::setDiskRtnFlags(const char* commandOptions) {
  const std::string given = commandOptions ? commandOptions : "";
  for (const auto& option : options) {
    if (CIstrcmp(given.substr(0, std::strlen(option.shortForm)).c_str(), option.shortForm) != 0) continue;
    SetDiskRtnDbgFlags((GetDiskRtnDbgFlags() & option.kept) | option.added);
    return;
  }
  printHelp();
}
