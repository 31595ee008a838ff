// What an error knows about itself: a level per layer that had something to say, each with named parameters.
#pragma once

#include <cstddef>

#include "core/base/KyTypes.h"
#include "core/base/TypedCell.h"
#include "core/error/CustomAllocator.h"
#include "core/error/RefCountObject.h"

/// Up to twenty levels in one fixed block. Levels count from 1; the newest is the top.
///
/// Nothing here reports its own exhaustion: what does not fit is dropped, and the error travels on with less in it.
/// A level beyond the twentieth is dropped, and the twentieth takes no parameters.
class KY_API ErrorStackObj : public RefCountObject {
 public:
  /// Twenty stacks for code that must raise where the heap cannot be touched: install it, raise, catch, put the old
  /// allocator back.
  class KY_API InterruptAllocator : public PoolAllocator {
   public:
    InterruptAllocator();
  };

  ErrorStackObj() = default;
  ErrorStackObj(const ErrorStackObj& other);
  ErrorStackObj& operator=(const ErrorStackObj&) = delete;
  ~ErrorStackObj() override;

  /// Sets where new stacks come from; null means nowhere, and errors then travel with their code alone.
  ///
  /// Returns:  the allocator in force before.
  static CustomAllocator* SetAllocator(CustomAllocator* allocator);

  /// Returns:  null if the allocator has nothing to give.
  static void* operator new(std::size_t size) noexcept;
  /// Gives the block back to the allocator that made it.
  static void operator delete(void* block) noexcept;

  /// Adds a level, unless `code` is the top code already: then neither level nor parameters are added.
  void PushLevelAndParmList(const char* code, const ky::CellList& list);
  /// Adds all levels of `other` on top, oldest first.
  void PushStack(const ErrorStackObj& other);
  /// Adds parameters to the top level. A label is a type's name, then optionally blanks and the parameter's name; the
  /// list ends at a null label or at one that begins with no type. A null value is dropped.
  void AppendParmList(const ky::CellList& list);

  /// Returns:  the newest level with that code, or 0.
  int FindLevel(const char* code) const;
  Boolean FindCode(const char* code) const { return FindLevel(code) != 0; }
  const char* GetCode() const { return GetLevelCode(mTop); }
  const char* GetLevelCode(int level) const;
  int GetTopLevel() const { return mTop; }
  Boolean IsStackEmpty() const { return mTop == 0; }

  /// Copies the value's bytes, as many as its type has: 4 for all but "Boolean" and "Byte" (1), "double" (8), "ptr" (a
  /// pointer) and "str" (the text, at most 512).
  ///
  /// Returns:  false if that one level has no such parameter.
  Boolean GetParm(void* out, int level, const char* name) const;
  /// Returns:  false if that one level has no such parameter; "<name>" is the text then.
  Boolean GetParmAsString(char* buffer, int size, int level, const char* name, const char* format = nullptr) const;

  /// Fills a template's `<name>` and `<name:format>` from one level; "<<" stands for "<". A null template gives the
  /// default line: the code and all parameters.
  ///
  /// Units:    `size` is the whole buffer; the text is cut to fit and always ended.
  void ExpandString(char* buffer, int size, const char* text, int level) const;
  void ExpandString(char* buffer, int size, const char* text) const { ExpandString(buffer, size, text, mTop); }

  /// Prints the levels, newest first, a line each.
  void Dump(KyPrint print) const;

 private:
  struct Level {
    const char* code = nullptr;
    int end = 0;
  };

  static constexpr int kLevels = 20;
  static constexpr int kInfoBytes = 512;

  bool PushLevel(const char* code);
  void PushParm(const char* name, int nameLength, unsigned char tid, const void* value);
  bool GetNextParm(int level, int* cursor, const char** name, unsigned char* tid, const void** value) const;
  bool FindParmByName(int level, const char* name, unsigned char* tid, const void** value) const;
  void ExpandParmTemplate(char* buffer, int size, const char* token, int length, int level) const;
  void DefaultExpand(char* buffer, int size, int level) const;
  char* GetAlignedInfoStack() { return mInfo; }
  const char* GetAlignedInfoStack() const { return mInfo; }

  int levelStart(int level) const { return level > 1 ? mLevels[level - 2].end : 0; }

  static CustomAllocator* gAllocatorP;

  Level mLevels[kLevels];
  // The room test is up to four bytes short of an aligned record, which the spare bytes behind the 512 absorb.
  alignas(8) char mInfo[kInfoBytes + 8] = {};
  int mTop = 0;
};
