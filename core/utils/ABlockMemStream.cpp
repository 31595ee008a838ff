#include "core/utils/ABlockMemStream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/mem/KyHandles.h"
#include "core/mem/Owned.h"

using namespace ky;

namespace {

constexpr Long leastBacked = 256;
constexpr Long bytesOfEntry = sizeof(char**);

}  // namespace

ABlockMemStream* ABlockMemStream::New(Long blockSize, Long indexGrow) {
  Owned<ABlockMemStream> stream(new ABlockMemStream);
  stream->IBlockMemStream(blockSize, indexGrow);
  return stream.release();
}

void ABlockMemStream::IBlockMemStream(Long newBlockSize, Long newIndexGrow) {
  IStream();
  installCore<ABlockMemStream, &ABlockMemStream::fetch, &ABlockMemStream::store>();
  blockSize = check(newBlockSize > 0, "blockSize > 0") ? newBlockSize : 1;
  indexGrow = check(newIndexGrow > 0, "indexGrow > 0") ? newIndexGrow : 1;
  AddBlock();
  goTo(0, 0);
  place();
}

ABlockMemStream::~ABlockMemStream() {
  succeeds([this] {
    for (Long i = 0; i < blockCount; ++i) KyDisposeHandle(blockAt(i));
    if (blocks) KyDisposeHandle(blocks);
  });
}

Long ABlockMemStream::Size() { return AStream::Size() + KyGetHandleSize(blocks) + blockCount * blockSize; }

char** ABlockMemStream::blockAt(Long index) const { return reinterpret_cast<char***>(*blocks)[index]; }

void ABlockMemStream::AddBlock() {
  if (blockCount % indexGrow == 0) {
    const Int64 bytes = (Int64{blockCount} / indexGrow + 1) * indexGrow * bytesOfEntry;
    if (bytes > std::numeric_limits<Long>::max()) +XError("MEM_OUT_OF_MEMORY");
    if (blocks) {
      KySetHandleSize(blocks, static_cast<Long>(bytes));
    } else {
      blocks = KyNewHandle(static_cast<Long>(bytes));
    }
  }
  const Long backed = blockCount == 0 ? std::min(blockSize, leastBacked) : blockSize;
  char** const block = KyNewHandle(backed);
  if (blockCount == 0) firstBacked = backed;
  reinterpret_cast<char***>(*blocks)[blockCount++] = block;
}

/// Puts memory behind the first `bytes` bytes of the store, as far as they lie in the first block.
void ABlockMemStream::back(Int64 bytes) {
  const Int64 wanted = std::min<Int64>(bytes, blockSize);
  if (wanted <= firstBacked) return;
  const auto newBacked = static_cast<Long>(std::min<Int64>(std::max<Int64>(wanted, Int64{firstBacked} * 4), blockSize));
  KySetHandleSize(blockAt(0), newBacked);
  firstBacked = newBacked;
  place();  // the window may lie over the block that moved
}

void ABlockMemStream::goTo(Long block, Long offset) {
  curBlock = block;
  curOffset = offset;
  curHandle = blockAt(block);
}

void ABlockMemStream::catchUp() {
  const Int64 at = here();
  curOffset = static_cast<Long>(at - Int64{curBlock} * blockSize);
  length = static_cast<Long>(std::max<Int64>(length, at));
}

void ABlockMemStream::place() {
  const Int64 begin = Int64{curBlock} * blockSize;
  const Long backed = curBlock == 0 ? firstBacked : blockSize;
  openWindow(*curHandle, begin, begin + curOffset, std::min<Int64>(length - begin, backed), backed);
}

/// Passes `left` bytes block by block to `move(bytes in the store, offset in the caller's, count)`.
template <class Move>
void ABlockMemStream::walk(Long left, Move move) {
  for (Long done = 0; left > 0;) {
    if (curOffset == blockSize) goTo(curBlock + 1, 0);
    const Long count = std::min(left, blockSize - curOffset);
    move(*curHandle + curOffset, done, static_cast<std::size_t>(count));
    curOffset += count;
    done += count;
    left -= count;
  }
}

void ABlockMemStream::fetch(void* data, Long bytes) {
  catchUp();
  if (here() + bytes > length) +XError("STRM_EOF");
  walk(bytes, [data](const char* from, Long at, std::size_t count) {
    std::memcpy(static_cast<char*>(data) + at, from, count);
  });
  place();
}

/// All memory is there before the first byte moves, so that a failure leaves the stream as it was.
void ABlockMemStream::store(const void* data, Long bytes) {
  catchUp();
  const Int64 end = here() + bytes;
  if (end > std::numeric_limits<Long>::max()) +XError("STRM_EOF");
  back(end);
  while (Int64{blockCount} * blockSize < end) AddBlock();
  walk(bytes,
       [data](char* to, Long at, std::size_t count) { std::memcpy(to, static_cast<const char*>(data) + at, count); });
  length = static_cast<Long>(std::max<Int64>(length, end));
  place();
}

Long ABlockMemStream::GetLength() {
  catchUp();
  return length;
}

void ABlockMemStream::SetLength(Long) { DoesNotImplement(); }

void ABlockMemStream::SetPosition(Long position) {
  catchUp();
  startSeek(position, length);
  const Long block = position / blockSize;
  if (block == blockCount) {
    goTo(block - 1, blockSize);
  } else {
    goTo(block, position % blockSize);
  }
  place();
}
