#include "core/utils/MetaBase.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "core/error/XError.h"

using namespace ky;

namespace {

// A slot of a packed frame holds any word or address of the host; only a "double" may take more.
using Slot = LongPtr;

// Values narrower than four bytes lie in cells of four: callers copy that many for all but "Boolean" and "Byte".
template <class T>
using Cell = std::conditional_t<(sizeof(T) < sizeof(Long)), std::conditional_t<std::is_signed_v<T>, Long, ULong>, T>;

// A type's latest result; each type and thread has its own.
template <class Type>
void* kept(typename Type::Value value) {
  static thread_local Cell<typename Type::Value> cell;
  cell = value;
  return &cell;
}

template <class T>
T readAs(const void* value) {
  T read;
  std::memcpy(&read, value, sizeof read);
  return read;
}

// A print format out of a message template, allowed only if its conversions are of the type's own class. Length
// modifiers are taken out, so that the argument's size is this file's own business.
class PrintFormat {
 public:
  PrintFormat(const char* format, const char* fallback, const char* conversions, int count = 1) {
    if (!format || !parse(format, conversions, count)) parse(fallback, conversions, count);
  }

  const char* text() const { return mText; }
  char conversion() const { return mConversion; }
  int halvings() const { return mHalvings; }

 private:
  bool parse(const char* format, const char* conversions, int count) {
    mUsed = 0;
    int found = 0;
    while (*format && mUsed < kLongest) {
      if (*format != '%' || format[1] == '%') {
        if (*format == '%') add(*format++);
        add(*format++);
      } else {
        format = conversion(format, conversions);
        if (!format) return false;
        ++found;
      }
    }
    mText[mUsed] = 0;
    return !*format && found == count;
  }

  // One conversion, from its '%' on. Returns: the text behind it, or null if it is not to be had.
  const char* conversion(const char* format, const char* conversions) {
    add(*format++);
    const std::size_t plain = std::strspn(format, "-+ #0123456789.");
    if (plain > 8) return nullptr;
    for (std::size_t i = 0; i < plain; ++i) add(*format++);
    for (mHalvings = 0; *format && std::strchr("hlLjztq", *format); ++format) mHalvings += *format == 'h';
    if (!*format || !std::strchr(conversions, *format)) return nullptr;
    mConversion = *format;
    if (std::strchr("dioxXu", mConversion)) add('l'), add('l');
    add(mConversion);
    return format + 1;
  }

  void add(char c) { mText[mUsed++] = c; }

