// A memory stream in blocks, for large stores that are to grow without being copied.
#pragma once

#include "core/utils/AStream.h"

/// A stream over a table of blocks of one size. Its first block is backed only as far as it is used, so that a store of
/// a few bytes costs little.
///
/// Raises:   STRM_EOF from a read past the end, with nothing moved; STRM_BAD_POSITION from a seek past the end;
///           MEM_OUT_OF_MEMORY from a write.
class KY_API ABlockMemStream : public AStream {
  KY_CLASS(ABlockMemStream, AStream)

 public:
  /// Units:    `blockSize` in bytes, `indexGrow` in blocks by which the table grows.
  /// Requires: "blockSize > 0", "indexGrow > 0".
  static ABlockMemStream* New(Long blockSize, Long indexGrow);

  /// The object, its table and its blocks at their full size.
  Long Size() override;
  Long GetLength() override;
  /// Not supported.
  void SetLength(Long length) override;
  void SetPosition(Long position) override;

  // Virtual operation behind AStream's.

  virtual void AddBlock();

 protected:
  ABlockMemStream() = default;
  ~ABlockMemStream() override;
  void IBlockMemStream(Long blockSize, Long indexGrow);

  Long blockSize = 0;
  Long indexGrow = 0;
  char** blocks = nullptr;  // handle of the table of block handles
  Long blockCount = 0;
  Long length = 0;
  Long curBlock = 0;
  Long curOffset = 0;
  char** curHandle = nullptr;

 private:
  void fetch(void* data, Long bytes);
  void store(const void* data, Long bytes);
  char** blockAt(Long index) const;
  void back(Int64 bytes);
  void goTo(Long block, Long offset);
  void catchUp();
  void place();
  template <class Move>
  void walk(Long left, Move move);

  Long firstBacked = 0;  // bytes of the first block that have memory behind them
};
