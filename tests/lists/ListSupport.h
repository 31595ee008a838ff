// For the tests of collections: elements as a vector, and objects that are counted.
#pragma once

#include "core/lists/AArray.h"
#include "tests/support/Test.h"

namespace ky::test {

constexpr Long kAtEnd = INT_MAX;

template <class T = Long>
std::vector<T> contentsOf(AArray& array) {
  array.DebugCheck();
  const auto all = elements<T>(&array);
  return {all.begin(), all.end()};
}

/// Tells how many of it are alive, and does what it is told when it ends.
class Counted : public AObject {
 public:
  static Counted* New(Long value = 0) { return new Counted(value); }
  static inline Long alive = 0;

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

}  // namespace ky::test
