// The trace of AStream: one line of text for each operation.
#include "core/utils/StreamWire.h"

// Prints a line of the trace; a macro, so that the compiler sees the format of the value.
#define PRINT_LINE(word, label, format, ...) \
  (void)s.traceFunc(" %*s%-16s %-16s: " format "\n", s.traceIndent, "", word, textOf(label), __VA_ARGS__)

using namespace ky;

namespace {

constexpr int dumpRow = 16;
constexpr int dumpIndent = 36;  // the width of a line ahead of its value

const char* textOf(const char* label) { return label ? label : ""; }

template <class T>
T valueAt(const void* value) {
  T copy;
  std::memcpy(&copy, value, sizeof copy);
  return copy;
}

}  // namespace

void StreamWire::traceValue(const AStream& s, Tag tag, const char* label, const void* value) {
  switch (tag) {
    case booleanTag:
      return PRINT_LINE("Boolean", label, "%s", valueAt<Boolean>(value) ? "True" : "False");
    case charTag:
      return PRINT_LINE("char", label, "%d", int(valueAt<char>(value)));
    case ucharTag:
      return PRINT_LINE("uchar", label, "0x%02X", unsigned(valueAt<unsigned char>(value)));
    case shortTag:
      return PRINT_LINE("short", label, "%hd", valueAt<short>(value));
    case ushortTag:
      return PRINT_LINE("ushort", label, "0x%04hX", valueAt<unsigned short>(value));
    case longTag:
      return PRINT_LINE("long", label, "%ld", long(valueAt<Long>(value)));
    case ulongTag:
      return PRINT_LINE("ulong", label, "0x%08lX", static_cast<unsigned long>(valueAt<ULong>(value)));
    case char4Tag: {
      const Char4 code = valueAt<Char4>(value);
      return PRINT_LINE("ulong", label, "'%c%c%c%c'", int(code >> 24 & 0xFF), int(code >> 16 & 0xFF),
                        int(code >> 8 & 0xFF), int(code & 0xFF));
    }
    case floatTag:
      return PRINT_LINE("float", label, "%f", double(valueAt<float>(value)));
    case doubleTag:
      return PRINT_LINE("double", label, "%lf", valueAt<double>(value));
    case rationalTag:  // its eight bytes, taken for a double
      return PRINT_LINE("Rational", label, "%lf", valueAt<double>(value));
    case int64Tag:
    case uint64Tag: {
      const auto bits = valueAt<UInt64>(value);
      return PRINT_LINE(tag == int64Tag ? "int64" : "uint64", label, "0x%08lX 0x%08lX",
                        static_cast<unsigned long>(bits >> 32), static_cast<unsigned long>(bits & 0xFFFFFFFF));
    }
    default:
      return;
  }
}

void StreamWire::traceMark(const AStream& s, const char* word, const char* label, int value) {
  PRINT_LINE(word, label, "%d", value);
}

void StreamWire::traceString(const AStream& s, const char* label, const char* string) {
  PRINT_LINE("string", label, "\"%s\"", string);
}

void StreamWire::traceNull(const AStream& s, const char* label) { PRINT_LINE("string", label, "%s", "NULL"); }

void StreamWire::traceLength(const AStream& s, const char* label, Long length) {
  PRINT_LINE("bytes len", label, "%ld", long(length));
}

void StreamWire::traceBytes(const AStream& s, const char* label, const void* bytes, Long length) {
  const auto* const data = static_cast<const unsigned char*>(bytes);
  s.traceFunc(" %*s%-16s %-16s: ", s.traceIndent, "", "bytes", textOf(label));
  for (Long i = 0; i < length; ++i) {
    if (i > 0 && i % dumpRow == 0) s.traceFunc("\n%*s", s.traceIndent + dumpIndent, "");
    s.traceFunc("%X%X", data[i] >> 4, data[i] & 0xF);
    if (i % 2 == 1 && i % dumpRow != dumpRow - 1) s.traceFunc(" ");
  }
  s.traceFunc("\n");
}

void StreamWire::tracePosition(const AStream& s, Long position) {
  s.traceFunc("%*sSetPosition(%ld)\n", s.traceIndent, "", long(position));
}
