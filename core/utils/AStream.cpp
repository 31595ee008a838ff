#include "core/utils/AStream.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/Owned.h"
#include "core/utils/StreamWire.h"

using namespace ky;

namespace {

constexpr Int64 lastPosition = std::numeric_limits<Long>::max();

/// Counts single values as they come, and the rest through a window over a scratch block that is used over and over.
/// The window is shut where a trace or a client's core function wants to see the values.
class CountingStream final : public AStream {
 public:
  void ICountingStream() {
    IStream();
    installCore(countRead, countWrite);
  }

  void WriteBytes(const char* label, const void* bytes, Long length) override {
    if (length < 0 || !counted(lengthOfTagged() + length)) AStream::WriteBytes(label, bytes, length);
  }
  void WriteBoolean(const char* label, Boolean value) override {
    if (!counted(sizeof value)) AStream::WriteBoolean(label, value);
  }
  void WriteChar(const char* label, char value) override {
    if (!counted(sizeof value)) AStream::WriteChar(label, value);
  }
  void WriteUChar(const char* label, unsigned char value) override {
    if (!counted(sizeof value)) AStream::WriteUChar(label, value);
  }
  void WriteShort(const char* label, short value) override {
    if (!counted(sizeof value)) AStream::WriteShort(label, value);
  }
  void WriteUShort(const char* label, unsigned short value) override {
    if (!counted(sizeof value)) AStream::WriteUShort(label, value);
  }
  void WriteLong(const char* label, Long value) override {
    if (!counted(sizeof value)) AStream::WriteLong(label, value);
  }
  void WriteFloat(const char* label, float value) override {
    if (!counted(sizeof value)) AStream::WriteFloat(label, value);
  }
  void WriteDouble(const char* label, double value) override {
    if (!counted(sizeof value)) AStream::WriteDouble(label, value);
  }
  void WriteULong(const char* label, ULong value) override {
    if (!counted(sizeof value)) AStream::WriteULong(label, value);
  }
  void WriteInt64(const char* label, Int64 value) override {
    if (!counted(sizeof value)) AStream::WriteInt64(label, value);
  }
  void WriteUInt64(const char* label, UInt64 value) override {
    if (!counted(sizeof value)) AStream::WriteUInt64(label, value);
  }
  void WriteChar4(const char* label, Char4 value) override {
    if (!counted(sizeof value)) AStream::WriteChar4(label, value);
  }
  void WriteString(const char* label, const char* string) override {
    const auto length = static_cast<short>(string ? lengthOfText(string) : 0);
    if (!counted(static_cast<Int64>(sizeof length) + std::max<short>(length, 0))) AStream::WriteString(label, string);
  }
  void WriteStringHandle(const char* label, char** handle) override { WriteString(label, handle ? *handle : nullptr); }

 private:
  /// Steps over a value of so many bytes and its tag.
  ///
  /// Returns:  false, with nothing counted, while the value has to be seen.
  bool counted(Int64 bytes) { return StreamWire::steppedOverValue(*this, bytes); }
  Int64 lengthOfTagged() const { return StreamWire::isTagged(*this) ? Int64{sizeof(Long)} : 0; }

  static void countRead(void* stream, void*, Long length) { from(stream)->count(length); }
  static void countWrite(void* stream, void*, Long length) { from(stream)->count(length); }
  static CountingStream* from(void* stream) { return static_cast<CountingStream*>(static_cast<AStream*>(stream)); }

  void count(Long length) {
    const Int64 at = here() + std::max<Long>(length, 0);
    openWindow(scratch, at, at, 0, sizeof scratch);
  }

  char scratch[512];
};

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

AStream* AStream::New() {
  Owned<CountingStream> stream(new CountingStream);
  stream->ICountingStream();
  return stream.release();
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

const char* AStream::ClassName() { return "AStream"; }

Boolean AStream::IsInstanceOf(const char* name) {
  return std::strcmp(name, "AStream") == 0 || AObject::IsInstanceOf(name);
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

void AStream::CoreRead(void* stream, void*, Long length) {
  auto* self = static_cast<AStream*>(stream);
  if (length > 0) self->closeWindow(self->here() + length);
}

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

Long AStream::GetPosition() { return static_cast<Long>(std::min(here(), lastPosition)); }

Long AStream::GetLength() { return static_cast<Long>(lastPosition); }

void AStream::SetLength(Long) {}

Boolean AStream::IsRandom() { return true; }

void AStream::SetPosition(Long newPosition) {
  if (traceFunc) StreamWire::tracePosition(*this, newPosition);
  if (newPosition < 0) +XError("STRM_BAD_POSITION");
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
