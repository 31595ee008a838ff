// What type a file is: by its extension, or by the object document inside.
#pragma once

#include <optional>
#include <string_view>

#include "core/base/KyTypes.h"

namespace ky {

inline constexpr Char4 kUnknownFileType = MakeChar4("ZVrf");

/// Case does not count.
std::optional<Char4> typeOfExtension(std::string_view extension);

/// Returns:  the extension that files of the type are given, null for a type whose files are left alone.
const char* extensionOfType(Char4 type);

/// The start of a file. That of an object document ends with its type; every number lies in the order of the host that
/// wrote it.
struct DocumentStart {
  static constexpr Long kSize = 71;
  unsigned char bytes[kSize];

  /// Returns:  kUnknownFileType for what is no object document, 'ZVxx' for one too old to tell.
  /// Raises:   DOMAIN_BAD_STRM_DATA for a damaged one.
  Char4 type() const;

 private:
  Char4 code(std::size_t at, bool isSwapped) const;
  bool isSwapped() const;
  bool areFieldsSwapped() const;
};

}  // namespace ky
