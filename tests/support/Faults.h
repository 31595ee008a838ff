// Failures made to order: every step of a piece of work fails once.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "core/error/Guarded.h"
#include "core/filesys/DiskRtns.h"
#include "core/mem/KyMemory.h"
#include "platform/Errors.h"
#include "tests/support/TempFolder.h"

namespace ky::test {

/// A kind of step that can fail.
struct Fault {
  const char* name;
  const char* code;  ///< what the error says on one of its levels
  /// Has the nth step fail. What it returns takes that back and tells whether it happened.
  std::function<std::function<bool()>(int nth)> arm;
};

inline Fault diskFault(const char* name, const char* code, int number, void (*force)(int, int), int (*take)()) {
  return {name, code, [=](int nth) {
            force(number, nth);
            return [=] {
              bool isLeft = false;
              for (int i = 0; i < nth && !isLeft; ++i) isLeft = take() != 0;
              force(0, 0);
              return !isLeft;
            };
          }};
}

inline std::vector<Fault> diskFaults() {
  using namespace platform;
  return {
      diskFault("read", "DISK_IO_ERROR", kDeviceError, SetForceDiskReadErr, GetForceDiskReadErr),
      diskFault("write", "DISK_FULL", kDiskFull, SetForceDiskWriteErr, GetForceDiskWriteErr),
      diskFault("open", "DISK_TOO_MANY_OPEN", kTooManyOpen, SetForceDiskOpenErr, GetForceDiskOpenErr),
      diskFault("delete", "DISK_ACCESS_DENIED", kAccessDenied, SetForceDiskDeleteErr, GetForceDiskDeleteErr),
      diskFault("rename", "DISK_SHARING_VIOLATION", kSharingViolation, SetForceDiskRenameErr, GetForceDiskRenameErr)};
}

/// An allocation of the library's memory manager.
inline Fault memoryFault() {
  return {"allocation", "MEM_OUT_OF_MEMORY", [](int nth) {
            auto failure = std::make_shared<AllocationFailure>(nth);
            return [failure]() mutable {
              const bool happened = failure->happened();
              failure.reset();
              return happened;
            };
          }};
}

/// Runs `work` with its first step of the kind failing, then with its second, until a run meets no failure: `before`
/// sets each run up, `after` looks at what it left, with an error without a code if it came through. No run leaves a
/// file open.
///
/// Returns:  how many failures were met.
template <class Before, class Work, class After>
int failEachStep(const Fault& fault, Before before, Work work, After after) {
  constexpr int kMost = 20000;
  for (int nth = 1; nth < kMost && !testing::Test::HasFailure(); ++nth) {
    SCOPED_TRACE(std::string(fault.name) + " " + std::to_string(nth));
    before();
    const std::ptrdiff_t opened = openDescriptors();
    XError error;
    const std::function<bool()> disarm = fault.arm(nth);
    guarded(work, [&](XError& caught) { error = caught; });
    const bool isMet = disarm();
    if (error.GetCode()) {
      EXPECT_TRUE(isMet && error.FindCode(fault.code)) << error.GetCode();
    }
    EXPECT_EQ(openDescriptors(), opened);
    after(error);
    if (!isMet) return nth - 1;
  }
  ADD_FAILURE() << fault.name << " failed without end, or a run before went wrong";
  return 0;
}

/// Runs each of the actions with its first allocation failing, then with its second, until it comes through; every
/// failure is raised, and `expectAsBefore` looks at what it left.
template <class After>
void failEachAllocation(const std::vector<std::function<void()>>& actions, After expectAsBefore) {
  for (const auto& action : actions) {
    int raised = 0;
    const auto after = [&](const XError& error) {
      if (!error.GetCode()) return;
      ++raised;
      expectAsBefore();
    };
    EXPECT_EQ(failEachStep(
                  memoryFault(), [] {}, action, after),
              raised);
  }
}

}  // namespace ky::test
