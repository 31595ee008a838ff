#include "core/error/ErrorStack.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "core/base/TypeTable.h"
#include "core/error/Assert.h"

using namespace ky;

namespace {

// Ahead of each stack lies the allocator that made it, in a header that keeps the stack aligned.
constexpr std::size_t kHeader = alignof(std::max_align_t);

// Longest `<name:format>`, its ending included.
constexpr int kTokenRoom = 80;

// Errors may be raised while the process ends, so the default allocator is never destroyed.
union Everlasting {
  HeapAllocator heap;
  constexpr Everlasting() : heap() {}
  ~Everlasting() {}
};
constinit Everlasting everlasting;

bool sameCode(const char* a, const char* b) { return a == b || (a && b && std::strcmp(a, b) == 0); }

// Appends text to a buffer of known size, cutting silently; the buffer always ends in a zero byte.
class Writer {
 public:
  Writer(char* buffer, int size) : mAt(buffer), mLast(buffer + size - 1) { *mAt = 0; }

  void add(const char* text, std::size_t length) {
    length = std::min(length, static_cast<std::size_t>(mLast - mAt));
    std::memcpy(mAt, text, length);
    advance(length);
  }
  void add(const char* text) { add(text, std::strlen(text)); }

  char* at() { return mAt; }
  /// Bytes that are left, the ending included.
  int room() const { return static_cast<int>(mLast - mAt) + 1; }
  void skipWritten() { advance(strnlen(mAt, static_cast<std::size_t>(mLast - mAt))); }

 private:
  void advance(std::size_t length) {
    mAt += length;
    *mAt = 0;
  }

  char* mAt;
  char* mLast;
};

// Prints a value by its type. The print routines cut at the room they are promised, and tell the whole length.
void printValue(char (&text)[MBPrintRoom], unsigned char tid, const char* format, const void* value) {
  text[0] = 0;
  const MBPrintProc print = MBGetPrintProc(tid);
  const int count = print ? print(text, format, value) : 0;
  check(count < static_cast<int>(std::size(text)), "count < dim(buf)");
}

}  // namespace

CustomAllocator* ErrorStackObj::gAllocatorP = &everlasting.heap;

ErrorStackObj::InterruptAllocator::InterruptAllocator()
    : PoolAllocator(20, std::max<unsigned>(700, sizeof(ErrorStackObj) + kHeader)) {}

CustomAllocator* ErrorStackObj::SetAllocator(CustomAllocator* allocator) {
  CustomAllocator* const previous = gAllocatorP;
  gAllocatorP = allocator;
  return previous;
}

void* ErrorStackObj::operator new(std::size_t size) noexcept {
  CustomAllocator* const allocator = gAllocatorP;
  if (!allocator) return nullptr;
  try {
    auto* const block = static_cast<char*>(allocator->alloc(static_cast<unsigned>(size + kHeader)));
    if (!block) return nullptr;
    std::memcpy(block, &allocator, sizeof allocator);
    return block + kHeader;
  } catch (...) {
    return nullptr;
  }
}

void ErrorStackObj::operator delete(void* object) noexcept {
  if (!object) return;
  char* const block = static_cast<char*>(object) - kHeader;
  CustomAllocator* allocator;
  std::memcpy(&allocator, block, sizeof allocator);
  allocator->dispose(block);
}

ErrorStackObj::ErrorStackObj(const ErrorStackObj& other) : RefCountObject(other), mTop(other.mTop) {
  std::copy_n(other.mLevels, mTop, mLevels);
  std::copy_n(other.GetAlignedInfoStack(), levelStart(mTop + 1), GetAlignedInfoStack());
}

ErrorStackObj::~ErrorStackObj() = default;

void ErrorStackObj::PushLevelAndParmList(const char* code, const CellList& list) {
  if (sameCode(code, GetCode())) return;
  if (PushLevel(code)) AppendParmList(list);
}

void ErrorStackObj::PushStack(const ErrorStackObj& other) {
  const int levels = other.mTop;
  for (int level = 1; level <= levels; ++level) {
    if (!PushLevel(other.GetLevelCode(level))) return;
    int cursor = -1;
    const char* name;
    unsigned char tid;
    const void* value;
    while (other.GetNextParm(level, &cursor, &name, &tid, &value)) {
      PushParm(name, static_cast<int>(std::strlen(name)), tid, value);
    }
  }
}

void ErrorStackObj::AppendParmList(const CellList& list) {
  for (int i = 0; i + 1 < list.count; i += 2) {
    const auto* const label = static_cast<const char*>(list.cells[i].asPointer());
    if (!label) return;
    unsigned char tid;
    const char* name = MBFind(label, &tid);
    if (tid == TIDunknown) return;
    name += std::strspn(name, " \t");
    char position[16];
    if (!*name) {
      std::snprintf(position, sizeof position, "%d", i / 2 + 1);
      name = position;
    }
    PushParm(name, static_cast<int>(std::strlen(name)), tid, pullCell(list.cells[i + 1], tid));
  }
}

