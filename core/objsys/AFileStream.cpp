#include "core/objsys/AFileStream.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/Printing.h"
#include "core/error/Subsystems.h"
#include "core/mem/KyHandles.h"
#include "core/mem/Owned.h"
#include "core/utils/StreamWire.h"

using namespace ky;

AFileStream* AFileStream::New(fileRec_t** fileHdl, Boolean closeFile, char** buffer) {
  Owned<AFileStream> stream(new AFileStream);
  stream->IFileStream(fileHdl, closeFile, buffer);
  return stream.release();
}

/// What the stream is to end with it, it takes over last: a stream that never was leaves it to the caller.
void AFileStream::IFileStream(fileRec_t** newFile, Boolean close, char** buffer) {
  IStream();
  installCore<AFileStream, &AFileStream::fetch, &AFileStream::store>();
  check(newFile != nullptr, "fileHdl != NULL");
  const Long length = buffer ? KyGetHandleSize(buffer) : 0;
  const bool isUsable = buffer && check(length > 0, "pbuflen >0");
  static const int subsystem = dbgRegSubSystem("FileStream");
  if (subsystem && dbgTestFlag(subsystem, kDbgPrint)) SetTraceFunc(dprintf);
  fileHdl = newFile;
  closeFile = close != 0;
  if (!isUsable) return;
  seqBuf = buffer;
  seqBufLen = pbuflen = length;
  place(0);
}

AFileStream::~AFileStream() {
  succeeds([this] { endBuffer(); });
}

void AFileStream::Dispose() {
  always([this] { SetSeqBuf(0, 0); },
         [this] {
           always(
               [this] {
                 if (closeFile && fileHdl) KYCloseFile(fileHdl);
               },
               [this] { AStream::Dispose(); });
         });
}

// ---- the buffer
//
// It holds what lies from bufFilePos on: bytes of the file while the stream reads, bytes on their way to it while the
// stream writes. The window lies over it; in writing it ends one byte short, so that a full buffer is always met by
// store(), which empties it.

void AFileStream::catchUp() {
  if (writing && hasWindow()) bufCount = static_cast<Long>(here() - bufFilePos);
}

void AFileStream::place(Int64 at) {
  if (!seqBuf) return closeWindow(at);
  openWindow(*seqBuf, bufFilePos, at, writing ? 0 : bufCount, writing ? seqBufLen - 1 : 0);
}

/// Stands at `at` with nothing in the buffer.
void AFileStream::startAt(Int64 at) {
  bufCount = 0;
  bufFilePos = at;
  place(at);
}

void AFileStream::AllocSeqBuf() {
  if (pbuflen < 1 || seqBuf) return;
  guarded(
      [this] {
        seqBuf = KyNewMaxHandleZorvex(pbuflen, 0, 0);
        seqBufLen = KyGetHandleSize(seqBuf);
      },
      [](XError& caught) {
        if (std::strcmp(caught.GetCode(), "MEM_OUT_OF_MEMORY") != 0) xraisexerror(caught);
      });
  startAt(here());
}

void AFileStream::endBuffer() {
  closeWindow(here());
  seqBufLen = pbuflen = bufCount = 0;
  if (char** const buffer = std::exchange(seqBuf, nullptr)) KyDisposeHandle(buffer);
}

void AFileStream::SetSeqBuf(Long size, Long) {
  if (seqBuf && size != pbuflen) {
    Flush();
    if (size <= 0) return endBuffer();
    KySetHandleSize(seqBuf, size);
    seqBufLen = KyGetHandleSize(seqBuf);
    startAt(here());
  }
  pbuflen = size;
}

void AFileStream::SetTrailingBufLen(Long length) { trailingBufLen = std::clamp<Long>(length, 0, seqBufLen / 4); }

void AFileStream::Flush() {
  catchUp();
  const Int64 at = here();
  if (bufCount <= 0) return;
  if (writing) {
    writeOut(*seqBuf, bufCount);
  } else {
    KYSetFPos(fileHdl, static_cast<Long>(at), kFromStart);
  }
  startAt(at);
}

/// Writes where the file stands; after a failure it stands there again, for another try.
void AFileStream::writeOut(const void* data, Long length) {
  guardedReraise([&] { KYWriteFile(fileHdl, 0, kFromPosition, length, data); },
                 [this] {
                   const auto written = static_cast<Long>(KYGetLastWriteCount());
                   succeeds([&] { KYSetFPos(fileHdl, -written, kFromPosition); });
                 });
}

