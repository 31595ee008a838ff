// The creator code that new files of this process carry.
#pragma once

#include "core/base/KyTypes.h"

/// Requires: that one was set, else fatal "Default File Creator not set".
KY_API Char4 GetDefaultFileCreator();
KY_API void SetDefaultFileCreator(Long creator);
