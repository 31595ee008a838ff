#include "tests/support/Printed.h"

#include <cstdio>
#include <mutex>
#include <vector>

#include "core/error/Printing.h"

namespace ky::test {
namespace {

std::string sPrinted;
std::string sDebugPrinted;
std::string sDebugOutput;
std::mutex sOutputGate;

int append(std::string& to, const char* format, va_list args) {
  va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  std::vector<char> text(static_cast<std::size_t>(length) + 1);
  std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  to += text.data();
  return length;
}

int collectDebug(const char* format, KyVaList args) { return append(sDebugPrinted, format, args); }

void collectOutput(const char* text) {
  const std::lock_guard hold(sOutputGate);
  sDebugOutput += text;
}

}  // namespace

Printed::Printed() { sPrinted.clear(); }
Printed::~Printed() = default;
const std::string& Printed::text() const { return sPrinted; }

int Printed::print(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = append(sPrinted, format, args);
  va_end(args);
  return length;
}

DebugPrinted::DebugPrinted() : before(dbgInstallPrintf(collectDebug)) { sDebugPrinted.clear(); }
DebugPrinted::~DebugPrinted() { dbgInstallPrintf(before); }
const std::string& DebugPrinted::text() const { return sDebugPrinted; }

DebugOutput::DebugOutput() : before(platform::setDebugSink(collectOutput)) { sDebugOutput.clear(); }
DebugOutput::~DebugOutput() { platform::setDebugSink(before); }

std::string DebugOutput::text() const {
  const std::lock_guard hold(sOutputGate);
  return sDebugOutput;
}

}  // namespace ky::test
