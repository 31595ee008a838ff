// The trace of AStream: one line of text for each operation.
#include <cstdint>

#include "core/utils/StreamWire.h"

// A line of the trace around the format of its value.
#define TRACE_LINE(value) " %*s%-16s %-16s: " value "\n"

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
  const KyPrint print = s.traceFunc;
  const int indent = s.traceIndent;
  const char* const name = textOf(label);
  switch (tag) {
    case booleanTag:
      print(TRACE_LINE("%s"), indent, "", "Boolean", name, valueAt<Boolean>(value) ? "True" : "False");
      break;
    case charTag:
      print(TRACE_LINE("%d"), indent, "", "char", name, int(valueAt<char>(value)));
      break;
    case ucharTag:
      print(TRACE_LINE("0x%02X"), indent, "", "uchar", name, unsigned(valueAt<unsigned char>(value)));
      break;
    case shortTag:
      print(TRACE_LINE("%hd"), indent, "", "short", name, valueAt<short>(value));
      break;
    case ushortTag:
      print(TRACE_LINE("0x%04hX"), indent, "", "ushort", name, valueAt<unsigned short>(value));
      break;
    case longTag:
      print(TRACE_LINE("%ld"), indent, "", "long", name, long(valueAt<Long>(value)));
      break;
    case ulongTag:
      print(TRACE_LINE("0x%08lX"), indent, "", "ulong", name, static_cast<unsigned long>(valueAt<ULong>(value)));
      break;
    case char4Tag: {
      const Char4 code = valueAt<Char4>(value);
      print(TRACE_LINE("'%c%c%c%c'"), indent, "", "ulong", name, int(code >> 24 & 0xFF), int(code >> 16 & 0xFF),
            int(code >> 8 & 0xFF), int(code & 0xFF));
      break;
    }
    case floatTag:
      print(TRACE_LINE("%f"), indent, "", "float", name, double(valueAt<float>(value)));
      break;
    case doubleTag:
      print(TRACE_LINE("%lf"), indent, "", "double", name, valueAt<double>(value));
      break;
    case rationalTag:  // its eight bytes, taken for a double
      print(TRACE_LINE("%lf"), indent, "", "Rational", name, valueAt<double>(value));
      break;
    case int64Tag:
    case uint64Tag: {
      const auto bits = valueAt<UInt64>(value);
      print(TRACE_LINE("0x%08lX 0x%08lX"), indent, "", tag == int64Tag ? "int64" : "uint64", name,
            static_cast<unsigned long>(bits >> 32), static_cast<unsigned long>(bits & 0xFFFFFFFF));
      break;
    }
    default:
      break;
  }
}

void StreamWire::traceMark(const AStream& s, const char* word, const char* label, int value) {
  s.traceFunc(TRACE_LINE("%d"), s.traceIndent, "", word, label, value);
}

void StreamWire::traceString(const AStream& s, const char* label, const char* string) {
  s.traceFunc(TRACE_LINE("\"%s\""), s.traceIndent, "", "string", textOf(label), string);
}

void StreamWire::traceNull(const AStream& s, const char* label) {
  s.traceFunc(TRACE_LINE("%s"), s.traceIndent, "", "string", textOf(label), "NULL");
}

void StreamWire::traceLength(const AStream& s, const char* label, Long length) {
  s.traceFunc(TRACE_LINE("%ld"), s.traceIndent, "", "bytes len", textOf(label), long(length));
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
