// Collectors of printed text. One of each kind at a time.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <utility>

#include "core/base/KyTypes.h"
#include "platform/Debugger.h"

namespace ky::test {

/// Collects standard output, where dprintf goes too: `Printed out; object->Dump(out.print, 0); EXPECT_EQ(out.text(),
/// ...)`.
class Printed {
 public:
  Printed() { testing::internal::CaptureStdout(); }
  ~Printed() { text(); }
  Printed(const Printed&) = delete;
  Printed& operator=(const Printed&) = delete;

  static constexpr KyPrint print = std::printf;
  /// What was printed before the first call, which ends the collecting.
  const std::string& text() {
    if (std::exchange(isCollecting, false)) collected = testing::internal::GetCapturedStdout();
    return collected;
  }

 private:
  bool isCollecting = true;
  std::string collected;
};

/// Collects the debug output, from any thread.
class DebugOutput {
 public:
  DebugOutput() : before(platform::setDebugSink(collect)) { collected.clear(); }
  ~DebugOutput() { platform::setDebugSink(before); }
  DebugOutput(const DebugOutput&) = delete;
  DebugOutput& operator=(const DebugOutput&) = delete;

  std::string text() const {
    const std::lock_guard hold(gate);
    return collected;
  }

 private:
  static void collect(const char* text) {
    const std::lock_guard hold(gate);
    collected += text;
  }

  static inline std::mutex gate;
  static inline std::string collected;
  platform::DebugSink before;
};

}  // namespace ky::test
