#include "core/utils/AStream.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/utils/StreamWire.h"

using namespace ky;

namespace {

constexpr Long lastPosition = std::numeric_limits<Long>::max();

void noPtrWrite(void*, AStream*, const char*, APortable*) { fatal("Ptr callback not installed"); }

APortable* noPtrRead(void*, AStream*, const char*) {
  fatal("Ptr callback not installed");
  return nullptr;
}

void noClassWrite(void*, AStream*, Long, char) {}
char noClassRead(void*, AStream*, Long) { return 0; }

}  // namespace

Int64 ky::remaining(AStream* stream) {
  const Int64 end = stream->readableEnd ? stream->readableEnd(stream) : stream->GetLength();
  return std::max<Int64>(end - stream->GetPosition(), 0);
}

void AStream::IStream() {
  ptrWriteFunc = noPtrWrite;
  ptrReadFunc = noPtrRead;
  classWriteFunc = noClassWrite;
  classReadFunc = noClassRead;
  IObject();
}

AStream::~AStream() = default;

AObject* AStream::Copy() {
  DoesNotImplement();
  return nullptr;
}

// ---- the window

void AStream::installCore(CoreFunc read, CoreFunc write) {
  coreRead = windowRead = read;
  coreWrite = windowWrite = write;
}

void AStream::openWindow(void* bytes, Int64 begin, Int64 at, Int64 readable, Int64 writable) {
  if (!bytes) return closeWindow(at);
  position = begin;
  window = static_cast<char*>(bytes);
  cursor = window + (at - begin);
  readLimit = window + (!traceFunc && coreRead == windowRead ? readable : 0);
  writeLimit = window + (!traceFunc && coreWrite == windowWrite ? writable : 0);
  setPlainLimits();
}

void AStream::closeWindow(Int64 at) {
  position = at;
  window = cursor = nullptr;
  shutWindow();
}

void AStream::CoreRead(void* stream, void* buffer, Long length) { CoreWrite(stream, buffer, length); }

void AStream::CoreWrite(void* stream, void*, Long length) {
  auto* self = static_cast<AStream*>(stream);
  if (length > 0) self->closeWindow(self->here() + length);
}

// ---- raw transfer and place

void AStream::Close() { Dispose(); }

void AStream::Write(const void* buffer, Long length) {
  if (length > 0 && StreamWire::hasToWrite(*this, length)) [[likely]] {
    std::memcpy(cursor, buffer, static_cast<std::size_t>(length));
    cursor += length;
    return;
  }
  if (traceFunc) StreamWire::traceBytes(*this, nullptr, buffer, length);
  StreamWire::putBytes(*this, buffer, length);
}

void AStream::Read(void* buffer, Long length) {
  if (length > 0 && StreamWire::hasToRead(*this, length)) [[likely]] {
    std::memcpy(buffer, cursor, static_cast<std::size_t>(length));
    cursor += length;
    return;
  }
  coreRead(this, buffer, length);
  if (traceFunc) StreamWire::traceBytes(*this, nullptr, buffer, length);
}

void AStream::Skip(Long length) {
  if (length > 0 && StreamWire::hasToRead(*this, length)) {
    cursor += length;
  } else {
    CoreSkip(length);
  }
}

void AStream::CoreSkip(Long length) {
  const Int64 to = Int64(GetPosition()) + length;
  if (to > lastPosition) +XError("STRM_BAD_POSITION");
  SetPosition(static_cast<Long>(to));
}

Long AStream::GetPosition() { return static_cast<Long>(std::min<Int64>(here(), lastPosition)); }

Long AStream::GetLength() { return lastPosition; }

void AStream::SetLength(Long) {}

Boolean AStream::IsRandom() { return true; }

void AStream::startSeek(Long to, Long end) {
  if (traceFunc) StreamWire::tracePosition(*this, to);
  if (to < 0 || to > end) +XError("STRM_BAD_POSITION");
}

