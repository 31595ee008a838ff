// The one guarded region, and the forms of it that recur.
//
//   guarded([&] { file.Read(buffer); }, [&](XError& caught) { xreraise(caught, "PROJECT_OPEN_FAILED", 0); });
#pragma once

#include <cxxabi.h>

#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

#include "core/error/CurrentError.h"
#include "core/error/XError.h"

namespace ky {

/// Words another library's exception as an XError, with a line in the raise log.
KY_API XError foreignError(const std::exception& exception);
KY_API XError seriousError();

/// Calls through a frame that the compiler cannot look into.
KY_API void callOpaquely(void (*call)(void* body), void* body);

template <class Body>
[[gnu::always_inline]] inline void callBody(Body& body) {
#if defined(__clang__)
  // clang believes that only calls raise; behind an opaque one it keeps the region for a fault in `body` too.
  callOpaquely([](void* callee) { (*static_cast<Body*>(callee))(); },
               const_cast<void*>(static_cast<const void*>(&body)));
#else
  body();
#endif
}

template <class OnError>
[[gnu::always_inline]] inline void callHandler(OnError& onError, XError& caught) {
  if constexpr (std::is_invocable_v<OnError&, XError&>) {
    onError(caught);
  } else {
    onError();
  }
}

/// Room for an error that most regions never see, so that those make and end none.
class LateError {
 public:
  LateError() {}
  ~LateError() {}
  LateError(const LateError&) = delete;
  LateError& operator=(const LateError&) = delete;

  template <class From>
  void make(From&& from) {
    std::construct_at(&error, std::forward<From>(from));
  }

  /// Ends the error that was made.
  struct Ended {
    LateError& late;
    ~Ended() { std::destroy_at(&late.error); }
  };

  union {
    XError error;
  };
};

/// Runs `body`; should it raise anything, runs `onError(caught)` with that as the thread's current error.
///
/// `onError` may take no argument. What it raises travels on; when it returns, the region is left as if nothing had
/// happened. The cancellation of a thread is no error and passes through.
// A cancellation carries no object, so its catch clause binds a null reference, which is not to be reported.
template <class Body, class OnError>
__attribute__((no_sanitize("null"), no_sanitize("alignment"))) inline void guarded(Body&& body, OnError&& onError) {
  LateError caught;
  try {
    callBody(body);
    return;
  } catch (const XError& error) {
    caught.make(error);
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (const std::exception& exception) {
    caught.make(foreignError(exception));
  } catch (...) {
    caught.make(seriousError());
  }
  const LateError::Ended ended{caught};
  const StSetCurrentException current(&caught.error);
  callHandler(onError, caught.error);
}

/// Cleans up after an error and passes it on.
template <class Body, class Cleanup>
inline void guardedReraise(Body&& body, Cleanup&& cleanup) {
  guarded(body, [&](XError& caught) {
    callHandler(cleanup, caught);
    xraisexerror(caught);
  });
}

/// Passes an error on with a level more: `reraisedAs("DICT_ADD_FAILED", [&] { grow(); }, "long items", items, 0)`.
template <class Body, CellValue... List>
inline void reraisedAs(const char* code, Body&& body, List... labelsAndValues) {
  guarded(body, [&](XError& caught) { xreraise(caught, code, labelsAndValues...); });
}

/// Runs `body` and drops what it raises, for places that may not raise.
///
/// Returns:  whether it came through.
template <class Body>
inline bool succeeds(Body&& body) {
  bool came = true;
  guarded(body, [&] { came = false; });
  return came;
}

/// Runs `finally` after `body`, however that ends. Should both raise, the error is that of `body`.
template <class Body, class Finally>
inline void always(Body&& body, Finally&& finally) {
  guardedReraise(body, [&] { succeeds(finally); });
  finally();
}

}  // namespace ky
