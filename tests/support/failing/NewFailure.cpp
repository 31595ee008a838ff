#include "tests/support/failing/NewFailure.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int left = 0;  // 0 when none is waited for
thread_local bool happened = false;

}  // namespace

void* operator new(std::size_t size) {
  if (left > 0 && --left == 0) {
    happened = true;
    throw std::bad_alloc();
  }
  if (void* const block = std::malloc(size > 0 ? size : 1)) return block;
  throw std::bad_alloc();
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

ky::test::Fault ky::test::newFault() {
  return {"new", "std::exception", [](int nth) {
            const std::function<bool()> disarm = [] {
              left = 0;
              return happened;
            };
            happened = false;
            left = nth;
            return disarm;
          }};
}
