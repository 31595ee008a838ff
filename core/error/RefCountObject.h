// A counted base: the last reference to go deletes the object.
#pragma once

#include <atomic>

#include "core/base/KyTypes.h"

class KY_API RefCountObject {
 public:
  RefCountObject() = default;
  /// A copy is an object of its own: nobody refers to it yet, and it may be shared.
  RefCountObject(const RefCountObject&) {}
  RefCountObject& operator=(const RefCountObject&) { return *this; }
  virtual ~RefCountObject();

  void AddReference() { mRefCount.fetch_add(1, std::memory_order_relaxed); }
  void RemoveReference();

  void MarkUnshareable() { mShareable = false; }
  Boolean IsShareable() const { return mShareable; }
  Boolean IsShared() const { return mRefCount.load(std::memory_order_acquire) > 1; }

 private:
  // Errors cross threads with their stack, so the count may change on both sides at once.
  std::atomic<Long> mRefCount{0};
  Boolean mShareable = true;
};
