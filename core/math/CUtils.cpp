#include "core/math/CUtils.h"

#include <cstring>

namespace {

unsigned char lowered(char c) {
  const auto u = static_cast<unsigned char>(c);
  return u >= 'A' && u <= 'Z' ? static_cast<unsigned char>(u + ('a' - 'A')) : u;
}

}  // namespace

int CIstrcmp(const char* a, const char* b) {
  for (;; ++a, ++b) {
    const int difference = lowered(*a) - lowered(*b);
    if (difference != 0 || *a == '\0') return difference;
  }
}

void strncpyz(char* to, const char* from, Long size) {
  if (size < 1) return;
  const std::size_t length = strnlen(from, static_cast<std::size_t>(size - 1));
  std::memmove(to, from, length);
  to[length] = '\0';
}

Boolean issubstr(const char* needle, const char* text) {
  const char* wanted = needle;
  while (*wanted != '\0') {
    if (*text == '\0') return 0;
    if (lowered(*text) == lowered(*wanted)) {
      ++wanted;
      ++text;
    } else if (wanted != needle) {
      wanted = needle;
    } else {
      ++text;
    }
  }
  return 1;
}
