// A buffer that sizes itself in steps, and a stream over it.
#pragma once

#include "core/utils/AStream.h"

/// A block of bytes whose size is a multiple of a step.
class KY_API DynamicBuffer {
 public:
  /// Requires: "_growSize > 0".
  DynamicBuffer(Long growSize, Boolean takeFirst);
  ~DynamicBuffer();
  DynamicBuffer(const DynamicBuffer&) = delete;
  DynamicBuffer& operator=(const DynamicBuffer&) = delete;

  Long Size() const { return size; }
  /// Makes the size `n`, rounded away from zero to a multiple of the step; 0 frees the block. Bytes that are new are 0.
  ///
  /// Returns:  the size.
  /// Requires: "trySize >= 0", "_bufPtr".
  /// Raises:   MEM_OUT_OF_MEMORY, with the buffer as it was.
  Long Size(Long n);
  /// Copies in as much of `len` bytes as fits from `offset` on.
  ///
  /// Returns:  how many.
  Long GiveData(Long offset, const void* data, Long len);
  /// Copies out as much of `len` bytes as there is from `offset` on.
  ///
  /// Returns:  how many.
  Long TakeData(Long offset, void* data, Long len) const;
  void Free();

  /// The block, null without one; valid until the size changes.
  char* bytes() const { return static_cast<char*>(_bufPtr); }

 private:
  void* _bufPtr = nullptr;
  Long size = 0;
  Long _growSize = 0;
};

/// A stream over a buffer of its own, up to a maximum length.
///
/// Standing somewhere takes a byte there: a position at or behind the end makes the length position + 1. Since every
/// transfer ends by taking its position, the stream holds at most `maxLength` - 1 bytes; the byte that would fill it is
/// stored and then raises.
///
/// Raises:   STRM_INCORRECT_LENGTH past the maximum length; STRM_EOF from a read past what was written or stood at.
class KY_API BufferStream : public AStream {
  KY_CLASS(BufferStream, AStream)

 public:
  BufferStream(Long growSize, Long maxLength, Boolean takeFirst);

  Long Size() override;
  Long GetLength() override;
  /// Requires: "_dynamicBuffer.Size() >= newlen".
  void SetLength(Long newlen) override;
  void SetPosition(Long position) override;

 protected:
  ~BufferStream() override = default;

  static void CoreRead(void* stream, void* data, Long len);
  static void CoreWrite(void* stream, void* data, Long len);

 private:
  void catchUp();
  void place(Int64 at);
  void standAt(Long position);

  DynamicBuffer _dynamicBuffer;
  Long maxLength = 0;
  Long length = 0;
  Long highWater = 0;
};
