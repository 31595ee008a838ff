// Saving over a document so that nothing can harm it.
#pragma once

#include <functional>

#include "core/base/KyTypes.h"

class AFileLocator;
class AStream;

namespace ky {

/// Has `write` fill a temporary file beside the document, and puts that in the document's place in one step, once it is
/// on the disk. Whatever fails, and wherever the process ends, the old document is whole.
///
/// The temporary file is "<document>~<process>-<number>". Those that ended processes left behind are removed first; one
/// that another save still fills is known by its lock.
///
/// Raises:   what the locator, the file and `write` raise, with no file left behind.
/// Borrows:  the stream for the call of `write`, which neither closes nor keeps it.
KY_API void safeSave(AFileLocator* document, const std::function<void(AStream* stream)>& write);

}  // namespace ky
