#include "apps/support/Progress.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "core/error/UIHooks.h"
#include "platform/Clock.h"
#include "platform/Host.h"

namespace support {
namespace {

constexpr Int64 kLength = 20;
constexpr Int64 kPiece = 4;
constexpr int kWidth = 80;
constexpr Int64 kQuiet = 500000;  // microseconds, as below
constexpr Int64 kPause = 100000;

Int64 begun = 0;  // 0 between two pieces of work
Int64 drawn = 0;  // 0 with no bar to be seen
Int64 steps = 0;
Progress* innermost = nullptr;

/// Tells whether it is time to draw the bar anew.
bool isDue() {
  const Int64 now = KyMicroseconds();
  if (begun == 0) begun = now;
  if (now - begun < kQuiet || now - drawn < kPause) return false;
  drawn = now;
  return true;
}

void draw(const std::string& what, Int64 done, Int64 total) {
  const int width = ky::platform::errorTerminalWidth();
  const std::string bar = progressBar(what, total > 0 ? done : steps++, total, width > 0 ? width : kWidth);
  std::fprintf(stderr, "\r%s\033[K", bar.c_str());
  std::fflush(stderr);
}

void wipe() {
  if (drawn != 0) std::fputs("\r\033[K", stderr);
  begun = drawn = 0;
  steps = 0;
}

Boolean showTherm(const char* msg, Long newsofar, Long newtotal, Boolean) {
  if (isDue()) draw(msg, newsofar, newtotal);
  return 0;
}

}  // namespace

UIrtns progressRoutines() { return {Progress::showWaiting, showTherm, wipe, wipe}; }

Progress::Progress(std::string text, Int64 end, std::function<Int64()> ask)
    : what(std::move(text)), total(end), done(std::move(ask)), outer(std::exchange(innermost, this)) {}

Progress::~Progress() { innermost = outer; }

Boolean Progress::showWaiting(Boolean, Long) {
  const Int64 so = innermost ? innermost->done() : 0;
  if (isDue()) draw(innermost ? innermost->what : "", so, innermost ? innermost->total : 0);
  return 0;
}

void showStep(const char* what, Int64 step, Int64 done, Int64 total) {
  if (step % 1000 == 0) DisplayTherm(what, static_cast<Long>(done), static_cast<Long>(total), 0);
}

std::string progressBar(const std::string& what, Int64 done, Int64 total, int width) {
  std::string bar(kLength, ' ');
  if (total <= 0) {
    bar.replace(static_cast<std::size_t>(done % (kLength - kPiece + 1)), kPiece, kPiece, '#');
    bar = "[" + bar + "]  ";
  } else {
    const Int64 part = std::clamp<Int64>(done, 0, total);
    std::fill_n(bar.begin(), part * kLength / total, '#');
    char percent[16];
    std::snprintf(percent, sizeof percent, "] %3d%%  ", static_cast<int>(part * 100 / total));
    bar = "[" + bar + percent;
  }
  // A line that is full would break, and the next one would not be drawn over it.
  return (bar + what).substr(0, static_cast<std::size_t>(std::max(width - 1, 0)));
}

}  // namespace support