void AFileStream::turn(bool toWriting) {
  if (static_cast<bool>(writing) == toWriting) return;
  Flush();
  writing = toWriting;
  startAt(here());
}

// ---- reading

void AFileStream::fetch(void* data, Long length) {
  turn(false);
  AllocSeqBuf();
  if (!seqBuf) {
    const Int64 at = here();
    readIn(data, at, length);
    return closeWindow(at + length);
  }
  for (auto* to = static_cast<char*>(data); length > 0;) {
    if (here() == bufFilePos + bufCount) refill();
    const Int64 at = here();
    const auto piece = static_cast<Long>(std::min<Int64>(length, bufFilePos + bufCount - at));
    std::memcpy(to, *seqBuf + (at - bufFilePos), static_cast<std::size_t>(piece));
    place(at + piece);
    to += piece;
    length -= piece;
  }
}

/// Keeps or reads again what lies before the position, as far as SetTrailingBufLen asks and the buffer still allows.
void AFileStream::refill() {
  const Int64 at = here();
  const Long length = KYGetLength(fileHdl);
  if (length <= at) {
    char name[256];
    +XError("DISK_EOF", "str filename", KYGetFileName(fileHdl, name, sizeof name), 0);
  }
  const auto kept = static_cast<Long>(std::min<Int64>({trailingBufLen, at, seqBufLen / 4}));
  const auto rest = static_cast<Long>(length - at);
  if (kept > 0 && bufFilePos <= at - kept) {
    std::memmove(*seqBuf, *seqBuf + (at - kept - bufFilePos), static_cast<std::size_t>(kept));
    fill(at, kept, std::min(rest, seqBufLen - kept));
  } else {
    fill(at - kept, 0, static_cast<Long>(std::min<Int64>(seqBufLen, Int64{rest} + kept)));
  }
  bufFilePos = at - kept;
  place(at);
}

/// Reads `length` bytes behind the `kept` ones of the buffer, which is empty after a failure.
void AFileStream::fill(Int64 filePosition, Long kept, Long length) {
  guardedReraise([&] { readIn(*seqBuf + kept, filePosition, length); }, [this] { startAt(here()); });
  bufCount = kept + length;
}

/// After a failure the file stands where the stream does, for a write may come next.
void AFileStream::readIn(void* data, Int64 filePosition, Long length) {
  guardedReraise([&] { KYReadFile(fileHdl, data, static_cast<Long>(filePosition), kFromStart, length); },
                 [this] { succeeds([this] { KYSetFPos(fileHdl, GetPosition(), kFromStart); }); });
}

void AFileStream::ReadBytes(const char* label, void* buffer, Long length) {
  StreamWire::getBytes(*this, label, buffer, length, "long Bytes Wanted");
}

// ---- writing

void AFileStream::store(const void* data, Long length) {
  turn(true);
  AllocSeqBuf();
  if (!seqBuf) {
    writeOut(data, length);
    return closeWindow(here() + length);
  }
  catchUp();
  for (auto* bytes = static_cast<const char*>(data); length > 0;) {
    const Long piece = std::min(length, seqBufLen - bufCount);
    std::memcpy(*seqBuf + bufCount, bytes, static_cast<std::size_t>(piece));
    bufCount += piece;
    place(bufFilePos + bufCount);
    if (bufCount == seqBufLen) Flush();
    bytes += piece;
    length -= piece;
  }
}

// ---- place and length

void AFileStream::SetPosition(Long position) {
  catchUp();
  const Int64 at = here();
  const bool isHeld =
      position == at || (!writing && bufCount > 0 && position >= bufFilePos && position <= bufFilePos + bufCount);
  AStream::SetPosition(position);
  place(isHeld ? position : at);
  if (isHeld) return;
  Flush();
  KYSetFPos(fileHdl, position, kFromStart);
  startAt(position);
}

Long AFileStream::GetLength() {
  const Long length = KYGetLength(fileHdl);
  return seqBuf && writing ? std::max(length, GetPosition()) : length;
}

/// The file routine leaves the file at its new end; the stream stands where it stood.
void AFileStream::SetLength(Long length) {
  Flush();
  KYTruncateFile(fileHdl, length);
  KYSetFPos(fileHdl, GetPosition(), kFromStart);
}

fileRec_t** AFileStream::GetFileHdl() { return fileHdl; }

void AFileStream::ResetFileHdl(fileRec_t** newFile) { fileHdl = newFile; }
