// The root of all byte streams, and the wire format of every value that is stored.
#pragma once

#include "core/base/AObject.h"

class APortable;
class AStream;
class Rational;

namespace ky {
struct StreamWire;

/// Returns:  how many bytes `stream` can still deliver from where it stands, 0 if none. A count or length that was read
///           is compared with it before anything is allocated.
KY_API Int64 remaining(AStream* stream);

/// The usual class callbacks, whose marks are the major version in one byte; a stream that has them and
/// room in its window does not call them.
KY_API void writeVersionByte(void* data, AStream* stream, Long pcid, char version);
KY_API char readVersionByte(void* data, AStream* stream, Long pcid);
}  // namespace ky

/// A stream of typed values over bytes that a derived class keeps somewhere. Made by `New` it keeps none: reading or
/// writing n bytes adds n to its position, which tells how many bytes a Put would produce.
///
/// Between a begin mark and the end mark of an object each value is preceded by one tag byte, so that an older reader
/// can step over fields it does not know. Every operation has a label that only the trace uses; it may be null.
///
/// Wire:     values in the writer's byte order, reversed in both directions while `SetSwapBytes` is on.
/// Raises:   STRM_UNEXPECTED_TAG from every typed read whose tag is not its own; besides, what the bytes' owner raises.
///           After a raise a stream is good for closing only.
/// Threads:  one at a time.
class KY_API AStream : public AObject {
  KY_CLASS(AStream, AObject)

 public:
  typedef void (*PtrWriteFunc)(void* data, AStream* stream, const char* label, APortable* object);
  typedef APortable* (*PtrReadFunc)(void* data, AStream* stream, const char* label);
  typedef void (*ClassWriteFunc)(void* data, AStream* stream, Long pcid, char version);
  typedef char (*ClassReadFunc)(void* data, AStream* stream, Long pcid);
  typedef void (*CoreFunc)(void* stream, void* buffer, Long length);

  static AStream* New();

  // Virtual operations, in slot order.

  /// Not supported: two streams would share one place in the bytes.
  AObject* Copy() override;

 protected:
  ~AStream() override;

 public:
  virtual void CoreSkip(Long length);

  /// Reads a tag byte; 0 for `wanted` accepts any.
  ///
  /// Returns:  the tag; 0, with no byte read, without tags.
  /// Raises:   STRM_UNEXPECTED_TAG ("int GotTag", "int WantedTag"), with the byte consumed.
  virtual char CoreReadTag(char wanted);

  /// Returns:  the tag; 0, with no byte written, without tags.
  virtual char CoreWriteTag(char tag);

  /// Ends the stream object.
  virtual void Close();

  /// Moves bytes as they are: no tag, no length.
  virtual void Write(const void* buffer, Long length);
  virtual void Read(void* buffer, Long length);
  virtual void Skip(Long length);
  virtual Long GetPosition();
  virtual Long GetLength();
  virtual void SetLength(Long length);
  virtual Boolean IsRandom();

  /// Raises:   STRM_BAD_POSITION for a negative position.
  virtual void SetPosition(Long position);
  virtual void SetSeqBuf(Long size, Long count);
  virtual void Flush();

  /// How object pointers and class marks are coded belongs to whoever installs these. A pointer without a callback is
  /// fatal ("Ptr callback not installed"); a class mark without one has no bytes and reads as version 0.
  virtual void SetPtrFuncW(PtrWriteFunc function, void* data);
  virtual void SetPtrFuncR(PtrReadFunc function, void* data);
  virtual void SetClassFuncW(ClassWriteFunc function, void* data);
  virtual void SetClassFuncR(ClassReadFunc function, void* data);

  /// Puts a function in the place of the one that moves the bytes; from then on every value in that direction passes
  /// through it.
  virtual void SetCoreReadFunc(CoreFunc function);
  virtual void SetCoreWriteFunc(CoreFunc function);

