#include "core/utils/BufferStream.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/KyMemory.h"

using namespace ky;

// ---- the buffer

DynamicBuffer::DynamicBuffer(Long growSize, Boolean takeFirst) : _growSize(growSize) {
  check(_growSize > 0, "_growSize > 0");
  if (takeFirst) Size(_growSize);
}

DynamicBuffer::~DynamicBuffer() { Free(); }

void DynamicBuffer::Free() {
  if (_bufPtr) KyDisposePtr(_bufPtr);
  _bufPtr = nullptr;
  size = 0;
}

Long DynamicBuffer::Size(Long n) {
  Int64 trySize = n;
  if (_growSize > 0) trySize = (n + Int64{n < 0 ? 1 - _growSize : _growSize - 1}) / _growSize * _growSize;
  if (!check(trySize >= 0, "trySize >= 0")) return size;
  if (trySize == 0) {
    Free();
    return size;
  }
  if (trySize > std::numeric_limits<Long>::max()) +XError("MEM_OUT_OF_MEMORY");
  const auto newSize = static_cast<Long>(trySize);
  if (_bufPtr) {
    KyReallocPtr(&_bufPtr, newSize);
  } else {
    _bufPtr = KyNewPtr(newSize);
  }
  if (!check(_bufPtr != nullptr, "_bufPtr")) return size;
  // A stream over it may be read wherever it has stood.
  if (newSize > size) std::memset(bytes() + size, 0, static_cast<std::size_t>(newSize - size));
  return size = newSize;
}

Long DynamicBuffer::GiveData(Long offset, const void* data, Long len) {
  if (len <= 0 || offset < 0 || offset >= size) return 0;
  const Long count = std::min(len, size - offset);
  std::memcpy(bytes() + offset, data, static_cast<std::size_t>(count));
  return count;
}

Long DynamicBuffer::TakeData(Long offset, void* data, Long len) const {
  if (len <= 0 || offset < 0 || offset >= size) return 0;
  const Long count = std::min(len, size - offset);
  std::memcpy(data, bytes() + offset, static_cast<std::size_t>(count));
  return count;
}

// ---- the stream over it

namespace {

/// The stream that a core function was called for.
BufferStream* instance(void* stream) {
  if (!check(stream != nullptr, "stream")) return nullptr;
  auto* const known = static_cast<AStream*>(stream);
  return known->IsInstanceOf("BufferStream") ? static_cast<BufferStream*>(known) : nullptr;
}

}  // namespace

BufferStream::BufferStream(Long growSize, Long newMaxLength, Boolean takeFirst)
    : _dynamicBuffer(growSize, takeFirst), maxLength(newMaxLength) {
  IStream();
  installCore(CoreRead, CoreWrite);
}

Long BufferStream::Size() { return static_cast<Long>(sizeof *this) + _dynamicBuffer.Size(); }

/// What standing where the window was left means for the two marks.
void BufferStream::catchUp() {
  if (!hasWindow()) return;
  const auto at = static_cast<Long>(here());
  highWater = std::max(highWater, at);
  length = std::max(length, at + 1);
}

/// The window ends where the next position would need more length than the buffer has room for.
void BufferStream::place(Int64 at) {
  if (at >= length) return closeWindow(at);
  openWindow(_dynamicBuffer.bytes(), 0, at, std::min(highWater, length - 1),
             std::min(_dynamicBuffer.Size(), maxLength) - 1);
}

/// The length counts the byte that the stream stands on.
void BufferStream::standAt(Long position) {
  if (position >= GetLength()) {
    if (position >= maxLength) +XError("STRM_INCORRECT_LENGTH");
    SetLength(position + 1);
  }
  highWater = std::max(highWater, position);
  place(position);
}

void BufferStream::CoreRead(void* stream, void* data, Long len) {
  auto* const self = instance(stream);
  if (!self || len <= 0) return;
  self->catchUp();
  const Int64 at = self->here();
  if (at + len > self->highWater) +XError("STRM_EOF");
  if (!check(self->_dynamicBuffer.TakeData(Long(at), data, len) == len, "numBytes == len")) return;
  self->standAt(Long(at + len));
}

void BufferStream::CoreWrite(void* stream, void* data, Long len) {
  auto* const self = instance(stream);
  if (!self || len <= 0) return;
  self->catchUp();
  const Int64 at = self->here();
  if (!check(at + len <= std::numeric_limits<Long>::max(), "GetPosition() + len >= 0")) return;
  if (at + len >= self->GetLength()) self->SetLength(Long(at + len));
  if (!check(self->_dynamicBuffer.GiveData(Long(at), data, len) == len, "numBytes == len")) return;
  self->standAt(Long(at + len));
}

Long BufferStream::GetLength() {
  catchUp();
  return length;
}

void BufferStream::SetLength(Long newlen) {
  catchUp();
  if (newlen > maxLength) +XError("STRM_INCORRECT_LENGTH");
  if (newlen < 0) +XError("STRM_BAD_POSITION");
  const Int64 at = here();
  closeWindow(at);
  if (newlen > _dynamicBuffer.Size() || newlen == 0) _dynamicBuffer.Size(newlen);
  if (!check(_dynamicBuffer.Size() >= newlen, "_dynamicBuffer.Size() >= newlen")) return;
  length = newlen;
  highWater = std::min(highWater, newlen);
  place(at);
}

void BufferStream::SetPosition(Long position) {
  startSeek(position, std::numeric_limits<Long>::max());
  standAt(position);
}
