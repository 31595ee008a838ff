// Facts about the machine.
#pragma once

#include <string>

#include "core/base/KyTypes.h"

namespace ky::platform {

/// Text that tells this machine from others and stays the same from start to start: its machine identifier, or its name
/// on the network where it has none. Never empty.
KY_API std::string hostIdentifier();

}  // namespace ky::platform
