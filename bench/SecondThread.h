// The condition under which programs use locks and memory.
#pragma once

#include <future>
#include <thread>

namespace ky::bench {

/// A thread that does nothing. While a process has but one, the standard library's locks and its memory leave their
/// atomics out, and so do better than in any host.
class SecondThread {
 public:
  ~SecondThread() {
    done.set_value();
    idle.join();
  }

 private:
  std::promise<void> done;
  std::thread idle{[finished = done.get_future()] { finished.wait(); }};
};

}  // namespace ky::bench
