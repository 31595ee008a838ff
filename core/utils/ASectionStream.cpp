#include "core/utils/ASectionStream.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "core/error/Guarded.h"
#include "core/mem/Owned.h"

using namespace ky;

namespace {

ASectionStream* from(void* stream) { return static_cast<ASectionStream*>(static_cast<AStream*>(stream)); }

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
  installCore(CoreRead, CoreWrite);
  parent = newParent;
  start = newStart;
  end = newEnd;
  value = newValue;
  closeFunc = newCloseFunc;
  closeData = newCloseData;
}

const char* ASectionStream::ClassName() { return "ASectionStream"; }

Boolean ASectionStream::IsInstanceOf(const char* name) {
  return std::strcmp(name, "ASectionStream") == 0 || AStream::IsInstanceOf(name);
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

void ASectionStream::CoreRead(void* stream, void* data, Long length) {
  if (length <= 0) return;
  auto* self = from(stream);
  const Int64 at = self->here();
  const Int64 over = std::max<Int64>(self->start + at + length - self->end, 0);
  if (const Int64 fits = length - over; fits > 0) {
    self->seekParent();
    self->parent->Read(data, static_cast<Long>(fits));
    self->closeWindow(at + fits);
  }
  if (over > 0) +XError("SECTSTRM_EOF");
}

void ASectionStream::CoreWrite(void* stream, void* data, Long length) {
  if (length <= 0) return;
  auto* self = from(stream);
  const Int64 at = self->here();
  const Long newEnd = asPosition(self->start + at + length);
  self->seekParent();
  self->parent->Write(data, length);
  self->closeWindow(at + length);
  self->end = std::max(self->end, newEnd);
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
  if (position > GetLength()) +XError("STRM_BAD_POSITION");
  AStream::SetPosition(position);
}

void ASectionStream::SetSeqBuf(Long size, Long count) { parent->SetSeqBuf(size, count); }

void ASectionStream::Flush() { parent->Flush(); }
