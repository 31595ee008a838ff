#include "core/base/AObject.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "core/error/Assert.h"
#include "core/mem/KyMemory.h"
#include "core/mem/TracedPtr.h"

namespace {

// By way of a plain pointer, since the compiler takes `this` never to be null.
bool isNull(const void* p) { return p == nullptr; }

void fatalAbout(AObject* object, const char* format, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  char text[80];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(text, sizeof text, format, object->ClassName());
#pragma GCC diagnostic pop
  ky::fatal(text, file, line);
}

}  // namespace

AObject::LogRoutine AObject::iCreationCB = nullptr;
AObject::LogRoutine AObject::iDisposalCB = nullptr;

AObject::~AObject() = default;

void AObject::Dispose() {
  if (iDisposalCB) iDisposalCB(this);
  if (!isNull(this)) delete this;
}

AObject* AObject::Copy() { return static_cast<AObject*>(KyCopy(this)); }

void AObject::SubclassResponsibility() { fatalAbout(this, "Class %s should have implemented this method!"); }

void AObject::DoesNotImplement() { fatalAbout(this, "Class %s does not support this method!"); }

const char* AObject::ClassName() { return "AObject"; }

Boolean AObject::IsInstanceOf(const char* name) { return std::strcmp(name, "AObject") == 0; }

void AObject::Dump(KyPrint print, int indent) {
  print("%*s> %s (object: 0x%08lX, size: %ld)\n", indent, "", ClassName(),
        static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(this)), static_cast<long>(Size()));
}

Long AObject::Size() { return KySize(this); }

void AObject::DebugCheck() {}

void AObject::IObject() {
  if (iCreationCB) [[unlikely]]
    iCreationCB(this);
}

void* AObject::operator new(std::size_t size) { return ky::newObjectBlock(size); }

void* AObject::operator new(std::size_t size, void* where) { return std::memset(where, 0, size); }

void AObject::operator delete(void* p) { KyDispose(p); }

void AObject::InstallLogRoutines(LogRoutine creation, LogRoutine disposal) {
  iCreationCB = creation;
  iDisposalCB = disposal;
}
