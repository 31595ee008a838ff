// Streams over memory: a fixed stretch, a handle that grows by multiples of its size, a handle that grows in steps.
#pragma once

#include "core/utils/AStream.h"

/// A stream over one handle or pointer, which never grows.
///
/// Between two operations the owner of the handle may resize it, if the next thing asked of the stream is SetPosition,
/// GetBuf or AdoptHandle; the capacity stays as the stream knows it until AdoptHandle tells a new one. What the stream
/// writes stands in the memory at once.
///
/// Borrows:  the memory, unless SetDisposeMem(true) gives it away.
/// Raises:   STRM_EOF from a read past the end or a write past the capacity, with nothing moved; STRM_BAD_POSITION
///           from a seek past the end.
class KY_API AMemStream : public AStream {
  KY_CLASS(AMemStream, AStream)

 public:
  /// Requires: "buffer".
  static AMemStream* New(char** handle, Long eof);
  /// Requires: "buffer".
  static AMemStream* NewFromPtr(void* buffer, Long eof, Long capacity);

  void Dispose() override;
  Long Size() override;
  Long GetLength() override;
  /// Moves the end. What lies between a former end and this one is what the memory holds there.
  void SetLength(Long length) override;
  void SetPosition(Long position) override;

  // Virtual operations behind AStream's, in slot order.

  /// Frees the memory, whoever owns it; the stream then holds nothing.
  virtual void DisposeMem();
  /// With true, Dispose frees the memory too.
  virtual void SetDisposeMem(Boolean dispose);
  /// Turns to other memory, which stays its giver's, and stands at its start.
  ///
  /// Returns:  the pointer before, null if that was a handle. Nothing is freed.
  virtual void* AdoptPtr(void* pointer, Long eof, Long capacity);
  /// Returns:  the handle before, null if that was a pointer. Nothing is freed.
  virtual char** AdoptHandle(char** handle, Long eof, Long capacity);
  /// Returns:  the handle; for a pointer the address of a copy of it.
  virtual char** GetBuf();
  /// Returns:  the pointer, null for a handle.
  virtual void* GetPtr();

 protected:
  AMemStream() = default;
  ~AMemStream() override = default;
  void IMemStream(char** handle, Long eof);
  void IMemStreamFromPtr(void* pointer, Long eof, Long capacity);

  /// Takes up what the window has written behind the end.
  void catchUp();
  void place(Int64 at);
  void grow(Int64 newCapacity);

  void* ownedPtr = nullptr;
  char** buffer = nullptr;  // the handle, or the address of `ownedPtr`
  Long eof = 0;
  Long capacity = 0;
  Boolean disposeMem = 0;

 private:
  void fetch(void* data, Long length);
  void store(const void* data, Long length);
  void adopt(void* pointer, char** handle, Long newEof, Long newCapacity);
};

/// A stream over one handle that grows to multiples of twice its capacity: by 20, 40... from 10.
class KY_API AVariMemStream : public AMemStream {
  KY_CLASS(AVariMemStream, AMemStream)

 public:
  static AVariMemStream* New(char** handle);
  static AVariMemStream* NewWithEOF(char** handle, Long eof);

  /// Raises:   MEM_OUT_OF_MEMORY.
  void SetLength(Long length) override;

 protected:
  AVariMemStream() = default;
  ~AVariMemStream() override = default;
};

/// A stream over one handle that grows in steps and keeps a logical end inside its capacity. GetLength tells nothing
/// of it; GetLogicalEOF does.
///
/// Bytes between the logical end and the capacity may be read through the stream: they are zeros unless something stood
/// there before. Such a read moves the logical end up. In the handle they are not cleared before that.
///
/// Borrows:  the handle. Between two operations its owner may resize it to no less than the capacity, if the next thing
///           asked of the stream is SetPosition or GetBuf.
/// Raises:   STRM_EOF from a read past the capacity.
class KY_API ADynamicMemStream : public AStream {
  KY_CLASS(ADynamicMemStream, AStream)

 public:
  /// Requires: "buffer".
  static ADynamicMemStream* New(char** handle);

  Long Size() override;
  /// Beyond the capacity makes room, else cuts the logical end.
  ///
  /// Raises:   MEM_OUT_OF_MEMORY.
  void SetLength(Long length) override;
  /// Raises:   STRM_BAD_POSITION past the capacity, unless the stream grows by itself.
  void SetPosition(Long position) override;

  // Virtual operations behind AStream's, in slot order.

  virtual char** GetBuf();
  /// By how many bytes the handle grows; 0, as at the start, and 1 grow it to exactly what is needed.
  virtual void SetGrowSize(Long size);
  virtual Long GetLogicalEOF();
  /// Frees the handle; the stream then holds nothing.
  virtual void DisposeMem();

  /// Whether a seek may pass the capacity; a write always may. True at the start.
  ///
  /// Returns:  the old value.
  Boolean DoesAutoGrow(Boolean grow);

 protected:
  ADynamicMemStream() = default;
  ~ADynamicMemStream() override = default;
  void IDynamicMemStream(char** handle);

  char** buffer = nullptr;
  Long logicalEOF = 0;
  Long capacity = 0;
  Boolean autoGrow = 1;
  Long growSize = 0;

 private:
  void fetch(void* data, Long length);
  void store(const void* data, Long length);
  void reach(Int64 at);
  void catchUp();
  void place(Int64 at);
  void makeRoom(Int64 length);
  void clearUpTo(Int64 end);

  Long defined = 0;  // bytes from the first on that hold something, if only zeros
};
