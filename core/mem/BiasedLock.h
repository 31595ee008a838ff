// A lock that nearly always the same thread takes.
#pragma once

#include <atomic>
#include <cstdint>

#include "core/mem/SpinLock.h"

namespace ky {

/// Its address names the thread.
KY_API extern constinit thread_local int tHere __attribute__((tls_model("initial-exec")));

/// A spin lock that may favour one thread, which then takes it without a read-modify-write. The first other thread that
/// comes ends that for good, and from then on it is the spin lock alone.
///
/// Only the favoured thread writes `favoured_`, and it enters by
///     favoured_ = self | inside;  compiler fence;  read revoked_
/// while the first other one, which holds the spin lock, does
///     revoked_ = true;  process barrier;  read favoured_ until nobody is inside.
/// The process barrier falls somewhere into what the favoured thread does. If that is behind the store, the other
/// thread sees the store and waits; if it is ahead of it, then ahead of the read too, which sees the revocation: the
/// favoured thread steps back and takes the spin lock. What it did inside is seen by the other thread, for that reads
/// the `favoured_` that was stored, with release, on leaving. A thread that is given the address of a favoured one that
/// has ended takes over from it, by the same release.
///
/// Requires: not taken again by the thread that holds it. It is not held by another thread while the process forks.
class KY_API BiasedLock {
 public:
  /// Returns:  true if the caller is favoured and holds the lock now.
  bool enterFavoured() {
    const std::uintptr_t self = here();
    if (favoured_.load(std::memory_order_acquire) != self) [[unlikely]]
      return false;
    favoured_.store(self + kInside, std::memory_order_relaxed);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (!revoked_.load(std::memory_order_relaxed)) [[likely]]
      return true;
    favoured_.store(0, std::memory_order_release);
    return false;
  }
  void leaveFavoured() { favoured_.store(here(), std::memory_order_release); }

  void lock() {
    gate_.lock();
    if (favours_) [[unlikely]]
      revoke();
  }
  void unlock() { gate_.unlock(); }

  /// Favours the caller, where the system allows it.
  ///
  /// Requires: the caller holds the lock, by lock(); called once.
  void favourHolder();

 private:
  static constexpr std::uintptr_t kInside = 1;

  static std::uintptr_t here() { return reinterpret_cast<std::uintptr_t>(&tHere); }
  void revoke();

  std::atomic<std::uintptr_t> favoured_{0};  ///< the thread, and whether it is inside
  std::atomic<bool> revoked_{false};
  SpinLock gate_;
  bool favours_ = false;  ///< guarded by the gate
};

/// Holds a biased lock for a scope.
class BiasedTenure {
 public:
  explicit BiasedTenure(BiasedLock& lock) : lock_(lock), favoured_(lock.enterFavoured()) {
    if (!favoured_) lock.lock();
  }
  ~BiasedTenure() { favoured_ ? lock_.leaveFavoured() : lock_.unlock(); }
  BiasedTenure(const BiasedTenure&) = delete;
  BiasedTenure& operator=(const BiasedTenure&) = delete;

 private:
  BiasedLock& lock_;
  const bool favoured_;
};

/// Leaves at the end of a scope that was entered as favoured. It has nothing in memory, to cost nothing.
template <BiasedLock& lock>
class FavouredScope {
 public:
  FavouredScope() = default;
  ~FavouredScope() { lock.leaveFavoured(); }
  FavouredScope(const FavouredScope&) = delete;
  FavouredScope& operator=(const FavouredScope&) = delete;
};

}  // namespace ky
