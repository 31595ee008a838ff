#include "apps/support/Progress.h"

#include <algorithm>
#include <cstdio>

#include "platform/Clock.h"

namespace support {
namespace {

constexpr Long kWidth = 20;
constexpr Long kPiece = 4;
constexpr Int64 kQuiet = 500000;  // microseconds, as below
constexpr Int64 kPause = 100000;

Int64 begun = 0;  // 0 between two pieces of work
Int64 drawn = 0;  // 0 with no bar to be seen
Long steps = 0;

void draw(const char* msg, Long done, Long total) {
  const Int64 now = KyMicroseconds();
  if (begun == 0) begun = now;
  if (now - begun < kQuiet || now - drawn < kPause) return;
  drawn = now;
  std::fprintf(stderr, "\r%s\033[K", progressBar(msg, total > 0 ? done : steps++, total).c_str());
  std::fflush(stderr);
}

void wipe() {
  if (drawn != 0) std::fputs("\r\033[K", stderr);
  begun = drawn = 0;
  steps = 0;
}

Boolean showWaiting(Boolean, Long) {
  draw("", 0, 0);
  return 0;
}

Boolean showTherm(const char* msg, Long newsofar, Long newtotal, Boolean) {
  draw(msg, newsofar, newtotal);
  return 0;
}

}  // namespace

UIrtns progressRoutines() { return {showWaiting, showTherm, wipe, wipe}; }

std::string progressBar(const char* msg, Long done, Long total) {
  std::string bar(kWidth, ' ');
  if (total <= 0) {
    bar.replace(static_cast<std::size_t>(done % (kWidth - kPiece + 1)), kPiece, kPiece, '#');
    return "[" + bar + "]";
  }
  const Int64 part = std::clamp<Int64>(done, 0, total);
  std::fill_n(bar.begin(), part * kWidth / total, '#');
  char percent[16];
  std::snprintf(percent, sizeof percent, "] %3d%%  ", static_cast<int>(part * 100 / total));
  return "[" + bar + percent + msg;
}

}  // namespace support
