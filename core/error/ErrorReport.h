// Words for the current error, from the message templates that the application's resources hold.
#pragma once

#include "core/base/KyTypes.h"

/// Words the top level: its code's template filled from its parameters, or the default line if there is no template.
/// Empty if there is no current error.
///
/// Requires: "codePtr != NULL".
KY_API void EMGetErrorMsg(char* buffer, int size);

/// Words an inner level. Its template sees the top level's parameters; the default line has its own.
KY_API void EMGetErrorMsgLevel(char* buffer, int size, int level);
