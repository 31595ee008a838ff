// Start-up of the object system.
#pragma once

#include "core/base/KyTypes.h"

/// Registers the library's domains and persistent classes. A second call does nothing.
KY_API void ObjectSystemClassInit();

/// Does nothing; hosts call it behind ObjectSystemClassInit.
KY_API void UndoSystemClassInit();
