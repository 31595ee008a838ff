#include "core/utils/ACrcStream.h"

#include <algorithm>
#include <cstring>

#include "core/mem/Owned.h"
#include "core/utils/Crc.h"

using namespace ky;

namespace {

ACrcStream* from(void* stream) { return static_cast<ACrcStream*>(static_cast<AStream*>(stream)); }

}  // namespace

ACrcStream* ACrcStream::New() {
  Owned<ACrcStream> stream(new ACrcStream);
  stream->ICrcStream();
  return stream.release();
}

void ACrcStream::ICrcStream() {
  IStream();
  installCore(CoreRead, CoreWrite);
}

const char* ACrcStream::ClassName() { return "ACrcStream"; }

Boolean ACrcStream::IsInstanceOf(const char* name) {
  return std::strcmp(name, "ACrcStream") == 0 || AStream::IsInstanceOf(name);
}

/// Digests what the window has taken since it was opened, and opens it anew at `at`.
void ACrcStream::digestWindow(Int64 at) {
  if (hasWindow()) crc = crcUpdate(crc, pending, static_cast<std::size_t>(here() - windowBegin));
  windowBegin = at;
  openWindow(pending, at, at, 0, sizeof pending);
}

void ACrcStream::CoreRead(void* stream, void*, Long length) {
  auto* self = from(stream);
  self->digestWindow(self->here() + std::max<Long>(length, 0));
}

void ACrcStream::CoreWrite(void* stream, void* data, Long length) {
  if (length <= 0) return;
  auto* self = from(stream);
  const Int64 at = self->here();
  self->digestWindow(at);
  self->crc = crcUpdate(self->crc, data, static_cast<std::size_t>(length));
  self->digestWindow(at + length);
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
