// Object documents from anywhere: each loads or raises, and what loads can be saved again.
#include <cstddef>
#include <cstdint>

#include "core/os/HostStart.h"
#include "tests/objsys/Film.h"
#include "tests/support/Raised.h"

using namespace ky;
using namespace ky::test;

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
/// What a damaged document's objects refer to without owning stays behind when the load fails.
extern "C" const char* __lsan_default_options() { return "detect_leaks=0"; }
#endif
#endif

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  KyStartHost();  // a broken invariant ends the run
  registerFilm();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string document(reinterpret_cast<const char*>(data), size);
  codeRaisedBy([&] {
    Owned<APortable> root(loaded(document));
    saved(root.get());
  });
  return 0;
}
