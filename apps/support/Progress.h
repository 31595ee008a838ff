// A bar on standard error that shows that long work goes on.
#pragma once

#include <string>

#include "core/error/UIRoutines.h"

namespace support {

/// The routines that draw it. Work that is done within half a second shows none; the close routine wipes it away.
///
/// Threads:  the main one.
UIrtns progressRoutines();

/// "[#####               ]  25%  Loading" as far as the total is known; otherwise, with a total of 0, a piece that
/// moves on with `done`.
std::string progressBar(const char* msg, Long done, Long total);

}  // namespace support
