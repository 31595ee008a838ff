// The error that the calling thread is handling.
#pragma once

#include "core/error/XError.h"

/// Makes an error the thread's current one for a scope; the one before is current again afterwards.
class KY_API StSetCurrentException {
 public:
  /// Borrows:  `error` for the scope.
  explicit StSetCurrentException(const XError* error);
  ~StSetCurrentException();
  StSetCurrentException(const StSetCurrentException&) = delete;
  StSetCurrentException& operator=(const StSetCurrentException&) = delete;

 private:
  const XError* mSaved = nullptr;
};

/// A thread's current error, put by.
typedef const XError* xContext_t;

/// Gives the thread a clean current error for a nested region. Returns: what to hand to XSetContext afterwards.
KY_API xContext_t XNewContext();
KY_API void XSetContext(xContext_t context);

/// Queries of the thread's current error; outside a handler it is empty.
KY_API int ESFindLevel(const char* code);
KY_API int ESGetTopLevel();
KY_API Boolean ESStackEmpty();
KY_API const char* ESGetCode();
KY_API const char* ESGetLevelCode(int level);
KY_API Boolean ESGetParm(void* out, int level, const char* name);
KY_API Boolean ESGetParmAsString(char* buffer, int size, int level, const char* name, const char* format = nullptr);
KY_API void ESExpandString(char* buffer, int size, const char* text, int level);
KY_API void ESExpandString(char* buffer, int size, const char* text);

/// Start and end of the error system. There is nothing to do: it works from load on.
KY_API void ESInit();
KY_API void ESFinish();
