#include "core/mem/KyStringHandles.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/mem/KyHandles.h"
#include "core/mem/PtrBlocks.h"

namespace {

/// The largest text that a handle holds, with its end.
constexpr Long kMost = INT32_MAX - 1;

Long lengthOf(const char* text) {
  const std::size_t length = text ? std::strlen(text) : 0;
  if (length > std::size_t{kMost}) ky::raiseOutOfMemory();
  return static_cast<Long>(length);
}

// The text of a handle that may be empty.
const char* textOf(char** const h) { return *h ? *h : ""; }

}  // namespace

char** KyNewSHdl(const char* text) {
  const char* const source = text ? text : "";
  char** h = nullptr;
  KyPtrToHandZorvex(source, &h, lengthOf(source) + 1);
  return h;
}

void KyDisposeSHdl(char** h) {
  if (h) KyDisposeHandle(h);
}

ULong KySHdlLength(char** const h) { return h ? static_cast<ULong>(lengthOf(*h)) : 0; }

char** KyStrToSHdl(char** h, const char* text) {
  if (!h) return nullptr;
  const Long size = KyGetHandleSize(h);
  if (size == 0) return h;
  const Long length = std::min(lengthOf(text), size - 1);
  if (length > 0) std::memmove(*h, text, static_cast<std::size_t>(length));
  (*h)[length] = 0;
  return h;
}

char** KyStrToSHdlGrow(char** h, const char* text) {
  if (!h) return nullptr;
  const char* const source = text ? text : "";
  KyPtrToXHand(source, h, lengthOf(source) + 1);
  return h;
}

char** KyStrToSHdlUpdate(char** h, const char* text) {
  if (!text) {
    KyDisposeSHdl(h);
    return nullptr;
  }
  if (h) return KyStrToSHdlGrow(h, text);
  KyPtrToHand(text, &h, lengthOf(text) + 1);
  return h;
}

char** KySHdlToSHdl(char** dst, char** const src) { return KyStrToSHdl(dst, src ? textOf(src) : nullptr); }

char** KySHdlToSHdlGrow(char** dst, char** const src) { return src ? KyStrToSHdlGrow(dst, textOf(src)) : dst; }

char** KyAppendStrToSHdl(char** h, const char* text) {
  if (!text) return h;
  if (!h) return KyNewSHdl(text);
  const Long length = lengthOf(*h);
  const Long added = lengthOf(text);
  if (added > kMost - length) ky::raiseOutOfMemory();
  // The old end gives way last: a text that lies in the handle ends there.
  const bool within = *h && text >= *h && text <= *h + length;
  const Long offset = within ? static_cast<Long>(text - *h) : 0;
  KySetHandleSize(h, length + added + 1);
  std::memcpy(*h + length, within ? *h + offset : text, static_cast<std::size_t>(added));
  (*h)[length + added] = 0;
  return h;
}

char** KyAppendSHdlToSHdl(char** h, char** const src) { return KyAppendStrToSHdl(h, src ? textOf(src) : nullptr); }

char* KySHdlToStr(char* dst, char** const src, Long size) {
  if (!dst || size <= 0) return dst;
  const char* const text = src ? textOf(src) : "";
  const Long length = std::min(lengthOf(text), size - 1);
  std::memcpy(dst, text, static_cast<std::size_t>(length));
  dst[length] = 0;
  return dst;
}
