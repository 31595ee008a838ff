// The typed operations of AStream.
#include <algorithm>
#include <limits>

#include "core/error/XError.h"
#include "core/math/Rational.h"
#include "core/mem/FakeHandles.h"
#include "core/mem/Owned.h"
#include "core/utils/StreamWire.h"

using namespace ky;

static_assert(sizeof(Rational) == 8 && std::is_trivially_copyable_v<Rational>, "a Rational is stored as it lies");

// ---- values of one size

void AStream::WriteBoolean(const char* label, Boolean value) {
  StreamWire::put<booleanTag>(*this, label, static_cast<Boolean>(value != 0));
}

void AStream::WriteChar(const char* label, char value) { StreamWire::put<charTag>(*this, label, value); }

void AStream::WriteUChar(const char* label, unsigned char value) { StreamWire::put<ucharTag>(*this, label, value); }

void AStream::WriteShort(const char* label, short value) { StreamWire::put<shortTag>(*this, label, value); }

void AStream::WriteUShort(const char* label, unsigned short value) { StreamWire::put<ushortTag>(*this, label, value); }

void AStream::WriteLong(const char* label, Long value) { StreamWire::put<longTag>(*this, label, value); }

void AStream::WriteULong(const char* label, ULong value) { StreamWire::put<ulongTag>(*this, label, value); }

void AStream::WriteChar4(const char* label, Char4 value) { StreamWire::put<char4Tag>(*this, label, value); }

void AStream::WriteFloat(const char* label, float value) { StreamWire::put<floatTag>(*this, label, value); }

void AStream::WriteDouble(const char* label, double value) { StreamWire::put<doubleTag>(*this, label, value); }

void AStream::WriteInt64(const char* label, Int64 value) { StreamWire::put<int64Tag>(*this, label, value); }

void AStream::WriteUInt64(const char* label, UInt64 value) { StreamWire::put<uint64Tag>(*this, label, value); }

Boolean AStream::ReadBoolean(const char* label) { return StreamWire::get<booleanTag, Boolean>(*this, label) != 0; }

char AStream::ReadChar(const char* label) { return StreamWire::get<charTag, char>(*this, label); }

unsigned char AStream::ReadUChar(const char* label) { return StreamWire::get<ucharTag, unsigned char>(*this, label); }

short AStream::ReadShort(const char* label) { return StreamWire::get<shortTag, short>(*this, label); }

unsigned short AStream::ReadUShort(const char* label) {
  return StreamWire::get<ushortTag, unsigned short>(*this, label);
}

Long AStream::ReadLong(const char* label) { return StreamWire::get<longTag, Long>(*this, label); }

ULong AStream::ReadULong(const char* label) { return StreamWire::get<ulongTag, ULong>(*this, label); }

Char4 AStream::ReadChar4(const char* label) { return StreamWire::get<char4Tag, Char4>(*this, label); }

float AStream::ReadFloat(const char* label) { return StreamWire::get<floatTag, float>(*this, label); }

double AStream::ReadDouble(const char* label) { return StreamWire::get<doubleTag, double>(*this, label); }

Int64 AStream::ReadInt64(const char* label) { return StreamWire::get<int64Tag, Int64>(*this, label); }

UInt64 AStream::ReadUInt64(const char* label) { return StreamWire::get<uint64Tag, UInt64>(*this, label); }

// ---- values of either length

void AStream::WriteInt64orLong(const char* label, Int64 value) {
  if (value == static_cast<Long>(value)) {
    WriteLong(label, static_cast<Long>(value));
  } else {
    WriteInt64(label, value);
  }
}

void AStream::WriteUInt64orULong(const char* label, UInt64 value) {
  if (value == static_cast<ULong>(value)) {
    WriteULong(label, static_cast<ULong>(value));
  } else {
    WriteUInt64(label, value);
  }
}

