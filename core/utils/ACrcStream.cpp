#include "core/utils/ACrcStream.h"

#include "core/mem/Owned.h"
#include "core/utils/Crc.h"

using namespace ky;

ACrcStream* ACrcStream::New() {
  Owned<ACrcStream> stream(new ACrcStream);
  stream->ICrcStream();
  return stream.release();
}

void ACrcStream::ICrcStream() {
  IStream();
  installCore<ACrcStream, &ACrcStream::fetch, &ACrcStream::store>();
}

/// Digests what the window has taken since it was opened, and opens it anew at `at`.
void ACrcStream::digestWindow(Int64 at) {
  if (hasWindow()) crc = crcUpdate(crc, pending, static_cast<std::size_t>(here() - windowBegin));
  windowBegin = at;
  openWindow(pending, at, at, 0, sizeof pending);
}

void ACrcStream::fetch(void*, Long length) { digestWindow(here() + length); }

void ACrcStream::store(const void* data, Long length) {
  const Int64 at = here();
  digestWindow(at);
  crc = crcUpdate(crc, data, static_cast<std::size_t>(length));
  digestWindow(at + length);
}

void ACrcStream::SetPosition(Long position) {
  digestWindow(here());
  AStream::SetPosition(position);
}

void ACrcStream::ResetCrc() { SetCurrentCrc(0xFFFFFFFF); }

ULong ACrcStream::GetResultCrc() { return ~GetCurrentCrc(); }

ULong ACrcStream::GetCurrentCrc() {
  digestWindow(here());
  return crc;
}

void ACrcStream::SetCurrentCrc(ULong newCrc) {
  digestWindow(here());
  crc = newCrc;
}