  static constexpr int kLongest = 100;
  char mText[kLongest + 16] = {};
  int mUsed = 0;
  char mConversion = 0;
  int mHalvings = 0;
};

template <class Narrow>
Int64 extended(Int64 value, bool asSigned) {
  if (asSigned) return static_cast<std::make_signed_t<Narrow>>(value);
  return static_cast<Int64>(static_cast<std::make_unsigned_t<Narrow>>(value));
}

template <class T>
int printInteger(char* dst, const char* format, const char* fallback, T value) {
  const PrintFormat checked(format, fallback, "dioxXuc");
  if (checked.conversion() == 'c') return std::snprintf(dst, MBPrintRoom, checked.text(), static_cast<int>(value));
  const bool asSigned = std::strchr("di", checked.conversion()) != nullptr;
  Int64 wide = extended<Cell<T>>(static_cast<Int64>(value), asSigned);
  if (checked.halvings() == 1) wide = extended<short>(wide, asSigned);
  if (checked.halvings() > 1) wide = extended<signed char>(wide, asSigned);
  return std::snprintf(dst, MBPrintRoom, checked.text(), static_cast<long long>(wide));
}

// An empty text is the end of input and no mismatch: it scans as zero.
void mustMatch(int matched) {
  if (matched == 0) +XError("MB_SCAN_MISMATCM");
}

/// A text as an argument of a template.
template <std::size_t N>
struct Literal {
  constexpr Literal(const char (&from)[N]) { std::copy_n(from, N, text); }
  char text[N];
};

/// A type whose values are no integers, or that brings its own procedures.
template <class V>
struct Plain {
  using Value = V;
};
using Float = Plain<float>;
using Double = Plain<double>;
using FourChars = Plain<Char4>;
using Truth = Plain<Boolean>;

/// An integer type: what a value is cut to, how it prints, and what `kScan` reads into.
template <class V, Literal kPrint, class S, Literal kScan>
struct Integer {
  using Value = V;
  using Scanned = S;
  static constexpr auto print = kPrint;
  static constexpr auto scan = kScan;
};
using Ptr = Integer<LongPtr, "%#lx", unsigned long long, "%llx">;
using Int = Integer<Long, "%d", int, "%d">;
using UInt = Integer<ULong, "%x", unsigned, "%x">;
using LongInt = Integer<Long, "%ld", int, "%d">;
using ULongInt = Integer<ULong, "%#lx", unsigned, "%x">;
using Byte = Integer<signed char, "%d", int, "%d">;
using Char = Integer<char, "%c", char, "%c">;
using UChar = Integer<unsigned char, "%x", char, "%c">;
using Short = Integer<short, "%hd", short, "%hd">;
using UShort = Integer<unsigned short, "%#hx", unsigned short, "%hx">;

template <class Type>
void* pullWord(char** cursor) {
  const auto slot = readAs<Slot>(*cursor);
  *cursor += sizeof slot;
  return kept<Type>(static_cast<typename Type::Value>(slot));
}

template <class Type>
short pushWord(char* dst, const void* value) {
  const auto slot = static_cast<Slot>(readAs<typename Type::Value>(value));
  std::memcpy(dst, &slot, sizeof slot);
  return sizeof slot;
}

template <class Type>
int printWord(char* dst, const char* format, const void* value) {
  return printInteger(dst, format, Type::print.text, readAs<typename Type::Value>(value));
}

template <class Type>
void* scanWord(const char* text) {
  typename Type::Scanned scanned{};
  mustMatch(std::sscanf(text, Type::scan.text, &scanned));
  return kept<Type>(static_cast<typename Type::Value>(scanned));
}

template <class Type>
constexpr std::size_t realBytes = std::max(sizeof(typename Type::Value), sizeof(Slot));

template <class Type>
void* pullReal(char** cursor) {
  const auto value = readAs<typename Type::Value>(*cursor);
  *cursor += realBytes<Type>;
  return kept<Type>(value);
}

template <class Type>
short pushReal(char* dst, const void* value) {
  std::memset(dst, 0, realBytes<Type>);
  std::memcpy(dst, value, sizeof(typename Type::Value));
  return realBytes<Type>;
}

template <class Type>
int printReal(char* dst, const char* format, const void* value) {
  const double real = readAs<typename Type::Value>(value);
  return std::snprintf(dst, MBPrintRoom, PrintFormat(format, "%g", "eEfFgGaA").text(), real);
}

template <class Type>
void* scanReal(const char* text) {
  double real = 0;
  mustMatch(std::sscanf(text, "%lg", &real));
  return kept<Type>(static_cast<typename Type::Value>(real));
}

// A text is its own value: what is pulled, scanned and pushed is its address.
void* pullText(char** cursor) {
  const auto slot = readAs<void*>(*cursor);
  *cursor += sizeof slot;
  return slot;
}

short pushText(char* dst, const void* text) {
  std::memcpy(dst, &text, sizeof text);
  return sizeof text;
}

void* scanText(const char* text) { return const_cast<char*>(text); }

int printText(char* dst, const char* format, const void* value) {
  return std::snprintf(dst, MBPrintRoom, PrintFormat(format, "%s", "s").text(), static_cast<const char*>(value));
}

void* scanBoolean(const char* text) { return kept<Truth>(*text == '1' || *text == 't' || *text == 'T'); }

int printBoolean(char* dst, const char* format, const void* value) {
  return printText(dst, format, readAs<Boolean>(value) ? "TRUE" : "FALSE");
}

void* scanChar4(const char* text) {
  char first[2] = {};
  char rest[3] = {};
  mustMatch(std::sscanf(text, "%1s%c%c%c", first, &rest[0], &rest[1], &rest[2]));
  return kept<FourChars>(MakeChar4({first[0], rest[0], rest[1], rest[2], 0}));
}

int printChar4(char* dst, const char* format, const void* value) {
  const auto code = readAs<Char4>(value);
  const auto letter = [code](int shift) { return static_cast<int>(code >> shift & 0xFF); };
  const PrintFormat checked(format, "%c%c%c%c", "c", 4);
  return std::snprintf(dst, MBPrintRoom, checked.text(), letter(24), letter(16), letter(8), letter(0));
}

void install(const TypeRow& row) {
  if (!appendType(row)) +XError("MB_TYPE_TABLE_FULL");
}

template <class Type>
void installWord(const char* name, int size) {
  install({name, size, pullWord<Type>, printWord<Type>, scanWord<Type>, pushWord<Type>, SlotForm::Word});
}

template <class Type>
void installReal(const char* name, SlotForm form) {
  install({name, sizeof(typename Type::Value), pullReal<Type>, printReal<Type>, scanReal<Type>, pushReal<Type>, form});
}

}  // namespace

void MBInit() {
  install({"str", 0, pullText, printText, scanText, pushText, SlotForm::Text});
  installWord<Ptr>("ptr", sizeof(void*));
  installWord<Int>("int", 4);
  installWord<UInt>("u_int", 4);
  installWord<LongInt>("long", 4);
  installWord<ULongInt>("u_long", 4);
  installReal<Float>("float", SlotForm::Float);
  installReal<Double>("double", SlotForm::Double);
  install({"Boolean", 1, pullWord<Truth>, printBoolean, scanBoolean, pushWord<Truth>, SlotForm::Word});
  installWord<Byte>("Byte", 1);
  install({"Char4", 4, pullWord<FourChars>, printChar4, scanChar4, pushWord<FourChars>, SlotForm::Word});
  // The size is what a caller copies to hand a value on, not the value's own width.
  installWord<Char>("char", 4);
  installWord<UChar>("u_char", 4);
  installWord<Short>("short", 4);
  installWord<UShort>("u_short", 4);
}

void MBInstall(const char* name, int size, MBPullProc pull, MBPrintProc print, MBScanProc scan, MBPushProc push) {
  install({name, size, pull, print, scan, push, size ? SlotForm::Word : SlotForm::Text});
}

void MBInstallSynonym(const char* newName, const char* oldName) {
  unsigned char tid = TIDunknown;
  MBFind(oldName, &tid);
  TypeRow row = typeRow(tid);
  row.name = newName;
  install(row);
}
