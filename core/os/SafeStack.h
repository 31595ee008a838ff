// A stack to fall back on.
#pragma once

#include "core/base/KyTypes.h"

/// Does nothing: every thread's stack grows by itself. Hosts call it last at start-up.
KY_API void InitZorvexSafeStack();
