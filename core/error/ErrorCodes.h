// Every error code of the library, for those who word them.
#pragma once

#include <span>

#include "core/base/KyTypes.h"

namespace ky {

struct ErrorCode {
  const char* code;
  const char* parameters;  ///< labels of the level that carries the code, in order, separated by ", "
};

/// The codes that the library raises, or keeps for its clients, in the order of their areas. Whoever keeps message
/// templates can see which are missing. A code that is a sentence needs no template and is not among them.
KY_API std::span<const ErrorCode> errorCodes();

}  // namespace ky
