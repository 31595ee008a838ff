// A bar on standard error that shows how far long work has come.
#pragma once

#include <functional>
#include <string>

#include "core/error/UIRoutines.h"

namespace support {

/// The routines that draw it. Work that is done within half a second shows none; the close routine wipes it away.
///
/// Threads:  the main one.
UIrtns progressRoutines();

/// While it stands, a sign of life without figures moves the bar to what `done` tells of `total`. The innermost counts.
class Progress {
 public:
  Progress(std::string what, Int64 total, std::function<Int64()> done);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  friend UIrtns progressRoutines();
  static Boolean showWaiting(Boolean checkUserAbort, Long delay);

  const std::string what;
  const Int64 total;
  const std::function<Int64()> done;
  Progress* const outer;
};

/// Tells, at every 1,000th step of a loop, how far it has come.
void showStep(const char* what, Int64 step, Int64 done, Int64 total);

/// "[#####               ]  25%  Loading" as far as the total is known; otherwise, with a total of 0, a piece that
/// moves on with `done`. A long text is cut to `width`.
std::string progressBar(const std::string& what, Int64 done, Int64 total, int width);

}  // namespace support
