// The one exception of the library: a code that names the failure, and a shared stack of typed parameters.
//
//   if (end < wanted) +XError("STRM_EOF", "long wanted", wanted, "str stream", name, 0);
//
// Values are numbers, truth values and pointers; texts are copied into the error, so they need not outlive the raise.
#pragma once

#include <utility>

#include "core/base/KyTypes.h"
#include "core/error/ErrorStack.h"

namespace ky {
/// Writes the raise log's line for an error of these parts.
KY_API void logRaise(ErrorStackObj* stack, const char* code);
}  // namespace ky

class KY_API XError {
 public:
  struct FileLine {
    const char* file = nullptr;
    int line = 0;
  };

  /// No error.
  XError() noexcept = default;
  /// A null `code` gives no error, whatever follows. The code is not copied: see InternCode for one made at run time.
  template <ky::CellValue... List>
  explicit XError(const char* code, List... labelsAndValues) : mCode(code) {
    const ky::TypedCell cells[sizeof...(List) + 1] = {ky::TypedCell(labelsAndValues)...};
    mStack = newStack(code, {cells, sizeof...(List)});
  }
  XError(const XError& other) noexcept
      : mStack(other.share()), mCode(other.mCode), mFile(other.mFile), mLine(other.mLine) {}
  XError(XError&& other) noexcept
      : mStack(std::exchange(other.mStack, nullptr)),
        mCode(std::exchange(other.mCode, nullptr)),
        mFile(std::exchange(other.mFile, nullptr)),
        mLine(std::exchange(other.mLine, 0)) {}
  XError& operator=(const XError& other) noexcept { return *this = XError(other); }
  XError& operator=(XError&& other) noexcept {
    XError taken(std::move(other));
    std::swap(mStack, taken.mStack);
    mCode = taken.mCode;
    mFile = taken.mFile;
    mLine = taken.mLine;
    return *this;
  }
  ~XError() {
    if (mStack) mStack->RemoveReference();
  }

  /// Sets the code, and adds a level with parameters if it is not the top code already.
  template <ky::CellValue... List>
  void Push(const char* code, List... labelsAndValues) {
    const ky::TypedCell cells[sizeof...(List) + 1] = {ky::TypedCell(labelsAndValues)...};
    Push(code, ky::CellList{cells, sizeof...(List)});
  }
  void Push(const char* code, const ky::CellList& list);
  /// Takes the code of `other` and puts all its levels on top.
  void Push(const XError& other);
  /// Adds parameters to the top level.
  template <ky::CellValue... List>
  void AppendParms(const char* label, List... valuesAndLabels) {
    const ky::TypedCell cells[] = {ky::TypedCell(label), ky::TypedCell(valuesAndLabels)...};
    appendList({cells, sizeof...(List) + 1});
  }
  void SetFileAndLine(const FileLine& place);
  /// Gives this error a stack of its own, if others refer to it too.
  void ReallocateErrorStack();
  /// Copies of this error get a stack of their own from now on.
  void MarkUnshareable() {
    if (mStack) mStack->MarkUnshareable();
  }

  /// The newest level's code; null means no error.
  const char* GetCode() const { return mCode; }
  const char* GetFile() const { return mFile; }
  int GetLine() const { return mLine; }

  int GetTopLevel() const { return mStack ? mStack->GetTopLevel() : 0; }
  Boolean IsStackEmpty() const { return mStack ? mStack->IsStackEmpty() : true; }
  Boolean FindCode(const char* code) const { return mStack && mStack->FindCode(code); }
  int FindLevel(const char* code) const { return mStack ? mStack->FindLevel(code) : 0; }
  const char* GetLevelCode(int level) const { return mStack ? mStack->GetLevelCode(level) : nullptr; }
  Boolean GetParm(void* out, int level, const char* name) const { return mStack && mStack->GetParm(out, level, name); }
  Boolean GetParmAsString(char* buffer, int size, int level, const char* name, const char* format = nullptr) const;
  void ExpandString(char* buffer, int size, const char* text, int level) const;
  void ExpandString(char* buffer, int size, const char* text) const { ExpandString(buffer, size, text, GetTopLevel()); }

 private:
  XError(ErrorStackObj* stack, const char* code, const char* file, int line) noexcept
      : mStack(stack), mCode(code), mFile(file), mLine(line) {}
  static ErrorStackObj* newStack(const char* code, const ky::CellList& list);
  void appendList(const ky::CellList& list);
  ErrorStackObj* share() const noexcept {
    if (mStack && mStack->IsShareable()) [[likely]] {
      mStack->AddReference();
      return mStack;
    }
    return cloneStack();
  }
  ErrorStackObj* cloneStack() const noexcept;

  friend void operator+(XError&& error);
  friend void ky::logRaise(ErrorStackObj* stack, const char* code);

  ErrorStackObj* mStack = nullptr;
  const char* mCode = nullptr;
  const char* mFile = nullptr;
  int mLine = 0;
};

/// Raises `error`, if it is one: `+XError("DISK_EOF", "str filename", path, 0);`.
KY_API void operator+(const XError& error);

/// An error built where it is raised moves into the exception. All of it is inline, so that no frame lies between the
/// raising one and the throw, and so that the compiler sees the temporary empty by then: with nothing to clean up
/// there, a raise is as cheap as a bare throw.
[[gnu::always_inline]] inline void operator+(XError&& error) {
  if (!error.mCode) return;
  ErrorStackObj* const stack = std::exchange(error.mStack, nullptr);
  ky::logRaise(stack, error.mCode);
  throw XError(stack, error.mCode, error.mFile, error.mLine);
}

/// Raises with position: adds "str fname" and "long fline" to the top level.
KY_API void operator+(const XError::FileLine& place, XError& error);

namespace ky {
/// Writes the raise log's line for an error that travels on.
KY_API void logPropagate(const XError& error);

/// Adds a level and writes the raise log's line.
///
/// Returns:  false if there is nothing to raise.
KY_API bool addLevel(XError& caught, const char* code, const CellList& list);
}  // namespace ky

/// Passes a caught error on, even an empty one.
[[noreturn, gnu::always_inline]] inline void xraisexerror(const XError& error) {
  ky::logPropagate(error);
  throw XError(error);
}

/// Passes a caught error on with a level more. Returns if either has no code.
template <ky::CellValue... List>
[[gnu::always_inline]] inline void xreraise(XError& caught, const char* code, List... labelsAndValues) {
  const ky::TypedCell cells[sizeof...(List) + 1] = {ky::TypedCell(labelsAndValues)...};
  if (ky::addLevel(caught, code, {cells, sizeof...(List)})) throw XError(caught);
}

/// A code made at run time, kept for the life of the process; equal texts give one pointer.
KY_API const char* InternCode(const char* text);

/// Sets where each raise leaves a line; null, as at load, means nowhere.
KY_API void xSetLogFunc(int (*log)(const char* line));

/// Tells the raise log of an exception that is not this library's.
KY_API void xHandleNonXraiseException();

/// Sets who shows the texts given to xDisplay.
KY_API void xInstallDisplay(void (*display)(const char* text));
KY_API void xDisplay(const char* text);

/// A place for a debugger to stop at. Does nothing.
KY_API void XDebug(const char* text);
