// The type registry: one row per scalar type that a label, a command or a function may name.
#pragma once

#include "core/base/KyTypes.h"
#include "core/base/TypedCell.h"

/// Reads the value at `*cursor`, a slot of a packed frame, and moves the cursor behind it.
///
/// Returns:  a copy in a cell of the type and thread, valid until its next pull or scan; a text is its own copy.
typedef void* (*MBPullProc)(char** cursor);

/// Prints `*value` by `format`, or by the type's default if that is null or does not suit the type.
///
/// Requires: `dst` has room for `MBPrintRoom` bytes; a longer text is cut there.
/// Returns:  the length of the whole text, as snprintf does.
typedef int (*MBPrintProc)(char* dst, const char* format, const void* value);

/// Returns:  the value that `text` spells, 0 for an empty one, in a cell of the type and thread, valid until its next
///           pull or scan.
/// Raises:   MB_SCAN_MISMATCM.
typedef void* (*MBScanProc)(const char* text);

/// Stores `*value` into a slot of a packed frame.
///
/// Returns:  the bytes used.
typedef short (*MBPushProc)(char* dst, const void* value);

inline constexpr int MBPrintRoom = 512;

inline constexpr unsigned char TIDunknown = 0;

/// The type whose name `text` begins with; the oldest row wins, so "string x" is a "str" named "ing x".
///
/// Returns:  the text behind the name; `text` itself, and `TIDunknown` in `*tid`, if no type has such a name.
KY_API const char* MBFind(const char* text, unsigned char* tid);

/// Whether the row is named exactly `name`. A synonym is a type of its own here.
KY_API unsigned char MBIsType(unsigned char tid, const char* name);

/// Bytes of the value at `data`: the registered size, or the text's length with its zero byte.
///
/// Requires: "tid > TIDunknown && tid < NextInstall".
KY_API int MBSizeOf(const void* data, unsigned char tid);

/// Requires: "tid > TIDunknown && tid < NextInstall", as the three others.
KY_API MBPullProc MBGetPullProc(unsigned char tid);
KY_API MBPrintProc MBGetPrintProc(unsigned char tid);
KY_API MBScanProc MBGetScanProc(unsigned char tid);
KY_API MBPushProc MBGetPushProc(unsigned char tid);

namespace ky {

/// How an argument of the type is written into its slot.
enum class SlotForm : unsigned char { Word, Float, Double, Text };

struct TypeRow {
  const char* name = nullptr;
  int size = 0;
  MBPullProc pull = nullptr;
  MBPrintProc print = nullptr;
  MBScanProc scan = nullptr;
  MBPushProc push = nullptr;
  SlotForm form = SlotForm::Word;
};

/// Returns:  false if the table is full.
bool appendType(const TypeRow& row);

/// The row, also row 0, which is never filled.
const TypeRow& typeRow(unsigned char tid);

/// Turns an argument of a list into the value that its label's type promises, by way of the type's pull procedure.
///
/// Returns:  null for a null text, also for one that is no pointer, and for an unknown type.
KY_API const void* pullCell(const TypedCell& cell, unsigned char tid);

}  // namespace ky
