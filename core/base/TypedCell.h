// One argument of a label and value list, with enough of its type kept to read it back.
#pragma once

#include <type_traits>

#include "core/base/KyTypes.h"

namespace ky {

/// What a list may hold: numbers, truth values, enumerators and pointers. A text is passed as its `const char*`.
template <class T>
concept CellValue = std::is_arithmetic_v<T> || std::is_enum_v<T> || std::is_pointer_v<T> || std::is_null_pointer_v<T>;

struct TypedCell {
  enum class Kind : std::uint8_t { Integer, Real, Pointer };

  Kind kind = Kind::Integer;
  union {
    Int64 integer = 0;
    double real;
    const void* pointer;
  };

  TypedCell() = default;
  template <CellValue T>
  explicit TypedCell(T value) {
    if constexpr (std::is_floating_point_v<T>) {
      kind = Kind::Real;
      real = static_cast<double>(value);
    } else if constexpr (std::is_null_pointer_v<T>) {
      kind = Kind::Pointer;
      pointer = nullptr;
    } else if constexpr (std::is_pointer_v<T>) {
      kind = Kind::Pointer;
      pointer = reinterpret_cast<const void*>(value);
    } else {
      integer = static_cast<Int64>(value);
    }
  }

  /// The cell as an address: a plain `0` is the null pointer, as in a C argument list.
  ///
  /// Returns:  null for a number too.
  const void* asPointer() const { return kind == Kind::Pointer ? pointer : nullptr; }
};

/// A list in argument order: label, value, label, value... and a null label, which may be missing.
struct CellList {
  const TypedCell* cells = nullptr;
  int count = 0;
};

}  // namespace ky
