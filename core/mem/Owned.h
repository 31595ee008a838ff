// Owners for a scope: of a handle, and of an object that ends by Dispose().
#pragma once

#include <utility>

#include "core/mem/KyHandles.h"

namespace ky {

/// Owns a handle, or none.
class OwnedHandle {
 public:
  OwnedHandle() = default;
  explicit OwnedHandle(char** handle) : handle_(handle) {}
  OwnedHandle(OwnedHandle&& other) noexcept : handle_(other.release()) {}
  OwnedHandle& operator=(OwnedHandle&& other) noexcept {
    OwnedHandle(std::move(other)).swap(*this);
    return *this;
  }
  ~OwnedHandle() {
    if (!handle_) return;
    try {
      KyDisposeHandle(handle_);
    } catch (...) {
    }
  }

  static OwnedHandle ofSize(Long size) { return OwnedHandle(KyNewHandle(size)); }

  char** get() const { return handle_; }
  /// Returns:  the block, valid until the handle is resized.
  char* data() const { return *handle_; }
  template <class T>
  T* as() const {
    return reinterpret_cast<T*>(*handle_);
  }
  Long size() const { return KyGetHandleSize(handle_); }
  void resize(Long size) { KySetHandleSize(handle_, size); }

  char** release() { return std::exchange(handle_, nullptr); }
  void reset(char** handle = nullptr) { OwnedHandle(handle).swap(*this); }
  void swap(OwnedHandle& other) noexcept { std::swap(handle_, other.handle_); }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  char** handle_ = nullptr;
};

/// Owns an object, or none. What its Dispose() raises is dropped: release a stream that was written and dispose it, or
/// flush it first, to hear whether all arrived.
template <class T>
class Owned {
 public:
  Owned() = default;
  explicit Owned(T* object) : object_(object) {}
  template <class U>
  Owned(Owned<U>&& other) noexcept : object_(other.release()) {}
  Owned(Owned&& other) noexcept : object_(other.release()) {}
  Owned& operator=(Owned&& other) noexcept {
    Owned(std::move(other)).swap(*this);
    return *this;
  }
  ~Owned() {
    if (!object_) return;
    try {
      object_->Dispose();
    } catch (...) {
    }
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }

  T* release() { return std::exchange(object_, nullptr); }
  void reset(T* object = nullptr) { Owned(object).swap(*this); }
  void swap(Owned& other) noexcept { std::swap(object_, other.object_); }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

}  // namespace ky
