// Any bytes given to the document inspector: it finds a fault that it can word or reads to the end, and all lies in the
// file.
#include <cstdlib>

#include "apps/kydoc/Inspector.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  const kydoc::Findings findings = kydoc::inspect(bytes, {}, [&](const kydoc::Record& record) {
    if (record.body.data() < data || record.body.data() + record.body.size() > data + size) std::abort();
  });
  if (findings.fault && findings.fault->offset > static_cast<std::int64_t>(size)) std::abort();
  if (findings.fault) kydoc::faultText(*findings.fault);
  return 0;
}
