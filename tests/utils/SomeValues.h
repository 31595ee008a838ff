// A value of each kind that streams carry, with the bytes that it must become.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/math/Rational.h"
#include "tests/utils/StreamSupport.h"

namespace ky::test {

struct Value {
  std::uint8_t tag;
  Bytes native;
  Bytes swapped;
  std::function<void(AStream*)> put;
  std::function<bool(AStream*)> comesBack;
};

/// A kind whose bytes are reversed as a whole.
template <class T>
Value number(std::uint8_t tag, void (AStream::*put)(const char*, T), T (AStream::*get)(const char*), T value,
             Bytes bytes) {
  return {tag, bytes, Bytes(bytes.rbegin(), bytes.rend()), [=](AStream* s) { (s->*put)("v", value); },
          [=](AStream* s) { return (s->*get)("v") == value; }};
}

/// Text that a buffer with just the room for it, and a handle, must give back.
inline Value text(const std::string& string, Bytes native, Bytes swapped) {
  return {0x4C, native, swapped, [=](AStream* s) { s->WriteString("v", string.c_str()); },
          [=](AStream* s) {
            std::vector<char> buffer(string.size() + 1, 'x');
            const Long at = s->GetPosition();
            const bool inBuffer = s->ReadString("v", buffer.data(), Long(buffer.size())) == buffer.data();
            s->SetPosition(at);
            const OwnedHandle handle(s->ReadStringHandle("v"));
            return inBuffer && string == buffer.data() && string == handle.data() &&
                   handle.size() == Long(buffer.size());
          }};
}

inline bool nullComesBack(AStream* s) {
  char buffer[1] = {'x'};
  const Long at = s->GetPosition();
  const bool inBuffer = s->ReadString("v", buffer, 1) == nullptr && buffer[0] == 0;
  s->SetPosition(at);
  return inBuffer && s->ReadStringHandle("v") == nullptr;
}

inline bool thirdComesBack(AStream* s) {
  Rational ratio;
  return s->ReadRational("v", &ratio) && ratio.GetNum() == 1 && ratio.GetDen() == 3;
}

inline const Value values[] = {
    number<Boolean>(0x42, &AStream::WriteBoolean, &AStream::ReadBoolean, 1, {1}),
    number<char>(0x43, &AStream::WriteChar, &AStream::ReadChar, -2, {0xFE}),
    number<unsigned char>(0x44, &AStream::WriteUChar, &AStream::ReadUChar, 200, {200}),
    number<short>(0x45, &AStream::WriteShort, &AStream::ReadShort, -2, {0xFE, 0xFF}),
    number<unsigned short>(0x46, &AStream::WriteUShort, &AStream::ReadUShort, 0xFEDC, {0xDC, 0xFE}),
    number<Long>(0x47, &AStream::WriteLong, &AStream::ReadLong, -559038737, {0xEF, 0xBE, 0xAD, 0xDE}),
    number<ULong>(0x48, &AStream::WriteULong, &AStream::ReadULong, 0xDEADBEEF, {0xEF, 0xBE, 0xAD, 0xDE}),
    number<Char4>(0x49, &AStream::WriteChar4, &AStream::ReadChar4, MakeChar4("abcd"), {'d', 'c', 'b', 'a'}),
    number<float>(0x4A, &AStream::WriteFloat, &AStream::ReadFloat, -2.5f, {0, 0, 0x20, 0xC0}),
    number<double>(0x4B, &AStream::WriteDouble, &AStream::ReadDouble, 1.5, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}),
    number<Int64>(0x4D, &AStream::WriteInt64, &AStream::ReadInt64, -2, {0xFE, 255, 255, 255, 255, 255, 255, 255}),
    number<UInt64>(0x4E, &AStream::WriteUInt64, &AStream::ReadUInt64, 0x0102030405060708, {8, 7, 6, 5, 4, 3, 2, 1}),
    text("ab", {2, 0, 'a', 'b'}, {0, 2, 'a', 'b'}),
    text(std::string(30, 't'), joined({30, 0}, Bytes(30, 't')), joined({0, 30}, Bytes(30, 't'))),
    text("", {0, 0}, {0, 0}),
    {0x4C, {0xFF, 0xFF}, {0xFF, 0xFF}, [](AStream* s) { s->WriteStringHandle("v", nullptr); }, nullComesBack},
    {0x4F,
     {1, 0, 0, 0, 3, 0, 0, 0},
     {1, 0, 0, 0, 3, 0, 0, 0},
     [](AStream* s) { s->WriteRational("v", Rational(1, 3)); },
     thirdComesBack},
};

}  // namespace ky::test
