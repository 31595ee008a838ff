#include "core/utils/APrintStream.h"

#include <cstdint>

#include "core/mem/Owned.h"
#include "core/objsys/APortable.h"

using namespace ky;

APrintStream* APrintStream::New(KyPrint print, int indent) {
  Owned<APrintStream> stream(new APrintStream);
  stream->IPrintStream(print, indent);
  return stream.release();
}

void APrintStream::IPrintStream(KyPrint print, int indent) {
  IStream();
  AStream::SetTraceFunc(print);
  AStream::IndentTrace(indent);
}

void APrintStream::WriteObjPtr(const char* label, APortable* object) {
  const KyPrint print = GetTraceFunc();
  const int indent = AStream::IndentTrace(0);
  if (!label) label = "";
  if (object) {
    print(" %*s%-16s %-16s: 0x%08lX (#%ld)\n", indent, "", "ptr", label,
          static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(object)), long(object->GetDomainData()));
  } else {
    print(" %*s%-16s %-16s: %s\n", indent, "", "ptr", label, "NULL");
  }
}

void APrintStream::SetTraceFunc(KyPrint) { DoesNotImplement(); }

int APrintStream::IndentTrace(int) {
  DoesNotImplement();
  return AStream::IndentTrace(0);
}

int APrintStream::Indent(int delta) { return AStream::IndentTrace(delta); }
