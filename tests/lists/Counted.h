// An object that tells how many of it are alive, and does what it is told when it ends.
#pragma once

#include <string>

#include "core/base/AObject.h"
#include "core/error/XError.h"

namespace ky::test {

class Counted : public AObject {
 public:
  static Counted* New(Long value = 0) { return new Counted(value); }
  static Long alive;

  void Dispose() override {
    const auto atEnd = onDispose;
    Counted* const self = this;
    AObject::Dispose();
    if (atEnd) atEnd(self);
  }
  AObject* Copy() override {
    if (value == kNoCopy) +XError("NO_OBJECT_CREATED", 0);
    ++alive;
    return AObject::Copy();
  }

  static constexpr Long kNoCopy = -1;
  Long value = 0;
  void (*onDispose)(void* ended) = nullptr;

 protected:
  explicit Counted(Long v) : value(v) { ++alive; }
  ~Counted() override { --alive; }
};

inline Long Counted::alive = 0;

}  // namespace ky::test
