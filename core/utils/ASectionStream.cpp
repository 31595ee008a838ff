#include "core/utils/ASectionStream.h"

#include <algorithm>
#include <limits>

#include "core/error/Guarded.h"
#include "core/mem/Owned.h"

using namespace ky;

namespace {

Long asPosition(Int64 position) {
  if (position < 0 || position > std::numeric_limits<Long>::max()) +XError("STRM_BAD_POSITION");
  return static_cast<Long>(position);
}

}  // namespace

ASectionStream* ASectionStream::New(unsigned short, CloseFunc closeFunc, void* closeData, AStream* parent, Long start,
                                    Long end, LongPtr value) {
  Owned<ASectionStream> stream(new ASectionStream);
  stream->ISectionStream(closeFunc, closeData, parent, start, end, value);
  return stream.release();
}

/// The close function comes last: a section that was never whole does not report its end.
void ASectionStream::ISectionStream(CloseFunc newCloseFunc, void* newCloseData, AStream* newParent, Long newStart,
                                    Long newEnd, LongPtr newValue) {
  IStream();
  installCore<ASectionStream, &ASectionStream::fetch, &ASectionStream::store>();
  parent = newParent;
  start = newStart;
  end = newEnd;
  value = newValue;
  closeFunc = newCloseFunc;
  closeData = newCloseData;
}

void ASectionStream::Dispose() {
  always(
      [this] {
        if (closeFunc) closeFunc(closeData, this, value);
      },
      [this] { AStream::Dispose(); });
}

LongPtr ASectionStream::GetData() { return value; }

void ASectionStream::SetData(LongPtr data) { value = data; }

void ASectionStream::seekParent() {
  const Long wanted = asPosition(start + here());
  if (parent->GetPosition() != wanted) parent->SetPosition(wanted);
}

void ASectionStream::fetch(void* data, Long length) {
  const Int64 at = here();
  const Int64 over = std::max<Int64>(start + at + length - end, 0);
  if (const Int64 fits = length - over; fits > 0) {
    seekParent();
    parent->Read(data, static_cast<Long>(fits));
    closeWindow(at + fits);
  }
  if (over > 0) +XError("SECTSTRM_EOF");
}

void ASectionStream::store(const void* data, Long length) {
  const Int64 at = here();
  const Long newEnd = asPosition(start + at + length);
  seekParent();
  parent->Write(data, length);
  closeWindow(at + length);
  end = std::max(end, newEnd);
}

void ASectionStream::CoreSkip(Long length) {
  seekParent();
  parent->Skip(length);
  AStream::CoreSkip(length);
}

Long ASectionStream::GetLength() { return end - start; }

void ASectionStream::SetLength(Long length) {
  if (length < 0) +XError("STRM_BAD_POSITION");
  const Long newEnd = asPosition(Int64{start} + length);
  parent->SetLength(newEnd);
  end = newEnd;
}

Boolean ASectionStream::IsRandom() { return parent->IsRandom(); }

void ASectionStream::SetPosition(Long position) {
  startSeek(position, GetLength());
  closeWindow(position);
}

void ASectionStream::SetSeqBuf(Long size, Long count) { parent->SetSeqBuf(size, count); }

void ASectionStream::Flush() { parent->Flush(); }
