// Any bytes given to the document inspector: it finds a fault or reads to the end, and every record lies in the file.
#include <cstdlib>

#include "apps/kydoc/Inspector.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  kydoc::inspect(bytes, {}, [&](const kydoc::Record& record) {
    if (record.body.data() < data || record.body.data() + record.body.size() > data + size) std::abort();
  });
  return 0;
}
