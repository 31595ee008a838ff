#include "core/threads/Blocking.h"

#include <atomic>

namespace ky {
namespace {

std::atomic<decltype(BlockingHooks::aboutToBlock)> sAboutToBlock{nullptr};
std::atomic<decltype(BlockingHooks::doneBlocking)> sDoneBlocking{nullptr};

}  // namespace

BlockingHooks installBlockingHooks(const BlockingHooks& hooks) {
  const auto doneBefore = sDoneBlocking.exchange(hooks.doneBlocking);
  return {sAboutToBlock.exchange(hooks.aboutToBlock), doneBefore};
}

// A wait that began before the hooks were there ends without them.
Blocking::Blocking() {
  const auto about = sAboutToBlock.load();
  if (!about) return;
  done = sDoneBlocking;
  about();
}

Blocking::~Blocking() {
  if (done) done();
}

}  // namespace ky
