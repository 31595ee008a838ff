#include "core/error/Subsystems.h"

#include <atomic>
#include <cstring>
#include <new>
#include <span>

#include "core/error/Assert.h"
#include "core/math/CUtils.h"

using ky::check;

namespace {

constexpr int MAX_SUBSYSTEMS = 50;
constexpr int SUBSYS_NAMESIZE = 16;
constexpr int kNameArea = MAX_SUBSYSTEMS * SUBSYS_NAMESIZE;
constexpr unsigned short kSavedVersion = 1;

/// Entry 0 belongs to no subsystem: its flags stay clear.
struct Subsystem {
  const char* name = nullptr;
  std::atomic<unsigned short> flags{0};
};

Subsystem sTable[MAX_SUBSYSTEMS + 1];
char* sNames = nullptr;
int sNextName = 0;
int sNextID = 1;

bool isID(int id) { return id >= 1 && id <= MAX_SUBSYSTEMS; }

std::span<Subsystem> registered() { return std::span(sTable).subspan(1, static_cast<std::size_t>(sNextID - 1)); }

bool tableHasRoom() { return sNextID <= MAX_SUBSYSTEMS; }
bool nameFits(const char* name) { return sNextName + std::strlen(name) < std::size_t{kNameArea}; }

int changeFlags(int id, int set, int clear) {
  if (!isID(id)) return 0;
  auto& flags = sTable[id].flags;
  const int now = (flags.load(std::memory_order_relaxed) | set) & ~clear;
  flags.store(static_cast<unsigned short>(now), std::memory_order_relaxed);
  return now;
}

Long savedLength(const Subsystem& subsystem) { return static_cast<Long>(std::strlen(subsystem.name)) + 1 + 2; }

template <class Number>
char* put(char* to, Number value) {
  std::memcpy(to, &value, sizeof value);
  return to + sizeof value;
}

unsigned short word(const char* from) {
  unsigned short value = 0;
  std::memcpy(&value, from, sizeof value);
  return value;
}

}  // namespace

int dbgRegSubSystem(const char* name) {
  if (const int known = dbgGetSubSystemID(name)) return known;
  if (!check(tableHasRoom(), "nextID < dim(dbgFlags)")) return 0;
  if (!sNames) sNames = new (std::nothrow) char[kNameArea];
  if (!check(sNames != nullptr, "dbgNames != NULL")) return 0;
  if (!check(nameFits(name), "nextName + nameLen < MAX_SUBSYSTEMS * SUBSYS_NAMESIZE")) return 0;

  sTable[sNextID].name = std::strcpy(sNames + sNextName, name);
  sTable[sNextID].flags = 0;
  sNextName += static_cast<int>(std::strlen(name)) + 1;
  return sNextID++;
}

int dbgGetSubSystemID(const char* name) {
  for (int id = sNextID - 1; id >= 1; --id) {
    if (CIstrcmp(sTable[id].name, name) == 0) return id;
  }
  return 0;
}

const char* dbgGetSubsysName(int id) {
  if (!check(isID(id), "(id < dim(dbgFlags)) && (id >= 1)")) return nullptr;
  return sTable[id].name;
}

int dbgNumSubSystems() { return sNextID - 1; }

int dbgTestFlag(int id, int mask) { return isID(id) ? sTable[id].flags.load(std::memory_order_relaxed) & mask : 0; }

int dbgSetFlag(int id, int mask) { return changeFlags(id, mask, 0); }

int dbgClearFlag(int id, int mask) { return changeFlags(id, 0, mask); }

namespace ky {

void listSubsystems(KyPrint print) {
  constexpr char kRow[] = "%20.20s   %s     %s     %s     %s\n";
  constexpr char kNone[] = "-----";
  print(kRow, "Subsystem", "Check", "Print", "Stats", "Debug");
  print(kRow, "---------", kNone, kNone, kNone, kNone);
  for (const Subsystem& subsystem : registered()) {
    const int flags = subsystem.flags;
    const auto shown = [&](int bit, const char* text) { return flags & bit ? text : kNone; };
    print(kRow, subsystem.name, shown(kDbgCheck, "CHECK"), shown(kDbgPrint, "PRINT"), shown(kDbgStats, "STATS"),
          shown(kDbgDebug, "DEBUG"));
  }
}

Long savedSubsystemsLength() {
  Long length = sizeof kSavedVersion;
  for (const Subsystem& subsystem : registered()) {
    if (subsystem.flags != 0) length += savedLength(subsystem);
  }
  return length;
}

Long saveSubsystems(char* buffer, Long bufLen) {
  const Long totalLen = savedSubsystemsLength();
  if (!check(bufLen >= totalLen, "bufLen >= totalLen")) return 0;
  char* to = put(buffer, kSavedVersion);
  for (const Subsystem& subsystem : registered()) {
    const unsigned short flags = subsystem.flags;
    if (flags == 0) continue;
    const std::size_t name = std::strlen(subsystem.name) + 1;
    std::memcpy(to, subsystem.name, name);
    to = put(to + name, flags);
  }
  return totalLen;
}

void restoreSubsystems(const char* buffer, Long length) {
  if (length < Long{sizeof kSavedVersion} || word(buffer) != kSavedVersion) return;
  const char* const end = buffer + length;
  for (const char* at = buffer + sizeof kSavedVersion; at < end;) {
    const auto* const nameEnd = static_cast<const char*>(std::memchr(at, 0, static_cast<std::size_t>(end - at)));
    if (!nameEnd || end - nameEnd < 1 + 2) return;
    // Saved settings may come from elsewhere, so a name too many is no programmer's error.
    int id = dbgGetSubSystemID(at);
    if (id == 0 && tableHasRoom() && nameFits(at)) id = dbgRegSubSystem(at);
    if (id != 0) sTable[id].flags = word(nameEnd + 1);
    at = nameEnd + 1 + 2;
  }
}

}  // namespace ky
