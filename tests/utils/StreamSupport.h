// Streams for tests: what is written as a vector of bytes, and bytes to read as a stream.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "core/mem/KyHandles.h"
#include "core/mem/Owned.h"
#include "core/utils/MemStreams.h"

namespace ky::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes joined(Bytes head, const Bytes& tail) {
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

/// How a stream codes: inside a tagged section or bare, in native order or swapped.
struct Coding {
  bool tagged = false;
  bool swapped = false;
};

constexpr Coding allCodings[] = {{false, false}, {true, false}, {false, true}, {true, true}};

/// Switches the coding on, in the middle of a tagged section where there are tags.
inline void apply(Coding coding, AStream* stream) {
  stream->SetSwapBytes(coding.swapped);
  if (!coding.tagged) return;
  stream->SetUseTags(true);
  const Long at = stream->GetPosition();
  stream->WriteBeginTagMark(1);
  stream->SetPosition(at);
}

/// All bytes of a stream that tells its length.
inline Bytes contents(AStream* stream) {
  const Long at = stream->GetPosition();
  Bytes bytes(static_cast<std::size_t>(stream->GetLength()));
  stream->SetPosition(0);
  stream->Read(bytes.data(), static_cast<Long>(bytes.size()));
  stream->SetPosition(at);
  return bytes;
}

/// A growing memory stream that owns its handle, holding `bytes` and standing at the start.
inline Owned<AVariMemStream> streamOf(const Bytes& bytes) {
  char** const handle = KyNewHandle(static_cast<Long>(bytes.size()));
  if (!bytes.empty()) std::memcpy(*handle, bytes.data(), bytes.size());
  Owned<AVariMemStream> stream(AVariMemStream::New(handle));
  stream->SetDisposeMem(true);
  return stream;
}

/// What `put(stream)` writes.
template <class Put>
Bytes bytesWritten(Put put) {
  const Owned<AVariMemStream> stream = streamOf({});
  put(stream.get());
  return contents(stream.get());
}

inline int tracedLines = 0;
inline int countLine(const char*, ...) { return ++tracedLines; }

}  // namespace ky::test
