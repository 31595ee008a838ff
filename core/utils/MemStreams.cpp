#include "core/utils/MemStreams.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/mem/KyHandles.h"
#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"

using namespace ky;

namespace {

constexpr Int64 mostBytes = std::numeric_limits<Long>::max();

template <class Stream>
Stream* from(void* stream) {
  return static_cast<Stream*>(static_cast<AStream*>(stream));
}

/// A length that was reckoned in 64 bits; more than a block can hold is out of reach for any of these streams.
Long reachable(Int64 length) {
  if (length > mostBytes) +XError("STRM_EOF");
  return static_cast<Long>(length);
}

}  // namespace

// ---- fixed memory

AMemStream* AMemStream::New(char** handle, Long eof) {
  Owned<AMemStream> stream(new AMemStream);
  stream->IMemStream(handle, eof);
  return stream.release();
}

AMemStream* AMemStream::NewFromPtr(void* buffer, Long eof, Long capacity) {
  Owned<AMemStream> stream(new AMemStream);
  stream->IMemStreamFromPtr(buffer, eof, capacity);
  return stream.release();
}

void AMemStream::IMemStream(char** handle, Long newEof) {
  IStream();
  installCore(CoreRead, CoreWrite);
  if (check(handle != nullptr, "buffer")) adopt(nullptr, handle, newEof, KyGetHandleSize(handle));
}

void AMemStream::IMemStreamFromPtr(void* pointer, Long newEof, Long newCapacity) {
  IStream();
  installCore(CoreRead, CoreWrite);
  if (check(pointer != nullptr, "buffer")) adopt(pointer, nullptr, newEof, newCapacity);
}

const char* AMemStream::ClassName() { return "AMemStream"; }

Boolean AMemStream::IsInstanceOf(const char* name) {
  return std::strcmp(name, "AMemStream") == 0 || AStream::IsInstanceOf(name);
}

void AMemStream::Dispose() {
  if (!disposeMem) return AStream::Dispose();
  always([this] { DisposeMem(); }, [this] { AStream::Dispose(); });
}

Long AMemStream::Size() { return AStream::Size() + capacity; }

void AMemStream::catchUp() {
  if (hasWindow()) eof = static_cast<Long>(std::max<Int64>(eof, here()));
}

/// Behind an end that was cut the stream stands without a window: the end must not follow it there.
void AMemStream::place(Int64 at) {
  if (at > eof || !buffer) return closeWindow(at);
  openWindow(*buffer, 0, at, eof, capacity);
}

void AMemStream::CoreRead(void* stream, void* data, Long length) {
  if (length <= 0) return;
  auto* self = from<AMemStream>(stream);
  self->catchUp();
  const Int64 at = self->here();
  const Int64 end = at + length;
  if (end > self->eof) +XError("STRM_EOF");
  std::memcpy(data, *self->buffer + at, static_cast<std::size_t>(length));
  self->place(end);
}

void AMemStream::CoreWrite(void* stream, void* data, Long length) {
  if (length <= 0) return;
  auto* self = from<AMemStream>(stream);
  self->catchUp();
  const Int64 at = self->here();
  const Int64 end = at + length;
  if (end > self->capacity) self->SetLength(reachable(end));
  if (end > self->capacity) +XError("STRM_EOF");
  std::memcpy(*self->buffer + at, data, static_cast<std::size_t>(length));
  self->eof = static_cast<Long>(std::max<Int64>(self->eof, end));
  self->place(end);
}

Long AMemStream::GetLength() {
  catchUp();
  return eof;
}

void AMemStream::SetLength(Long length) {
  catchUp();
  if (length > capacity) +XError("STRM_EOF");
  if (length < 0) +XError("STRM_BAD_POSITION");
  const Int64 at = here();
  eof = length;
  place(at);
}

void AMemStream::SetPosition(Long position) {
  catchUp();
  if (position > eof) +XError("STRM_BAD_POSITION");
  AStream::SetPosition(position);
  place(position);
}

void AMemStream::grow(Int64 newCapacity) {
  if (ownedPtr || !buffer) +XError("STRM_EOF");
  KySetHandleSize(buffer, reachable(newCapacity));
  capacity = static_cast<Long>(newCapacity);
}

void AMemStream::adopt(void* pointer, char** handle, Long newEof, Long newCapacity) {
  ownedPtr = pointer;
  buffer = handle ? handle : reinterpret_cast<char**>(&ownedPtr);
  capacity = std::max<Long>(newCapacity, 0);
  eof = std::clamp<Long>(newEof, 0, capacity);
  disposeMem = false;
  place(0);
}

void AMemStream::DisposeMem() {
  void* const pointer = std::exchange(ownedPtr, nullptr);
  char** const handle = std::exchange(buffer, nullptr);
  eof = capacity = 0;
  closeWindow(0);
  if (pointer) {
    KyDisposePtr(pointer);
  } else if (handle) {
    KyDisposeHandle(handle);
  }
}

void AMemStream::SetDisposeMem(Boolean dispose) { disposeMem = dispose != 0; }

void* AMemStream::AdoptPtr(void* pointer, Long newEof, Long newCapacity) {
  void* const before = ownedPtr;
  if (check(pointer != nullptr, "buffer")) adopt(pointer, nullptr, newEof, newCapacity);
  return before;
}

char** AMemStream::AdoptHandle(char** handle, Long newEof, Long newCapacity) {
  char** const before = ownedPtr ? nullptr : buffer;
  if (check(handle != nullptr, "buffer")) adopt(nullptr, handle, newEof, newCapacity);
  return before;
}

char** AMemStream::GetBuf() {
  shutWindow();  // the caller may move the block
  return buffer;
}

void* AMemStream::GetPtr() { return ownedPtr; }

