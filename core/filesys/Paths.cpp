#include "core/filesys/Paths.h"

#include <algorithm>
#include <cstring>

#include "core/error/Assert.h"
#include "platform/Files.h"

using namespace ky;

namespace {

bool isSeparator(char c, PathStyle style) { return c == '/' || (style == PathStyle::windows && c == '\\'); }

/// How many characters of a path's start no component may be cut from: "/", "c:", "c:\" or the two in front of a
/// server.
std::size_t rootLength(std::string_view path, PathStyle style) {
  const auto isAt = [&](std::size_t i) { return path.size() > i && isSeparator(path[i], style); };
  if (style == PathStyle::posix) return isAt(0);
  if (isAt(0)) return isAt(1) ? 2 : 1;
  if (path.size() < 2 || path[1] != ':') return 0;
  return isAt(2) ? 3 : 2;
}

/// Where the last component begins; separators behind it do not count.
std::size_t lastComponent(std::string_view path, PathStyle style) {
  std::size_t end = path.size();
  while (end > 0 && isSeparator(path[end - 1], style)) --end;
  while (end > 0 && !isSeparator(path[end - 1], style)) --end;
  return std::max(end, std::min(rootLength(path, style), path.size()));
}

}  // namespace

PathStyle ky::hostPathStyle() { return platform::backslashSeparates() ? PathStyle::windows : PathStyle::posix; }

void ky::canonicalToNative(char* path, char** name, PathStyle style) {
  if (style == PathStyle::windows) {
    char* at = path;
    if (path[0] == '\\' && path[1] == '\\') at += 2;
    if (path[0] && path[1] == ':') at += 2;
    for (; *at; ++at) {
      if (*at == '/') {
        *at = '\\';
      } else if (std::strchr("\\:*?\"<>|", *at)) {
        *at = '~';
      }
    }
  }
  if (name) *name = path + lastComponent(path, style);
}

void ky::nativeToCanonical(char* path, Long length, PathStyle style) {
  if (!check(path != nullptr, "pathName != NULL") || style == PathStyle::posix) return;
  char* const end = path + std::max<Long>(length, 0);
  for (char* at = path; at != end && *at; ++at) {
    if (*at == '\\' || *at == ':') *at = '/';
  }
}

void CanonicalPathToNative(char* path, char** name) { canonicalToNative(path, name, hostPathStyle()); }

void NativePathToCanonical(char* path, Long length) { nativeToCanonical(path, length, hostPathStyle()); }

void NativeNameToCanonical(char* name, Long length) { nativeToCanonical(name, length, hostPathStyle()); }

bool ky::isPortableName(std::string_view name) {
  return name.find_first_of("\"*/:<>?\\|") == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

PathParts ky::partsOf(std::string_view path, PathStyle style) {
  std::size_t begin = path.size();
  while (begin > rootLength(path, style) && !isSeparator(path[begin - 1], style)) --begin;
  PathParts parts;
  parts.folder = path.substr(0, begin);
  parts.name = path.substr(begin);
  const std::size_t stop = std::min(parts.name.rfind('.'), parts.name.size());
  parts.stem = parts.name.substr(0, stop);
  parts.extension = parts.name.substr(stop);
  return parts;
}

std::string ky::parentOf(std::string_view path, PathStyle style) {
  const std::size_t root = rootLength(path, style);
  std::size_t end = lastComponent(path, style);
  while (end > root && isSeparator(path[end - 1], style)) --end;
  return std::string(path.substr(0, end));
}

std::string ky::joined(std::string_view folder, std::string_view name, PathStyle style) {
  std::string path(folder);
  if (!path.empty() && !isSeparator(path.back(), style)) path += separatorOf(style);
  return path.append(name);
}
