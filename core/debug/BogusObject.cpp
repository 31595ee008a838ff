#include "core/debug/BogusObject.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/base/AObject.h"
#include "core/error/Assert.h"
#include "core/mem/AltMemory.h"

namespace {

// A zero would end the text.
char shown(char byte) { return std::isprint(static_cast<unsigned char>(byte)) ? byte : '.'; }

void report(const void* object, const char* message) {
  constexpr int kReportLine = 272;  // the line that reports of the trap have always carried
  char bytes[4];
  std::memcpy(bytes, object, sizeof bytes);
  ULong word = 0;
  std::memcpy(&word, object, sizeof word);
  char text[256];
  std::snprintf(text, sizeof text, "   %s\r   Object Addr:   0x%08lx\r   First 4 Bytes: 0x%08lx '%c%c%c%c'\r",
                message ? message : "Calling a method on a freed object.",
                static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(object)), static_cast<unsigned long>(word),
                shown(bytes[0]), shown(bytes[1]), shown(bytes[2]), shown(bytes[3]));
  if (__FtlAbortm(text, "core/debug/BogusObject", kReportLine)) std::abort();
}

}  // namespace

// clang-format off
#define KY_TRAP(n) virtual void trap##n() { report(this, nullptr); }
#define KY_TEN_TRAPS(n) \
  KY_TRAP(n##0) KY_TRAP(n##1) KY_TRAP(n##2) KY_TRAP(n##3) KY_TRAP(n##4) \
  KY_TRAP(n##5) KY_TRAP(n##6) KY_TRAP(n##7) KY_TRAP(n##8) KY_TRAP(n##9)
#define KY_HUNDRED_TRAPS(n) \
  KY_TEN_TRAPS(n##0) KY_TEN_TRAPS(n##1) KY_TEN_TRAPS(n##2) KY_TEN_TRAPS(n##3) KY_TEN_TRAPS(n##4) \
  KY_TEN_TRAPS(n##5) KY_TEN_TRAPS(n##6) KY_TEN_TRAPS(n##7) KY_TEN_TRAPS(n##8) KY_TEN_TRAPS(n##9)
// clang-format on

/// Its table is wider than that of any other class, so that a virtual call on a block stamped with it lands in a trap,
/// whichever slot the freed object's class used.
class BogusObject : public AObject {
 public:
  // The block belongs to the allocator already.
  static void operator delete(void*) {}

  KY_HUNDRED_TRAPS(1)
  KY_HUNDRED_TRAPS(2)
  KY_HUNDRED_TRAPS(3)

 protected:
  ~BogusObject() override { report(this, "Deleting an already freed object"); }
};

void* ky::bogusTable() {
  static AObject* const trap = new BogusObject;
  void* table = nullptr;
  std::memcpy(&table, static_cast<void*>(trap), sizeof table);
  return table;
}

void InitBogusObject() { AltSetBogusVtableValue(ky::bogusTable()); }
