// A stretch of another stream as a stream of its own.
#pragma once

#include "core/utils/AStream.h"

/// Maps the positions 0..`end` - `start` onto a parent stream. It seeks the parent only where that does not stand
/// already, so that sections may share a parent and a lone one costs no seek. Writing past the end moves the end.
///
/// Borrows:  the parent, which must outlive the section.
/// Raises:   SECTSTRM_EOF from a read past the end, after the bytes that fit were delivered; STRM_BAD_POSITION from a
///           seek outside.
class KY_API ASectionStream : public AStream {
  KY_CLASS(ASectionStream, AStream)

 public:
  typedef void (*CloseFunc)(void* data, AStream* section, LongPtr value);

  /// `closeFunc`, if any, is called with `value` when the section ends; `id` is not kept.
  static ASectionStream* New(unsigned short id, CloseFunc closeFunc, void* closeData, AStream* parent, Long start,
                             Long end, LongPtr value);

  /// Raises:   what the close function raises, after the section is gone.
  void Dispose() override;
  void CoreSkip(Long length) override;
  Long GetLength() override;
  void SetLength(Long length) override;
  Boolean IsRandom() override;
  void SetPosition(Long position) override;
  void SetSeqBuf(Long size, Long count) override;
  void Flush() override;

 protected:
  ASectionStream() = default;
  ~ASectionStream() override = default;
  void ISectionStream(CloseFunc closeFunc, void* closeData, AStream* parent, Long start, Long end, LongPtr value);

  // Virtual operations behind AStream's, in slot order.

  virtual LongPtr GetData();
  virtual void SetData(LongPtr data);

  CloseFunc closeFunc = nullptr;
  void* closeData = nullptr;
  AStream* parent = nullptr;
  Long start = 0;
  Long end = 0;
  LongPtr value = 0;

 private:
  void fetch(void* data, Long length);
  void store(const void* data, Long length);
  void seekParent();
};