void AStream::SetPosition(Long newPosition) {
  startSeek(newPosition, lastPosition);
  closeWindow(newPosition);
}

void AStream::SetSeqBuf(Long, Long) {}

void AStream::Flush() {}

// ---- callbacks

void AStream::SetPtrFuncW(PtrWriteFunc function, void* data) {
  ptrWriteFunc = function ? function : noPtrWrite;
  ptrWriteData = data;
}

void AStream::SetPtrFuncR(PtrReadFunc function, void* data) {
  ptrReadFunc = function ? function : noPtrRead;
  ptrReadData = data;
}

void AStream::SetClassFuncW(ClassWriteFunc function, void* data) {
  classWriteFunc = function ? function : noClassWrite;
  classWriteData = data;
}

void AStream::SetClassFuncR(ClassReadFunc function, void* data) {
  classReadFunc = function ? function : noClassRead;
  classReadData = data;
}

void AStream::SetCoreReadFunc(CoreFunc function) {
  coreRead = function;
  shutWindow();
}

void AStream::SetCoreWriteFunc(CoreFunc function) {
  coreWrite = function;
  shutWindow();
}

void AStream::WriteObjPtr(const char* label, APortable* object) { ptrWriteFunc(ptrWriteData, this, label, object); }

APortable* AStream::ReadObjPtr(const char* label) { return ptrReadFunc(ptrReadData, this, label); }

// ---- structure and special types, for derived classes

void AStream::StartList(void*, const char*, Boolean) {}

void AStream::EndList(void*, const char*, Boolean) {}

void AStream::EndElement(void*, const char*, Boolean) {}

Boolean AStream::IsSpecialType(int) { return false; }

void AStream::WriteSpecialType(int, const char*, void*) { SubclassResponsibility(); }

void AStream::ReadSpecialType(int, const char*, void*) { SubclassResponsibility(); }

// ---- modes

Boolean AStream::SetUseTags(Boolean on) {
  const Boolean was = useTags;
  useTags = on != 0;
  tagLength = inTaggedFields && useTags;
  setPlainLimits();
  return was;
}

Boolean AStream::SetHasMinorVersion(Boolean has) {
  const Boolean was = hasMinorVersion;
  hasMinorVersion = has != 0;
  return was;
}

void AStream::SetSwapBytes(Boolean on) {
  swapBytes = on != 0;
  setPlainLimits();
  TestAndSetInlineAllowed();
}

void AStream::SetTraceFunc(KyPrint print) {
  traceFunc = print;
  shutWindow();
  TestAndSetInlineAllowed();
}

KyPrint AStream::GetTraceFunc() { return traceFunc; }

int AStream::IndentTrace(int delta) { return traceIndent += delta; }

void AStream::SetInlineAllowed(Boolean allowed) { inlineAllowed = allowed != 0; }

Boolean AStream::GetInlineAllowed() { return inlineAllowed; }

void AStream::TestAndSetInlineAllowed() { SetInlineAllowed(!swapBytes && !traceFunc && !inTaggedFields); }

// ---- patches

Boolean AStream::AddPatch(ULong base, ULong place, Boolean nativeOrder) {
  if (patchCount == Long(std::size(patches))) return false;
  patches[patchCount++] = {place, base, nativeOrder};
  return true;
}

void AStream::WritePatches() {
  if (patchCount == 0) return;
  const Long end = GetPosition();
  for (Long i = 0; i < patchCount; ++i) {
    SetPosition(static_cast<Long>(patches[i].position));
    if (!patches[i].nativeOrder) SetSwapBytes(true);
    WriteLong("patchsize", static_cast<Long>(static_cast<ULong>(end) - patches[i].base));
  }
  SetPosition(end);
  std::fill(std::begin(patches), std::end(patches), Patch{});
  patchCount = 0;
  SetSwapBytes(false);
}