  /// Wire:     in a tagged section a 4-byte length and the bytes; elsewhere the bytes alone.
  virtual void WriteBytes(const char* label, const void* buffer, Long length);
  virtual void WriteBoolean(const char* label, Boolean value);
  virtual void WriteChar(const char* label, char value);
  virtual void WriteUChar(const char* label, unsigned char value);
  virtual void WriteShort(const char* label, short value);
  virtual void WriteUShort(const char* label, unsigned short value);
  virtual void WriteLong(const char* label, Long value);
  virtual void WriteFloat(const char* label, float value);
  virtual void WriteDouble(const char* label, double value);
  virtual void WriteULong(const char* label, ULong value);
  virtual void WriteInt64(const char* label, Int64 value);

  /// The 4-byte form wherever the value fits. Its reader tells the two apart by the tag alone: outside a tagged section
  /// a value that needs 8 bytes cannot be read back. Nor can, of values in the 4-byte form, an unsigned one above
  /// 0x7FFFFFFF, which comes back sign-extended, and one that a swapping stream reads, unless its first and its last
  /// byte agree in their top bit. What must come back for certain is written by WriteInt64 or WriteUInt64.
  virtual void WriteInt64orLong(const char* label, Int64 value);
  virtual void WriteUInt64(const char* label, UInt64 value);
  virtual void WriteUInt64orULong(const char* label, UInt64 value);
  virtual void WriteChar4(const char* label, Char4 value);

  /// Wire:     2-byte signed length, then the bytes without a terminator; length -1 for a null string.
  /// Requires: fewer than 32,768 bytes; longer text comes back cut or not at all.
  virtual void WriteString(const char* label, const char* string);
  virtual void WriteStringHandle(const char* label, char** handle);

  /// Wire:     numerator and denominator as they lie in memory, whatever the byte order. The one value that a reader
  ///           cannot step over: no place for it at the end of a tagged section that may grow.
  virtual void WriteRational(const char* label, Rational value);
  virtual void WriteObjPtr(const char* label, APortable* object);

  /// Wire:     tag 0x02, then what the class callback writes.
  /// Raises:   STRM_ILLEGAL_OBJECT_VERSION ("Char4 pcid", "int version", "int min", "int max") outside 1..127.
  virtual void WriteClassMark(Long pcid, char version);

  /// Begins the tagged section.
  ///
  /// Wire:     tag 0x01, then the minor version, which stands there without tags too.
  /// Raises:   STRM_ILLEGAL_MINOR_VERSION ("int TagMark, MinorVersion", "int min", "int max") outside 1..127.
  virtual void WriteBeginTagMark(char minorVersion);

  /// Wire:     tag 0x03; nothing without tags.
  virtual void WriteEndObject();

  /// Raises:   STRM_INCORRECT_LENGTH ("long BytesWanted", "long Got") if a tagged length is not `length`.
  virtual void ReadBytes(const char* label, void* buffer, Long length);
  virtual Boolean ReadBoolean(const char* label);
  virtual char ReadChar(const char* label);
  virtual unsigned char ReadUChar(const char* label);
  virtual short ReadShort(const char* label);
  virtual unsigned short ReadUShort(const char* label);
  virtual Long ReadLong(const char* label);
  virtual float ReadFloat(const char* label);
  virtual double ReadDouble(const char* label);
  virtual ULong ReadULong(const char* label);
  virtual Int64 ReadInt64(const char* label);

  /// Raises:   STRM_UNEXPECTED_TAG ("int GotIllegalTag").
  virtual Int64 ReadInt64orLong(const char* label);
  virtual UInt64 ReadUInt64(const char* label);
  virtual UInt64 ReadUInt64orULong(const char* label);
  virtual Char4 ReadChar4(const char* label);

