// Any bytes given to the edit list reader: it refuses them or reads a list that is sound and, written and read again,
// the same.
#include <cstdint>
#include <cstdlib>

#include "apps/reel/CmxEdl.h"
#include "core/os/HostStart.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  KyStartHost();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const reel::EdlText list = reel::readEdl(text, {}, {});
    if (!reel::isSound(list) || reel::listDuration(list) < 0) std::abort();
    const std::string written = reel::writeEdl(list);
    if (reel::writeEdl(reel::readEdl(written, {}, {})) != written) std::abort();
  } catch (const reel::UnreadableEdl&) {
  }
  return 0;
}