/// The 4-byte form is sign-extended, unsigned or not, and before its bytes are reversed: both are part of the format.
template <Tag longForm, class T, Tag shortForm>
T StreamWire::getEitherLength(AStream& s, const char* label) {
  const char tag = s.inTaggedFields ? s.CoreReadTag(noTag) : static_cast<char>(shortForm);
  if (tag != longForm && tag != shortForm) +XError("STRM_UNEXPECTED_TAG", "int GotIllegalTag", int(tag), 0);
  UInt64 value = 0;
  if (tag == longForm) {
    value = getBare<UInt64>(s);
  } else {
    Long low = 0;
    s.coreRead(&s, &low, sizeof low);
    const ULong high = low < 0 ? ~ULong{0} : 0;
    value = UInt64{high} << 32 | static_cast<ULong>(s.swapBytes ? reversed(low) : low);
  }
  if (s.traceFunc) traceValue(s, longForm, label, &value);
  return static_cast<T>(value);
}

Int64 AStream::ReadInt64orLong(const char* label) {
  return StreamWire::getEitherLength<int64Tag, Int64, longTag>(*this, label);
}

UInt64 AStream::ReadUInt64orULong(const char* label) {
  return StreamWire::getEitherLength<uint64Tag, UInt64, ulongTag>(*this, label);
}

// ---- ratios: never swapped

void AStream::WriteRational(const char* label, Rational value) {
  if (inTaggedFields) CoreWriteTag(rationalTag);
  if (traceFunc) StreamWire::traceValue(*this, rationalTag, label, &value);
  StreamWire::putBytes(*this, &value, sizeof value);
}

Boolean AStream::ReadRational(const char* label, Rational* value) {
  if (inTaggedFields) CoreReadTag(rationalTag);
  coreRead(this, value, sizeof *value);
  if (traceFunc) StreamWire::traceValue(*this, rationalTag, label, value);
  return true;
}

// ---- bytes

void AStream::WriteBytes(const char* label, const void* buffer, Long length) {
  if (inTaggedFields) {
    CoreWriteTag(bytesTag);
    if (traceFunc) StreamWire::traceLength(*this, label, length);
    StreamWire::putBare(*this, length);
  }
  if (length > 0 && StreamWire::hasToWrite(*this, length)) [[likely]] {
    std::memcpy(cursor, buffer, static_cast<std::size_t>(length));
    cursor += length;
    return;
  }
  if (traceFunc) StreamWire::traceBytes(*this, label, buffer, length);
  StreamWire::putBytes(*this, buffer, length);
}

void AStream::ReadBytes(const char* label, void* buffer, Long length) {
  StreamWire::getBytes(*this, label, buffer, length, "long BytesWanted");
}

void StreamWire::getBytes(AStream& s, const char* label, void* buffer, Long length, const char* wantedLabel) {
  if (s.inTaggedFields) {
    s.CoreReadTag(bytesTag);
    const Long got = getBare<Long>(s);
    if (s.traceFunc) traceLength(s, label, got);
    if (got != length) +XError("STRM_INCORRECT_LENGTH", wantedLabel, length, "long Got", got, 0);
  }
  if (length > 0 && hasToRead(s, length)) [[likely]] {
    std::memcpy(buffer, s.cursor, static_cast<std::size_t>(length));
    s.cursor += length;
    return;
  }
  s.coreRead(&s, buffer, length);
  if (s.traceFunc) traceBytes(s, label, buffer, length);
}

// ---- text

namespace {

constexpr short nullLength = -1;

void raiseSmallBuffer(Long bufferLength) { +XError("STRM_BUF_SMALL", "long buflen", bufferLength, 0); }

}  // namespace

/// Returns:  false, with nothing written, if the core functions have to write it.
[[gnu::always_inline]] inline bool StreamWire::putStringInWindow(AStream& s, const char* string) {
  if (!string || !isOpenForWriting(s)) [[unlikely]]
    return false;
  const auto length = static_cast<short>(lengthOfText(string));
  if (length >= 0 && s.plainWriteLimit - s.cursor >= 2 + length) [[likely]] {
    char* const at = s.cursor;
    std::memcpy(at, &length, sizeof length);
    copyText(at + 2, string, static_cast<std::size_t>(length));
    s.cursor = at + 2 + length;
    return true;
  }
  if (length < 0 || !hasToWrite(s, s.tagLength + 2 + length)) [[unlikely]]
    return false;
  char* const at = s.cursor + s.tagLength;
  *s.cursor = stringTag;
  const short stored = s.swapBytes ? reversed(length) : length;
  std::memcpy(at, &stored, sizeof stored);
  copyText(at + 2, string, static_cast<std::size_t>(length));
  s.cursor = at + 2 + length;
  return true;
}

