// A toolbox for tests: real handles on the C heap, each of which it knows.
#pragma once

#include <cstdlib>
#include <cstring>
#include <map>

#include "core/mem/Toolbox.h"

namespace ky::test {

/// Installed while it stands.
class ToyToolbox : public Toolbox {
 public:
  ToyToolbox() : before_(installToolbox(this)) {}
  ~ToyToolbox() override {
    installToolbox(before_);
    for (auto& [handle, size] : sizes_) end(handle);
  }

  char** newHandle(Long size) override { return size > limit ? nullptr : make(std::malloc(room(size)), size); }
  char** newHandleClear(Long size) override { return size > limit ? nullptr : make(std::calloc(1, room(size)), size); }
  char** newEmptyHandle() override { return make(nullptr, 0); }
  void disposeHandle(char** handle) override {
    if (*handle) std::memcpy(lastWord, *handle, sizeof lastWord);
    sizes_.erase(handle);
    end(handle);
  }
  Long handleSize(char** handle) override { return sizes_.at(handle); }
  bool setHandleSize(char** handle, Long size) override {
    if (size > limit) return false;
    *handle = static_cast<char*>(std::realloc(*handle, room(size)));
    sizes_[handle] = size;
    return true;
  }
  bool reallocHandle(char** handle, Long size) override {
    if (!setHandleSize(handle, size)) return false;
    std::memset(*handle, '?', room(size));
    return true;
  }
  void beep(short duration) override { beeps += duration; }

  bool knows(char** handle) const { return sizes_.count(handle) != 0; }
  std::size_t live() const { return sizes_.size(); }

  Long limit = 1 << 20;  ///< larger blocks are not to be had
  int beeps = 0;
  unsigned char lastWord[4] = {};  ///< what the block disposed of last began with

 private:
  static std::size_t room(Long size) { return static_cast<std::size_t>(size < 4 ? 4 : size); }
  static void end(char** handle) {
    std::free(*handle);
    std::free(handle);
  }
  char** make(void* block, Long size) {
    char** const handle = static_cast<char**>(std::malloc(sizeof(char*)));
    *handle = static_cast<char*>(block);
    sizes_[handle] = size;
    return handle;
  }

  Toolbox* before_;
  std::map<char**, Long> sizes_;
};

}  // namespace ky::test
