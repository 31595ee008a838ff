// Drives typed reads, writes, skips and seeks by the input, over stores that must all behave alike: the first half of
// the input says what to do, the second half is what the stream holds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/error/XError.h"
#include "core/math/Rational.h"
#include "core/mem/KyHandles.h"
#include "core/mem/Owned.h"
#include "core/os/HostStart.h"
#include "core/utils/ABlockMemStream.h"
#include "core/utils/MemStreams.h"

using namespace ky;

namespace {

/// What came out of each step, and what ended the run.
struct Transcript {
  std::vector<UInt64> values;
  std::string code;
  bool operator==(const Transcript&) const = default;
};

class Script {
 public:
  Script(const std::uint8_t* bytes, std::size_t size) : at(bytes), end(bytes + size) {}
  bool done() const { return at == end; }
  int next() { return done() ? 0 : *at++; }

 private:
  const std::uint8_t* at;
  const std::uint8_t* end;
};

UInt64 sumOf(const char* bytes, Long length) {
  UInt64 sum = 0;
  for (Long i = 0; i < length; ++i) sum = sum * 31 + static_cast<unsigned char>(bytes[i]);
  return sum;
}

UInt64 readText(AStream* s, Long room) {
  char text[256];
  return s->ReadString("v", text, room) ? sumOf(text, static_cast<Long>(std::char_traits<char>::length(text))) : 1;
}

UInt64 readHandle(AStream* s) {
  const OwnedHandle text(s->ReadStringHandle("v"));
  return text ? sumOf(text.data(), text.size()) : 1;
}

UInt64 readBytes(AStream* s, Long length) {
  char bytes[256];
  s->ReadBytes("v", bytes, length);
  return sumOf(bytes, length);
}

UInt64 readRational(AStream* s) {
  Rational value;
  s->ReadRational("v", &value);
  return static_cast<UInt64>(value.GetNum()) << 32 ^ static_cast<ULong>(value.GetDen());
}

template <class T>
UInt64 bits(T value) {
  UInt64 out = 0;
  std::memcpy(&out, &value, sizeof value);
  return out;
}

UInt64 step(AStream* s, Script& script) {
  const int what = script.next();
  switch (what % 40) {
    case 0:
      return s->ReadBoolean("v");
    case 1:
      return bits(s->ReadChar("v"));
    case 2:
      return s->ReadUChar("v");
    case 3:
      return bits(s->ReadShort("v"));
    case 4:
      return s->ReadUShort("v");
    case 5:
      return bits(s->ReadLong("v"));
    case 6:
      return s->ReadULong("v");
    case 7:
      return bits(s->ReadFloat("v"));
    case 8:
      return bits(s->ReadDouble("v"));
    case 9:
      return bits(s->ReadInt64("v"));
    case 10:
      return s->ReadUInt64("v");
    case 11:
      return bits(s->ReadInt64orLong("v"));
    case 12:
      return s->ReadUInt64orULong("v");
    case 13:
      return s->ReadChar4("v");
    case 14:
      return readText(s, script.next());
    case 15:
      return readHandle(s);
    case 16:
      return readRational(s);
    case 17:
      return readBytes(s, script.next());
    case 18:
      return bits(s->CheckClassMark(1, 0, 100));
    case 19:
      return bits(s->ReadBeginTagMark());
    case 20:
      return s->ReadEndObject(), 0;
    case 21:
      return bits(s->SkipToTag(static_cast<char>(script.next()), script.next() & 1));
    case 22:
      return s->Skip(static_cast<signed char>(script.next())), 0;
    case 23:
      return s->SetPosition(script.next() * 4), 0;
    case 24:
      return s->SetSwapBytes(script.next() & 1), 0;
    case 25:
      return s->SetUseTags(script.next() & 1);
    case 26:
      return s->SetHasMinorVersion(script.next() & 1);
    case 27:
      return s->WriteLong("v", script.next()), 0;
    case 28:
      return s->WriteString("v", std::string(std::size_t(script.next()), 'x').c_str()), 0;
    case 29:
      return s->WriteInt64orLong("v", Int64{script.next()} << script.next() % 56), 0;
    case 30:
      return s->WriteClassMark(1, static_cast<char>(script.next())), 0;
    case 31:
      return s->WriteBeginTagMark(static_cast<char>(script.next())), 0;
    case 32:
      return s->WriteEndObject(), 0;
    case 33:
      return s->AddPatch(ULong(script.next()), ULong(script.next()), script.next() & 1);
    case 34:
      return s->WritePatches(), 0;
    case 35:
      return s->WriteBytes("v", "0123456789abcdef", script.next() % 17), 0;
    case 36:
      return static_cast<UInt64>(s->GetLength());
    case 37:
      return static_cast<UInt64>(remaining(s));
    default:
      return s->IsSwapBytesOn();
  }
}

Transcript run(AStream* s, const std::uint8_t* data, std::size_t size) {
  s->SetClassFuncR([](void*, AStream* stream, Long) { return stream->ReadChar("version"); }, nullptr);
  s->SetClassFuncW([](void*, AStream* stream, Long, char version) { stream->WriteChar("version", version); }, nullptr);
  s->Write(data + size / 2, static_cast<Long>(size - size / 2));
  s->SetPosition(0);
  Script script(data, size / 2);
  Transcript out;
  try {
    while (!script.done()) {
      out.values.push_back(step(s, script));
      out.values.push_back(static_cast<UInt64>(s->GetPosition()));
    }
  } catch (const XError& error) {
    out.code = error.GetCode();
  }
  out.values.push_back(static_cast<UInt64>(s->GetLength()));
  return out;
}

int silent(const char*, ...) { return 0; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool started = (KyStartHost(), true);
  (void)started;
  AVariMemStream* const windowed = AVariMemStream::New(KyNewHandle(0));
  windowed->SetDisposeMem(true);
  const Owned<AStream> first(windowed);
  const Transcript want = run(windowed, data, size);

  AVariMemStream* const traced = AVariMemStream::New(KyNewHandle(0));
  traced->SetDisposeMem(true);
  const Owned<AStream> second(traced);
  traced->SetTraceFunc(silent);
  const Owned<AStream> third(ABlockMemStream::New(5, 2));
  if (run(traced, data, size) != want) std::abort();
  if (run(third.get(), data, size) != want) std::abort();
  return 0;
}
