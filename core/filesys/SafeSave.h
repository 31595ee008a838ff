// Saving over a document so that nothing can harm it.
#pragma once

#include <functional>

#include "core/base/KyTypes.h"

class AFileLocator;
class AStream;
struct fileRec_t;

namespace ky {

/// Has `write` fill a temporary file beside the document, and puts that in the document's place in one step, once it is
/// on the disk. Whatever fails, and wherever the process ends, the old document is whole.
///
/// A link is followed to the document that it leads to. A device or a pipe cannot be replaced and is written to as it
/// is.
///
/// The temporary file is "<document>~<process>-<number>". Those that ended processes left behind are removed first; one
/// that another save still fills is known by its lock.
///
/// Raises:   what the locator, the file and `write` raise, with no file left behind; DISK_ACCESS_DENIED for a folder
///           and for a document that is locked against writing.
/// Borrows:  the stream for the call of `write`, which neither closes nor keeps it.
KY_API void safeSave(AFileLocator* document, const std::function<void(AStream* stream)>& write);

/// The same for one who fills the file itself. With `accessOf` the new file may be used as that one may be, and not as
/// the one that it replaces.
///
/// Raises:   DISK_FILE_ALREADY_EXISTS without `replace`.
KY_API void safeReplace(AFileLocator* document, bool replace, const char* accessOf,
                        const std::function<void(fileRec_t** file)>& fill);

}  // namespace ky
