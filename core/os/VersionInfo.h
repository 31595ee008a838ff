// The version of the running program.
#pragma once

#include "core/base/KyTypes.h"

namespace ky {

/// What a host tells about itself.
struct ProgramVersion {
  short major = 0;
  short minor = 0;
  short patch = -1;      ///< left out of the text when negative
  char buildLetter = 0;  ///< left out of the text when 0
  short build = 0;
  const char* product = "Reelwright";
  const char* internalName = "Unknown";
  const char* fileVersion = "";  ///< the text of form 1
};

/// Borrows:  the texts, for good. Null for a program that tells nothing.
KY_API void setProgramVersion(const ProgramVersion* version);

}  // namespace ky

/// The program's version numbers, and its text: form 1 the file's own, form 3 the product's name and the numbers, any
/// other the numbers alone. `major`, `minor` and `text` may be null; `text` gets 30 characters at most.
///
/// Returns:  0 if the host told no version; the numbers are then 0 and the text is empty.
KY_API short GetVersionInfo(short* major, short* minor, char* text, short form);

/// Returns:  'D' for a build with checks for its developers, 'R' for a release.
KY_API char GetVersionBuildType();

/// Returns:  when this library was made, in seconds since 1970, as those who built it tell. Not when it was compiled:
///           the same sources give the same bytes.
KY_API ULong GetBuildTimeStamp();
