// A stream over an open file, with one buffer that serves reading or writing.
#pragma once

#include "core/filesys/DiskRtns.h"
#include "core/utils/AStream.h"

/// A stream over a file of the disk routines. Unbuffered until SetSeqBuf; what is written into a buffer reaches the
/// file at a Flush, a change from writing to reading, a seek, or the stream's end.
///
/// The position of the stream is right at any time, the file's own only after a Flush. While the stream writes, the
/// open file is its alone, or others that share it move where it writes.
///
/// Raises:   DISK_EOF ("str filename") from a read past the end, what there is being delivered first; otherwise what
///           the disk routines raise. A Flush that fails keeps its bytes.
class KY_API AFileStream : public AStream {
  KY_CLASS(AFileStream, AStream)

 public:
  /// With `closeFile` the stream's end closes the file. `buffer` may be null, else it becomes the stream's.
  ///
  /// Requires: "fileHdl != NULL", "pbuflen >0".
  static AFileStream* New(fileRec_t** fileHdl, Boolean closeFile, char** buffer);

  /// Raises:   the first of what flushing and closing raise, with both done.
  void Dispose() override;

  /// Counts what is written and not yet flushed: all up to the position, while a buffer is being written.
  Long GetLength() override;
  void SetLength(Long length) override;
  /// Inside what the buffer holds of a file that is being read, asks nobody.
  void SetPosition(Long position) override;
  /// Sets the size of the buffer, 0 for none. A first buffer is made when it is needed, and none if memory is short.
  void SetSeqBuf(Long size, Long count) override;
  void Flush() override;
  /// Raises:   STRM_INCORRECT_LENGTH ("long Bytes Wanted", "long Got").
  void ReadBytes(const char* label, void* buffer, Long length) override;

  // Virtual operations behind AStream's, in slot order.

  virtual fileRec_t** GetFileHdl();
  /// Turns to another file, without a Flush.
  virtual void ResetFileHdl(fileRec_t** newFile);
  /// Asks that refilling keeps `length` bytes in front of the position, at most a quarter of the buffer, so that a
  /// short step back does not read again.
  virtual void SetTrailingBufLen(Long length);
  /// Makes the buffer that is waited for, if memory allows.
  virtual void AllocSeqBuf();

 protected:
  AFileStream() = default;
  ~AFileStream() override;
  void IFileStream(fileRec_t** newFile, Boolean close, char** buffer);

 private:
  void fetch(void* data, Long length);
  void store(const void* data, Long length);
  void catchUp();
  void place(Int64 at);
  void startAt(Int64 at);
  void turn(bool toWriting);
  void refill();
  void fill(Int64 from, Long kept, Long length);
  void readIn(void* data, Int64 from, Long length);
  void writeOut(const void* data, Long length);
  void endBuffer();

  char** seqBuf = nullptr;
  Long seqBufLen = 0;
  Long bufCount = 0;     // valid bytes, or bytes that wait to be written; the window runs ahead of it while writing
  Int64 bufFilePos = 0;  // of the buffer's first byte in the stream
  Boolean writing = 0;
  Boolean closeFile = 0;
  fileRec_t** fileHdl = nullptr;
  Long trailingBufLen = 0;
  Long pbuflen = 0;  // of a buffer that is made when it is needed
};
