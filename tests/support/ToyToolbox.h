// A toolbox for tests: real handles, each of which it knows, and resources.
#pragma once

#include <map>
#include <string>

#include "core/mem/Toolbox.h"

namespace ky::test {

/// Installed while it stands.
class ToyToolbox : public Toolbox {
 public:
  ToyToolbox() : before(installToolbox(this)) {}
  ~ToyToolbox() override { installToolbox(before); }

  char** newHandle(Long size) override { return made(std::string(static_cast<std::size_t>(size), '\0')); }
  char** newHandleClear(Long size) override { return newHandle(size); }
  char** newEmptyHandle() override { return newHandle(0); }
  void disposeHandle(char** handle) override {
    ended = blocks.at(handle);
    blocks.erase(handle);
    delete handle;
  }
  Long handleSize(char** handle) override { return static_cast<Long>(blocks.at(handle).size()); }
  bool setHandleSize(char** handle, Long size) override {
    blocks[handle].resize(static_cast<std::size_t>(size));
    *handle = blocks[handle].data();
    return true;
  }
  bool reallocHandle(char** handle, Long size) override { return setHandleSize(handle, size); }

  char** namedResource(Char4, const char* name) override { return resource(name); }
  char** numberedResource(Char4, short number) override { return resource(std::to_string(number)); }
  Long resourceSize(char** handle) override { return handleSize(handle); }
  void releaseResource(char** handle) override { disposeHandle(handle); }

  std::map<char**, std::string> blocks;
  std::string ended;  ///< what the handle disposed of last held then
  std::map<std::string, std::string> resources;

 private:
  char** resource(const std::string& name) { return resources.contains(name) ? made(resources[name]) : nullptr; }
  char** made(const std::string& bytes) {
    auto* const handle = new char*;
    blocks[handle] = bytes;
    *handle = blocks[handle].data();
    return handle;
  }

  Toolbox* before;
};

}  // namespace ky::test
