// Paths as text: the canonical form that travels between hosts, and the native form of this one.
//
// The canonical form has '/' as its only separator. The rules of both styles of native path stand on every host; the
// exported routines follow the style of the host they run on.
#pragma once

#include <string>
#include <string_view>

#include "core/base/KyTypes.h"

/// Rewrites `path` in place in the host's form, and gives in `*name` where its last component begins.
///
/// In the Windows style each '/' becomes a backslash, and a character that no name may hold there becomes '~'; a
/// leading drive is kept. In the POSIX style nothing changes, for there '\' and ':' are characters of names.
///
/// Borrows:  `*name` points into `path`; `name` may be null.
KY_API void CanonicalPathToNative(char* path, char** name);

/// Rewrites a native path in place with '/' as its only separator. At most `length` bytes are looked at.
///
/// Requires: "pathName != NULL".
KY_API void NativePathToCanonical(char* pathName, Long length);

/// The same for the name of one file.
KY_API void NativeNameToCanonical(char* name, Long length);

namespace ky {

enum class PathStyle { posix, windows };

/// The style of the host that the program runs on.
KY_API PathStyle hostPathStyle();

/// A native path, its terminator included.
inline constexpr int kPathSize = 1024;

constexpr char separatorOf(PathStyle style) { return style == PathStyle::windows ? '\\' : '/'; }

KY_API void canonicalToNative(char* path, char** name, PathStyle style);
KY_API void nativeToCanonical(char* path, Long length, PathStyle style);

/// Whether a file or folder may be made under the name: a name with one of "*/:<>?\| is refused on every host, so that
/// projects travel.
KY_API bool isPortableName(std::string_view name);

/// The parts of a path, whose characters stand in one another's order: folder, name, extension.
struct PathParts {
  std::string_view folder;     ///< with the separator behind it; "" for a bare name
  std::string_view stem;       ///< the name without its extension
  std::string_view extension;  ///< from the name's last full stop on; "" if it has none
  std::string_view name;       ///< stem and extension
};
KY_API PathParts partsOf(std::string_view path, PathStyle style = hostPathStyle());

/// The folder that `path` lies in, without a separator at its end unless it is a root. "" for a bare name; a root lies
/// in itself.
KY_API std::string parentOf(std::string_view path, PathStyle style = hostPathStyle());

/// `folder` and `name` with one separator between them; an empty folder leaves the bare name.
KY_API std::string joined(std::string_view folder, std::string_view name, PathStyle style = hostPathStyle());

}  // namespace ky