  /// Returns:  `buffer`, terminated; null, with an empty text in `buffer`, for a null string.
  /// Raises:   STRM_BUF_SMALL ("long buflen") if text and terminator exceed `bufferLength`; STRM_INCORRECT_LENGTH for a
  ///           length that no writer writes.
  virtual char* ReadString(const char* label, char* buffer, Long bufferLength);

  /// Returns:  a new string handle, which the caller owns; null for a null string.
  virtual char** ReadStringHandle(const char* label);
  virtual Boolean ReadRational(const char* label, Rational* value);
  virtual APortable* ReadObjPtr(const char* label);

  /// Returns:  the version that the class callback reads.
  virtual char ReadClassMark(Long pcid);

  /// Raises:   STRM_ILLEGAL_OBJECT_VERSION ("Char4 pcid", "int version", "int min", "int max") outside `min`..`max`.
  virtual char CheckClassMark(Long pcid, char min, char max);

  /// Returns:  the minor version of the section that begins; 0 if the object holds none.
  /// Raises:   STRM_ILLEGAL_MINOR_VERSION ("int minorVersion", "int min", "int max"), STRM_UNEXPECTED_TAG
  ///           ("int GotBadMinorTag").
  virtual char ReadBeginTagMark();

  /// Steps over the fields that a newer writer put behind those which the caller knows.
  virtual void ReadEndObject();

  /// For streams that render structure; nothing here.
  virtual void StartList(void* list, const char* label, Boolean last);
  virtual void EndList(void* list, const char* label, Boolean last);
  virtual void EndElement(void* element, const char* label, Boolean last);

  /// With a trace function every operation prints one line through it; null ends the trace.
  virtual void SetTraceFunc(KyPrint print);
  virtual KyPrint GetTraceFunc();

  /// Returns:  the new indent.
  virtual int IndentTrace(int delta);

  virtual void SetInlineAllowed(Boolean allowed);

  /// Returns:  true while plain data may be moved in bulk by Read and Write, since the wire then holds its bytes alone.
  virtual Boolean GetInlineAllowed();

  /// Allows it exactly when bytes are not swapped, nothing is traced, and no tagged section is open.
  virtual void TestAndSetInlineAllowed();
  virtual Boolean IsSpecialType(int type);
  virtual void WriteSpecialType(int type, const char* label, void* value);
  virtual void ReadSpecialType(int type, const char* label, void* value);

  /// Steps over tagged values up to `wanted`, or with `stopAtObjectEdge` up to a class mark or an end mark. Does not
  /// look at nesting: the end tag of an object in between satisfies it.
  ///
  /// Returns:  the tag it stopped at, consumed; 0 without tags.
  /// Raises:   STRM_UNEXPECTED_TAG ("int GotIllegalTag") for what cannot be stepped over: a byte that is no tag, a
  ///           Rational, a null string.
  virtual char SkipToTag(char wanted, Boolean stopAtObjectEdge);

  /// Notes that the 4 bytes at `position` are to receive the distance from `base` to where the stream then stands.
  ///
  /// Returns:  false, with nothing noted, if 10 places wait already.
  virtual Boolean AddPatch(ULong base, ULong position, Boolean nativeOrder);

  /// Fills the noted places and forgets them. A patch not in native order leaves swapping on for those behind it;
  /// afterwards swapping is off, whatever it was.
  virtual void WritePatches();

  // Not virtual; each setter but the last returns the old value.

  Boolean SetUseTags(Boolean on);
  Boolean SetHasMinorVersion(Boolean has);
  Boolean IsSwapBytesOn() const { return swapBytes; }
  void SetSwapBytes(Boolean on);

 protected:
  AStream() = default;

  void IStream();
  static void CoreRead(void* stream, void* buffer, Long length);
  static void CoreWrite(void* stream, void* buffer, Long length);

  // The window: typed operations move their bytes and tags inside it without asking anyone. A class that keeps its
  // bytes in memory opens it over them whenever its own core functions or its SetPosition have run; what it derives
  // from the position (an end that writing moved) it brings up to date there, before anything else. A class that never
  // opens one gets every value through its core functions.

