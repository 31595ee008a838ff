// The stream that keeps no bytes, for learning how many a Put would produce.
#include <algorithm>

#include "core/mem/Owned.h"
#include "core/utils/StreamWire.h"

using namespace ky;

namespace {

/// Counts single values as they come, and the rest through a window over a scratch block that is used over and over.
/// The window is shut where a trace or a client's core function wants to see the values.
class CountingStream final : public AStream {
 public:
  void ICountingStream() {
    IStream();
    installCore<CountingStream, &CountingStream::fetch, &CountingStream::store>();
  }

#define KY_COUNTED(Write, T)                                  \
  void Write(const char* label, T value) override {           \
    if (!counted(sizeof value)) AStream::Write(label, value); \
  }
  KY_COUNTED(WriteBoolean, Boolean)
  KY_COUNTED(WriteChar, char)
  KY_COUNTED(WriteUChar, unsigned char)
  KY_COUNTED(WriteShort, short)
  KY_COUNTED(WriteUShort, unsigned short)
  KY_COUNTED(WriteLong, Long)
  KY_COUNTED(WriteULong, ULong)
  KY_COUNTED(WriteChar4, Char4)
  KY_COUNTED(WriteFloat, float)
  KY_COUNTED(WriteDouble, double)
  KY_COUNTED(WriteInt64, Int64)
  KY_COUNTED(WriteUInt64, UInt64)
#undef KY_COUNTED

  void WriteBytes(const char* label, const void* bytes, Long length) override {
    const Int64 lengthField = StreamWire::isTagged(*this) ? sizeof length : 0;
    if (length < 0 || !counted(lengthField + length)) AStream::WriteBytes(label, bytes, length);
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

  void fetch(void*, Long length) { count(length); }
  void store(const void*, Long length) { count(length); }
  void count(Long length) {
    const Int64 at = here() + length;
    openWindow(scratch, at, at, 0, sizeof scratch);
  }

  char scratch[512];
};

}  // namespace

AStream* AStream::New() {
  Owned<CountingStream> stream(new CountingStream);
  stream->ICountingStream();
  return stream.release();
}