bool ErrorStackObj::PushLevel(const char* code) {
  if (mTop >= kLevels) return false;
  ++mTop;
  mLevels[mTop - 1] = {code, levelStart(mTop)};
  return true;
}

void ErrorStackObj::PushParm(const char* name, int nameLength, unsigned char tid, const void* value) {
  // The last level has no room for parameters, by contract and not for want of bytes.
  if (mTop == 0 || mTop >= kLevels || !value) return;
  int& end = mLevels[mTop - 1].end;
  const int size = MBSizeOf(value, tid);
  if (size + nameLength + 5 > kInfoBytes - end) return;

  char* const info = GetAlignedInfoStack();
  std::memcpy(info + end, name, static_cast<std::size_t>(nameLength));
  end += nameLength;
  info[end++] = 0;
  info[end++] = static_cast<char>(tid);
  end = (end + 7) & ~7;
  std::memcpy(info + end, value, static_cast<std::size_t>(size));
  end += size;
}

bool ErrorStackObj::GetNextParm(int level, int* cursor, const char** name, unsigned char* tid,
                                const void** value) const {
  if (level < 1 || level > mTop) return false;
  if (*cursor == -1) *cursor = levelStart(level);
  if (*cursor >= mLevels[level - 1].end) return false;

  const char* const info = GetAlignedInfoStack();
  int at = *cursor;
  *name = info + at;
  at += static_cast<int>(std::strlen(*name)) + 1;
  *tid = static_cast<unsigned char>(info[at++]);
  at = (at + 7) & ~7;
  *value = info + at;
  *cursor = at + MBSizeOf(*value, *tid);
  return true;
}

bool ErrorStackObj::FindParmByName(int level, const char* name, unsigned char* tid, const void** value) const {
  int cursor = -1;
  const char* found;
  while (GetNextParm(level, &cursor, &found, tid, value)) {
    if (std::strcmp(found, name) == 0) return true;
  }
  return false;
}

int ErrorStackObj::FindLevel(const char* code) const {
  int level = mTop;
  while (level > 0 && !sameCode(mLevels[level - 1].code, code)) --level;
  return level;
}

const char* ErrorStackObj::GetLevelCode(int level) const {
  return level >= 1 && level <= mTop ? mLevels[level - 1].code : nullptr;
}

Boolean ErrorStackObj::GetParm(void* out, int level, const char* name) const {
  unsigned char tid;
  const void* value;
  if (!FindParmByName(level, name, &tid, &value)) return false;
  std::memcpy(out, value, static_cast<std::size_t>(MBSizeOf(value, tid)));
  return true;
}

Boolean ErrorStackObj::GetParmAsString(char* buffer, int size, int level, const char* name, const char* format) const {
  if (size < 1) return false;
  unsigned char tid;
  const void* value;
  if (!FindParmByName(level, name, &tid, &value)) {
    *buffer = 0;
    if (size > 3) std::snprintf(buffer, static_cast<std::size_t>(size), "<%.*s>", size - 3, name);
    return false;
  }
  char text[MBPrintRoom];
  printValue(text, tid, format, value);
  Writer(buffer, size).add(text);
  return true;
}

void ErrorStackObj::ExpandString(char* buffer, int size, const char* text, int level) const {
  if (size < 1) return;
  if (!text) return DefaultExpand(buffer, size, level);

  Writer out(buffer, size);
  while (*text) {
    const std::size_t plain = std::strcspn(text, "<");
    out.add(text, plain);
    text += plain;
    if (!*text) return;
    if (*++text == '<') {
      out.add(text++, 1);
      continue;
    }
    const std::size_t length = std::strcspn(text, ">");
    ExpandParmTemplate(out.at(), out.room(), text, static_cast<int>(length), level);
    out.skipWritten();
    text += length;
    if (*text) ++text;
  }
}

void ErrorStackObj::ExpandParmTemplate(char* buffer, int size, const char* token, int length, int level) const {
  if (length + 1 > kTokenRoom) return Writer(buffer, size).add("<OVERFLOW>");
  char name[kTokenRoom] = {};
  std::memcpy(name, token, static_cast<std::size_t>(length));
  char* const colon = std::strchr(name, ':');
  if (colon) *colon = 0;
  GetParmAsString(buffer, size, level, name, colon ? colon + 1 : nullptr);
}

void ErrorStackObj::DefaultExpand(char* buffer, int size, int level) const {
  const char* const code = GetLevelCode(level);
  Writer out(buffer, size);
  out.add("Exception: ");
  if (code) out.add(code, strnlen(code, 255));

  int cursor = -1;
  const char* name;
  unsigned char tid;
  const void* value;
  while (GetNextParm(level, &cursor, &name, &tid, &value)) {
    char text[MBPrintRoom];
    printValue(text, tid, nullptr, value);
    out.add(", ");
    out.add(name);
    out.add(":");
    out.add(text);
  }
}

void ErrorStackObj::Dump(KyPrint print) const {
  if (IsStackEmpty()) {
    print("(Empty)\n");
    return;
  }
  for (int level = mTop; level > 0; --level) {
    char line[256];
    DefaultExpand(line, sizeof line, level);
    print("%s\n", line);
  }
}
