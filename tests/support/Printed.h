// Collectors of printed text. One of each kind at a time.
#pragma once

#include <string>

#include "core/base/KyTypes.h"
#include "core/error/UIRoutines.h"
#include "platform/Debugger.h"

namespace ky::test {

/// Collects what is printed through a KyPrint: `Printed out; object->Dump(out.print, 0); EXPECT_EQ(out.text(), ...)`.
class Printed {
 public:
  Printed();
  ~Printed();
  Printed(const Printed&) = delete;
  Printed& operator=(const Printed&) = delete;

  static int print(const char* format, ...) KY_PRINTF(1, 2);
  const std::string& text() const;
};

/// Collects what goes through dprintf on the main thread.
class DebugPrinted {
 public:
  DebugPrinted();
  ~DebugPrinted();
  DebugPrinted(const DebugPrinted&) = delete;
  DebugPrinted& operator=(const DebugPrinted&) = delete;

  const std::string& text() const;

 private:
  DbgPrintfProc before = nullptr;
};

/// Collects the debug output, from any thread.
class DebugOutput {
 public:
  DebugOutput();
  ~DebugOutput();
  DebugOutput(const DebugOutput&) = delete;
  DebugOutput& operator=(const DebugOutput&) = delete;

  std::string text() const;

 private:
  platform::DebugSink before = nullptr;
};

}  // namespace ky::test