// ---- growing by doubling

AVariMemStream* AVariMemStream::New(char** handle) { return NewWithEOF(handle, handle ? KyGetHandleSize(handle) : 0); }

AVariMemStream* AVariMemStream::NewWithEOF(char** handle, Long eof) {
  Owned<AVariMemStream> stream(new AVariMemStream);
  stream->IMemStream(handle, eof);
  return stream.release();
}

const char* AVariMemStream::ClassName() { return "AVariMemStream"; }

Boolean AVariMemStream::IsInstanceOf(const char* name) {
  return std::strcmp(name, "AVariMemStream") == 0 || AMemStream::IsInstanceOf(name);
}

void AVariMemStream::SetLength(Long length) {
  catchUp();
  if (length > capacity) {
    const Int64 step = Int64{2} * capacity;
    const Int64 multiple = step ? (length + step - 1) / step * step : length;
    grow(std::min(multiple, mostBytes));
  }
  AMemStream::SetLength(length);
}

// ---- growing in steps

ADynamicMemStream* ADynamicMemStream::New(char** handle) {
  Owned<ADynamicMemStream> stream(new ADynamicMemStream);
  stream->IDynamicMemStream(handle);
  return stream.release();
}

void ADynamicMemStream::IDynamicMemStream(char** handle) {
  IStream();
  installCore(CoreRead, CoreWrite);
  readableEnd = [](AStream* stream) -> Int64 { return from<ADynamicMemStream>(stream)->capacity; };
  if (!check(handle != nullptr, "buffer")) return;
  buffer = handle;
  capacity = defined = KyGetHandleSize(handle);
  place(0);
}

const char* ADynamicMemStream::ClassName() { return "ADynamicMemStream"; }

Boolean ADynamicMemStream::IsInstanceOf(const char* name) {
  return std::strcmp(name, "ADynamicMemStream") == 0 || AStream::IsInstanceOf(name);
}

Long ADynamicMemStream::Size() { return AStream::Size() + capacity; }

void ADynamicMemStream::catchUp() {
  if (!hasWindow()) return;
  logicalEOF = static_cast<Long>(std::max<Int64>(logicalEOF, here()));
  defined = std::max(defined, logicalEOF);
}

/// Inside the window only writing passes what is defined, and leaves no gap.
void ADynamicMemStream::place(Int64 at) {
  if (at > logicalEOF || !buffer) return closeWindow(at);
  openWindow(*buffer, 0, at, defined, capacity);
}

/// Room that nobody uses is never touched, however large the steps are.
void ADynamicMemStream::clearUpTo(Int64 end) {
  if (end <= defined) return;
  std::memset(*buffer + defined, 0, static_cast<std::size_t>(end - defined));
  defined = static_cast<Long>(end);
}

void ADynamicMemStream::CoreRead(void* stream, void* data, Long length) {
  if (length <= 0) return;
  auto* self = from<ADynamicMemStream>(stream);
  self->catchUp();
  const Int64 at = self->here();
  const Int64 end = at + length;
  if (end > self->capacity) +XError("STRM_EOF");
  self->clearUpTo(end);
  std::memcpy(data, *self->buffer + at, static_cast<std::size_t>(length));
  self->logicalEOF = static_cast<Long>(std::max<Int64>(self->logicalEOF, end));
  self->place(end);
}

void ADynamicMemStream::CoreWrite(void* stream, void* data, Long length) {
  if (length <= 0) return;
  auto* self = from<ADynamicMemStream>(stream);
  self->catchUp();
  const Int64 at = self->here();
  const Int64 end = at + length;
  if (end > self->capacity) self->SetLength(reachable(end));
  if (end > self->capacity) +XError("STRM_EOF");
  std::memcpy(*self->buffer + at, data, static_cast<std::size_t>(length));
  self->logicalEOF = static_cast<Long>(std::max<Int64>(self->logicalEOF, end));
  self->defined = static_cast<Long>(std::max<Int64>(self->defined, end));
  self->place(end);
}

void ADynamicMemStream::makeRoom(Int64 length) {
  if (!buffer) +XError("STRM_EOF");
  const Int64 stepped = growSize > 1 ? (length / (growSize - 1) + 1) * growSize : length;
  const Long newCapacity = reachable(stepped > mostBytes ? length : stepped);
  KySetHandleSize(buffer, newCapacity);
  capacity = newCapacity;
}

void ADynamicMemStream::SetLength(Long length) {
  catchUp();
  if (length < 0) +XError("STRM_BAD_POSITION");
  const Int64 at = here();
  if (length > capacity) {
    makeRoom(length);
  } else {
    logicalEOF = std::min(logicalEOF, length);
  }
  place(at);
}

void ADynamicMemStream::SetPosition(Long position) {
  catchUp();
  if (position > capacity && !autoGrow) +XError("STRM_BAD_POSITION");
  if (position > capacity) SetLength(position);
  AStream::SetPosition(position);
  clearUpTo(position);
  logicalEOF = std::max(logicalEOF, position);
  place(position);
}

char** ADynamicMemStream::GetBuf() {
  shutWindow();  // the caller may move the block
  return buffer;
}

void ADynamicMemStream::SetGrowSize(Long size) { growSize = size; }

Long ADynamicMemStream::GetLogicalEOF() {
  catchUp();
  return logicalEOF;
}

void ADynamicMemStream::DisposeMem() {
  char** const handle = std::exchange(buffer, nullptr);
  logicalEOF = capacity = defined = 0;
  closeWindow(0);
  if (handle) KyDisposeHandle(handle);
}

Boolean ADynamicMemStream::DoesAutoGrow(Boolean grow) { return std::exchange(autoGrow, Boolean(grow != 0)); }
