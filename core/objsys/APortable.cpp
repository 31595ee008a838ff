#include "core/objsys/APortable.h"

#include <cstring>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/KyMemory.h"
#include "core/objsys/TypedRead.h"
#include "core/objsys/WalkGuard.h"
#include "core/utils/StreamWire.h"

using namespace ky;

Long APortable::globalVisitID = 0;

namespace {
void (*dumpRoutine)(APortable* object, KyPrint print, int indent) = nullptr;
}

void APortable::IPortable() {
  domainData = 0;
  visitID = 0;
}

AObject* APortable::Copy() {
  (void)GetClassID();
  return AObject::Copy();
}

void APortable::Dump(KyPrint print, int indent) {
  if (dumpRoutine) {
    dumpRoutine(this, print, indent);
  } else {
    AObject::Dump(print, indent);
  }
}
void APortable::InstallDumpRoutine(void (*dump)(APortable* object, KyPrint print, int indent)) { dumpRoutine = dump; }

ULong APortable::GetClassID() const {
  const_cast<APortable*>(this)->SubclassResponsibility();
  return 0;
}
unsigned char APortable::GetVersionWritten() const {
  const_cast<APortable*>(this)->SubclassResponsibility();
  return 0;
}
unsigned char APortable::GetMinVersionRead() const {
  const_cast<APortable*>(this)->SubclassResponsibility();
  return 0;
}
unsigned char APortable::GetMaxVersionRead() const {
  const_cast<APortable*>(this)->SubclassResponsibility();
  return 0;
}
const char* APortable::GetExtensionDescription() const {
  const_cast<APortable*>(this)->SubclassResponsibility();
  return "";
}

Long APortable::GetDomainData() { return domainData; }
void APortable::SetDomainData(Long data) { domainData = data; }
void APortable::MarkVisited() { visitID = globalVisitID; }
Boolean APortable::WasVisited() { return visitID == globalVisitID; }
void APortable::IncrementGlobalVisitID() { ++globalVisitID; }

void APortable::BecomeLike(APortable* other) { HandleBecomeLike(this, other); }

void APortable::PutObjectToStream(AStream* stream, AIODesc* desc) {
  Put(stream, desc);
  StreamWire::putEndOfObject(*stream);
}
void APortable::GetObjectFromStream(AStream* stream, AIODesc* desc) {
  Get(stream, desc);
  StreamWire::getEndOfObject(*stream);
}

omf2OOBJ* APortable::ConvertToOMF2(omf2Domain*) { return nullptr; }
IAAFObject* APortable::ConvertToAAF(AAFDomain*) { return nullptr; }
Boolean APortable::ConvertFromAAF(AAFDomain*, IAAFObject*) { return 0; }

void APortable::WriteClassMark(AStream* stream) const {
  stream->WriteClassMark(Long(GetClassID()), char(GetVersionWritten()));
}
char APortable::ReadClassMark(AStream* stream) const { return stream->ReadClassMark(Long(GetClassID())); }
char APortable::CheckClassMark(AStream* stream) const {
  return stream->CheckClassMark(Long(GetClassID()), char(GetMinVersionRead()), char(GetMaxVersionRead()));
}

void HandleBecomeLike(void* dest, void* source) {
  const Long size = KySize(source);
  // An object cannot be resized in place: whoever points at it would be left behind.
  if (!check(KySize(dest) >= size, "KySize(dest) >= KySize(source)")) return;
  std::memmove(dest, source, std::size_t(size));
}

void ky::requireReadClass(APortable* object, const char* className) {
  if (!object->IsInstanceOf(className)) raiseBadStreamData("Object of an unexpected class");
}

void ky::raiseBadStreamData(const char* sentence) {
  +XError("DOMAIN_BAD_STRM_DATA", "str reason", sentence, 0);
  __builtin_unreachable();
}
