// The integer types of the interface, and the marks that its declarations carry.
#pragma once

#include <bit>
#include <cstdarg>
#include <cstdint>

/// Exported from the shared library; everything else stays hidden.
#define KY_API __attribute__((visibility("default")))

/// Lets the compiler check a printf-like routine's arguments against its format.
#define KY_PRINTF(text, arguments) __attribute__((format(printf, text, arguments)))

static_assert(std::endian::native == std::endian::little, "the wire formats assume a little-endian host");

using Long = std::int32_t;
using ULong = std::uint32_t;
using Int64 = std::int64_t;
using UInt64 = std::uint64_t;

/// A `Long` that may carry an address: hints, search keys, context arguments, alias words.
using LongPtr = std::intptr_t;

/// One-byte truth value, as it lies in streams; any value but 0 is true.
using Boolean = unsigned char;

/// Four-character code, the first character in the most significant byte.
using Char4 = std::uint32_t;

/// Argument list of the three print routines that take one ready-made.
using KyVaList = va_list;

/// A routine that prints like printf; every dump and report writes through one.
typedef int (*KyPrint)(const char* format, ...) KY_PRINTF(1, 2);

/// The code that a four-character literal spells: `MakeChar4("OBJD")`.
constexpr Char4 MakeChar4(const char (&text)[5]) {
  Char4 code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}