  /// Makes these the functions that the class moves bytes with. Only while they stand does a window open.
  void installCore(CoreFunc read, CoreFunc write);

  /// The same for members of the class, which are called for one byte at least.
  template <class Stream, void (Stream::*read)(void*, Long), void (Stream::*write)(const void*, Long)>
  void installCore() {
    installCore(
        [](void* stream, void* data, Long length) {
          if (length > 0) (static_cast<Stream*>(static_cast<AStream*>(stream))->*read)(data, length);
        },
        [](void* stream, void* data, Long length) {
          if (length > 0) (static_cast<Stream*>(static_cast<AStream*>(stream))->*write)(data, length);
        });
  }

  /// What a SetPosition begins with: traces it, and refuses a place outside 0 to `end` with nothing moved.
  ///
  /// Raises:   STRM_BAD_POSITION.
  void startSeek(Long to, Long end);

  /// Opens the window on `bytes`, the first of which lies at `begin` of the stream, and puts the stream at `at`. Up to
  /// `readable` and `writable` bytes from the first on may be read and written in it. It stays shut, and only holds the
  /// place, in a direction whose core function is not the class's own, and while a trace is on.
  ///
  /// Borrows:  `bytes` until the window is opened again or closed.
  void openWindow(void* bytes, Int64 begin, Int64 at, Int64 readable, Int64 writable);

  /// Leaves the window in its place but lets nothing pass, so that the next operation asks the core functions.
  void shutWindow() { readLimit = writeLimit = plainReadLimit = plainWriteLimit = window; }

  /// Forgets the window and stands at `at`.
  void closeWindow(Int64 at);

  bool hasWindow() const { return window != nullptr; }

  /// The position, in 64 bits.
  Int64 here() const { return position + (cursor - window); }

  /// For a class whose GetLength tells nothing: where its readable bytes end. Null lets GetLength speak.
  Int64 (*readableEnd)(AStream* stream) = nullptr;

 private:
  friend struct ky::StreamWire;
  friend Int64 ky::remaining(AStream* stream);

  void setPlainLimits() {
    const bool plain = !tagLength && !swapBytes;
    plainReadLimit = plain ? readLimit : window;
    plainWriteLimit = plain ? writeLimit : window;
  }

  struct Patch {
    ULong position = 0;
    ULong base = 0;
    Boolean nativeOrder = 0;
  };

  PtrWriteFunc ptrWriteFunc = nullptr;
  void* ptrWriteData = nullptr;
  PtrReadFunc ptrReadFunc = nullptr;
  void* ptrReadData = nullptr;
  ClassWriteFunc classWriteFunc = nullptr;
  void* classWriteData = nullptr;
  ClassReadFunc classReadFunc = nullptr;
  void* classReadData = nullptr;
  CoreFunc coreRead = CoreRead;
  CoreFunc coreWrite = CoreWrite;
  CoreFunc windowRead = nullptr;
  CoreFunc windowWrite = nullptr;
  Patch patches[10];
  Long patchCount = 0;

  // What every typed operation touches stands together from here on.
  Int64 position = 0;  // of the window's first byte; with no window, of the stream
  char* window = nullptr;
  char* cursor = nullptr;
  char* plainReadLimit = nullptr;  // the limits for values that need neither tag nor swapping; else as a shut window's
  char* plainWriteLimit = nullptr;
  char* readLimit = nullptr;
  char* writeLimit = nullptr;
  Boolean inlineAllowed = 1;
  Boolean inTaggedFields = 0;
  Boolean tagLength = 0;  // of each value: 1 in a tagged section while tags are in use
  Boolean hasMinorVersion = 1;
  Boolean useTags = 0;
  char pendingTag = 0;
  Boolean swapBytes = 0;
  int traceIndent = 0;
  KyPrint traceFunc = nullptr;
};
