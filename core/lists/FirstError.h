// Several steps of which each may fail, all of them taken.
#pragma once

#include "core/error/Guarded.h"

namespace ky {

/// Takes every step, and raises the first failure at the end: for ends, where stopping half-way would leak the rest.
class FirstError {
 public:
  template <class Step>
  void take(Step&& step) {
    guarded(step, [&](XError& caught) {
      if (!first_.GetCode()) first_ = caught;
    });
  }

  /// The last step: takes it, and raises the first failure of all.
  template <class Step>
  void takeLast(Step&& step) {
    take(step);
    raise();
  }

  /// Raises the first failure of all, if there was any.
  void raise() const {
    if (first_.GetCode()) xraisexerror(first_);
  }

 private:
  XError first_;
};

}  // namespace ky