void AStream::WriteString(const char* label, const char* string) {
  if (StreamWire::putStringInWindow(*this, string)) [[likely]]
    return;
  const short length = string ? static_cast<short>(std::strlen(string)) : nullLength;
  if (inTaggedFields) CoreWriteTag(stringTag);
  if (traceFunc && string) StreamWire::traceString(*this, label, string);
  if (traceFunc && !string) StreamWire::traceNull(*this, label);
  StreamWire::putBare(*this, length);
  if (length > 0) StreamWire::putBytes(*this, string, length);
}

void AStream::WriteStringHandle(const char* label, char** handle) {
  const char* const string = handle ? *handle : nullptr;
  if (!StreamWire::putStringInWindow(*this, string)) [[unlikely]]
    WriteString(label, string);
}

/// Looks for a string that lies wholly inside the window.
///
/// Returns:  its length and, in `text`, its first byte; less than 0 if the core functions have to fetch it.
[[gnu::always_inline]] inline Long StreamWire::stringInWindow(const AStream& s, char*& text) {
  if (s.plainReadLimit - s.cursor >= 2) [[likely]] {
    short length;
    std::memcpy(&length, s.cursor, sizeof length);
    text = s.cursor + sizeof length;
    return s.plainReadLimit - text >= length ? length : -1;
  }
  const std::ptrdiff_t tagLength = s.tagLength;
  if (!hasToRead(s, tagLength + 2) || (tagLength && *s.cursor != stringTag)) return -1;
  short length;
  std::memcpy(&length, s.cursor + tagLength, sizeof length);
  if (s.swapBytes) length = reversed(length);
  text = s.cursor + tagLength + 2;
  return s.readLimit - text >= length ? length : -1;
}

/// Returns:  the length, -1 for a null string.
short StreamWire::getStringLength(AStream& s) {
  if (s.inTaggedFields) s.CoreReadTag(stringTag);
  const short length = getBare<short>(s);
  if (length < nullLength) +XError("STRM_INCORRECT_LENGTH");
  return length;
}

char* AStream::ReadString(const char* label, char* buffer, Long bufferLength) {
  char* text = nullptr;
  const Long inWindow = StreamWire::stringInWindow(*this, text);
  if (inWindow >= 0 && inWindow < bufferLength) [[likely]] {
    copyText(buffer, text, static_cast<std::size_t>(inWindow));
    buffer[inWindow] = 0;
    cursor = text + inWindow;
    return buffer;
  }
  const short length = StreamWire::getStringLength(*this);
  if (bufferLength <= std::max<short>(length, 0)) raiseSmallBuffer(bufferLength);
  if (length > 0) coreRead(this, buffer, length);
  buffer[std::max<short>(length, 0)] = 0;
  if (traceFunc) StreamWire::traceString(*this, label, buffer);
  return length == nullLength ? nullptr : buffer;
}

char** AStream::ReadStringHandle(const char* label) {
  char* text = nullptr;
  const Long inWindow = StreamWire::stringInWindow(*this, text);
  if (inWindow >= 0) [[likely]] {
    char** const handle = newFakeOfSize(inWindow + 1);
    copyText(*handle, text, static_cast<std::size_t>(inWindow));
    (*handle)[inWindow] = 0;
    cursor = text + inWindow;
    return handle;
  }
  const short length = StreamWire::getStringLength(*this);
  if (length == nullLength) {
    if (traceFunc) StreamWire::traceString(*this, label, "");
    return nullptr;
  }
  OwnedHandle handle(KyNewHandleZorvex(length + 1));
  if (length > 0) coreRead(this, handle.data(), length);
  handle.data()[length] = 0;
  if (traceFunc) StreamWire::traceString(*this, label, handle.data());
  return handle.release();
}
