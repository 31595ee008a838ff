// String handles: handles that hold a zero-terminated text, the zero counted in their size.
#pragma once

#include "core/base/KyTypes.h"

// What makes a handle or changes its size raises MEM_OUT_OF_MEMORY, with the handle as it was.

/// Always a fake handle. A null text gives an empty one.
KY_API char** KyNewSHdl(const char* text);
/// Takes a null.
KY_API void KyDisposeSHdl(char** h);
/// Returns:  0 for a null handle.
KY_API ULong KySHdlLength(char** const h);

// A source may lie in the handle that it goes to. Each returns the handle.

/// Copies into the present size, cutting, with a final zero. A null text gives an empty one; a null handle null.
KY_API char** KyStrToSHdl(char** h, const char* text);
/// Takes the text's size, then copies. A null text gives an empty one; a null handle null.
KY_API char** KyStrToSHdlGrow(char** h, const char* text);
/// As the Grow form, but a null text disposes `h` and gives null, and a null handle is made new.
KY_API char** KyStrToSHdlUpdate(char** h, const char* text);
/// KyStrToSHdl() of the text of `src`; a null `src` empties `dst`.
KY_API char** KySHdlToSHdl(char** dst, char** const src);
/// KyStrToSHdlGrow() of the text of `src`; a null `src` changes nothing.
KY_API char** KySHdlToSHdlGrow(char** dst, char** const src);
/// Appends. A null handle is made new; a null source changes nothing.
KY_API char** KyAppendStrToSHdl(char** h, const char* text);
KY_API char** KyAppendSHdlToSHdl(char** h, char** const src);

/// Copies at most `size` bytes, the last of them a zero. A null `src` gives an empty text; a null `dst` or 0 nothing.
///
/// Returns:  `dst`.
KY_API char* KySHdlToStr(char* dst, char** const src, Long size);
