// The classic toolbox that a host may supply: real handles, resources, a beep.
#pragma once

#include "core/base/KyTypes.h"

namespace ky {

/// What a host's toolbox does. A library without one makes only fake handles and words errors plainly.
///
/// Threads:  the handle operations are called one at a time and only from threads marked as safe for the toolbox.
class KY_API Toolbox {
 public:
  virtual ~Toolbox() = default;

  /// Returns:  a real handle, or null if the memory is not there.
  virtual char** newHandle(Long size) = 0;
  virtual char** newHandleClear(Long size) = 0;
  /// Returns:  a handle with a null master pointer, or null.
  virtual char** newEmptyHandle() = 0;
  virtual void disposeHandle(char** handle) = 0;
  virtual Long handleSize(char** handle) = 0;
  /// Keeps the contents.
  ///
  /// Returns:  false with the handle as it was, if the memory is not there.
  virtual bool setHandleSize(char** handle, Long size) = 0;
  /// Loses the contents.
  ///
  /// Returns:  false with the handle as it was, if the memory is not there.
  virtual bool reallocHandle(char** handle, Long size) = 0;

  virtual void beep(short duration) { static_cast<void>(duration); }

  /// Returns:  a handle on the resource's bytes as they are stored (an 'STR ' is a length byte and its text), or null.
  /// Owns:     the caller, until releaseResource().
  virtual char** namedResource(Char4 type, const char* name) {
    return static_cast<void>(type), static_cast<void>(name), nullptr;
  }
  virtual char** numberedResource(Char4 type, short number) {
    return static_cast<void>(type), static_cast<void>(number), nullptr;
  }
  /// Returns:  how the last look-up went; 0 is well.
  virtual short resourceError() { return 0; }
  virtual Long resourceSize(char** resource) { return static_cast<void>(resource), 0; }
  virtual void releaseResource(char** resource) { static_cast<void>(resource); }

  /// Called once, when the library is unloaded.
  virtual void finalRoutine() {}
};

/// Borrows:  `toolbox` until another one, or null, is installed, and else beyond the end of the program's own statics.
/// Returns:  the one installed before, or null.
/// Threads:  at start, before a second thread uses handles.
KY_API Toolbox* installToolbox(Toolbox* toolbox);

/// Returns:  the installed toolbox, or null.
KY_API Toolbox* toolbox();

/// Finds the message template of an error code where no toolbox has resources.
///
/// Returns:  a text that stays valid, or null.
using TemplateLookup = const char* (*)(const char* code);

/// A null `lookup` finds nothing, as at load.
KY_API void installTemplateLookup(TemplateLookup lookup);

/// Returns:  what the installed look-up gives, or null.
KY_API const char* lookUpTemplate(const char* code);

}  // namespace ky
