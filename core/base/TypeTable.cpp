#include "core/base/TypeTable.h"

#include <cmath>
#include <cstring>

#include "core/error/Assert.h"

using namespace ky;

namespace {

constexpr int kRows = 32;

TypeRow rows[kRows];
std::size_t nameLengths[kRows];
unsigned char NextInstall = 1;

// Callers know these checks by the place where the registry has always been.
bool known(unsigned char tid, int line = __builtin_LINE()) {
  return check(tid > TIDunknown && tid < NextInstall, "tid > TIDunknown && tid < NextInstall", "core/utils/MetaBase",
               line);
}

const TypeRow& checkedRow(unsigned char tid, int line = __builtin_LINE()) {
  return known(tid, line) ? rows[tid] : rows[TIDunknown];
}

double asReal(const TypedCell& cell) {
  return cell.kind == TypedCell::Kind::Real ? cell.real : static_cast<double>(cell.integer);
}

Int64 asWord(const TypedCell& cell) {
  if (cell.kind == TypedCell::Kind::Pointer) return reinterpret_cast<LongPtr>(cell.pointer);
  if (cell.kind == TypedCell::Kind::Integer) return cell.integer;
  return std::fabs(cell.real) < 9.2e18 ? static_cast<Int64>(cell.real) : 0;
}

template <class T>
void put(char* slot, T value) {
  std::memcpy(slot, &value, sizeof value);
}

}  // namespace

const char* MBFind(const char* text, unsigned char* tid) {
  for (unsigned char row = 1; row < NextInstall; ++row) {
    const char* name = rows[row].name;
    if (*name == *text && std::strncmp(text, name, nameLengths[row]) == 0) {
      *tid = row;
      return text + nameLengths[row];
    }
  }
  *tid = TIDunknown;
  return text;
}

unsigned char MBIsType(unsigned char tid, const char* name) {
  return tid > TIDunknown && tid < NextInstall && std::strcmp(rows[tid].name, name) == 0;
}

int MBSizeOf(const void* data, unsigned char tid) {
  if (!known(tid)) return 0;
  return rows[tid].size ? rows[tid].size : static_cast<int>(std::strlen(static_cast<const char*>(data)) + 1);
}

MBPullProc MBGetPullProc(unsigned char tid) { return checkedRow(tid).pull; }
MBPrintProc MBGetPrintProc(unsigned char tid) { return checkedRow(tid).print; }
MBScanProc MBGetScanProc(unsigned char tid) { return checkedRow(tid).scan; }
MBPushProc MBGetPushProc(unsigned char tid) { return checkedRow(tid).push; }

bool ky::appendType(const TypeRow& row) {
  if (NextInstall >= kRows) return false;
  nameLengths[NextInstall] = std::strlen(row.name);
  rows[NextInstall++] = row;
  return true;
}

const TypeRow& ky::typeRow(unsigned char tid) { return rows[tid < NextInstall ? tid : TIDunknown]; }

const void* ky::pullCell(const TypedCell& cell, unsigned char tid) {
  const TypeRow& row = typeRow(tid);
  if (!row.pull) return nullptr;
  // Room for the widest value that a host's own type may take from its slot.
  alignas(16) char slot[32] = {};
  switch (row.form) {
    case SlotForm::Word:
      put(slot, asWord(cell));
      break;
    case SlotForm::Float:
      put(slot, static_cast<float>(asReal(cell)));
      break;
    case SlotForm::Double:
      put(slot, asReal(cell));
      break;
    case SlotForm::Text:
      put(slot, cell.asPointer());
      break;
  }
  char* cursor = slot;
  return row.pull(&cursor);
}
