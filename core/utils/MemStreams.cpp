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

constexpr Long mostBytes = std::numeric_limits<Long>::max();

/// A length that was reckoned in 64 bits; more than a block can hold is out of reach for any of these streams.
Long reachable(Int64 length) {
  if (length > mostBytes) +XError("STRM_EOF");
  return static_cast<Long>(length);
}

/// Has `stream` grow by its own rule, which may be not at all.
void makeRoomUpTo(Int64 end, const Long& capacity, AStream& stream) {
  if (end > capacity) stream.SetLength(reachable(end));
  if (end > capacity) +XError("STRM_EOF");
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
  installCore<AMemStream, &AMemStream::fetch, &AMemStream::store>();
  if (check(handle != nullptr, "buffer")) adopt(nullptr, handle, newEof, KyGetHandleSize(handle));
}

void AMemStream::IMemStreamFromPtr(void* pointer, Long newEof, Long newCapacity) {
  IStream();
  installCore<AMemStream, &AMemStream::fetch, &AMemStream::store>();
  if (check(pointer != nullptr, "buffer")) adopt(pointer, nullptr, newEof, newCapacity);
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

void AMemStream::fetch(void* data, Long length) {
  catchUp();
  const Int64 at = here();
  if (at + length > eof) +XError("STRM_EOF");
  std::memcpy(data, *buffer + at, static_cast<std::size_t>(length));
  place(at + length);
}

void AMemStream::store(const void* data, Long length) {
  catchUp();
  const Int64 at = here();
  const Int64 end = at + length;
  makeRoomUpTo(end, capacity, *this);
  std::memcpy(*buffer + at, data, static_cast<std::size_t>(length));
  eof = static_cast<Long>(std::max<Int64>(eof, end));
  place(end);
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
  startSeek(position, eof);
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

// ---- growing by multiples

AVariMemStream* AVariMemStream::New(char** handle) { return NewWithEOF(handle, handle ? KyGetHandleSize(handle) : 0); }

AVariMemStream* AVariMemStream::NewWithEOF(char** handle, Long eof) {
  Owned<AVariMemStream> stream(new AVariMemStream);
  stream->IMemStream(handle, eof);
  return stream.release();
}

void AVariMemStream::SetLength(Long length) {
  catchUp();
  if (length > capacity) {
    const Int64 step = Int64{2} * capacity;
    const Int64 multiple = step ? (length + step - 1) / step * step : length;
    grow(std::min<Int64>(multiple, mostBytes));
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
  installCore<ADynamicMemStream, &ADynamicMemStream::fetch, &ADynamicMemStream::store>();
  readableEnd = [](AStream* stream) -> Int64 { return static_cast<ADynamicMemStream*>(stream)->capacity; };
  if (!check(handle != nullptr, "buffer")) return;
  buffer = handle;
  capacity = defined = KyGetHandleSize(handle);
  place(0);
}

Long ADynamicMemStream::Size() { return AStream::Size() + capacity; }

/// The bytes in front of `at` hold something, and the logical end is not among them.
void ADynamicMemStream::reach(Int64 at) {
  logicalEOF = static_cast<Long>(std::max<Int64>(logicalEOF, at));
  defined = std::max(defined, logicalEOF);
}

void ADynamicMemStream::catchUp() {
  if (hasWindow()) reach(here());
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

void ADynamicMemStream::fetch(void* data, Long length) {
  catchUp();
  const Int64 at = here();
  const Int64 end = at + length;
  if (end > capacity) +XError("STRM_EOF");
  clearUpTo(end);
  std::memcpy(data, *buffer + at, static_cast<std::size_t>(length));
  reach(end);
  place(end);
}

void ADynamicMemStream::store(const void* data, Long length) {
  catchUp();
  const Int64 at = here();
  const Int64 end = at + length;
  makeRoomUpTo(end, capacity, *this);
  std::memcpy(*buffer + at, data, static_cast<std::size_t>(length));
  reach(end);
  place(end);
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
  startSeek(position, autoGrow ? mostBytes : capacity);
  if (position > capacity) SetLength(position);
  clearUpTo(position);
  reach(position);
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
