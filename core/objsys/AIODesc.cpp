#include "core/objsys/AIODesc.h"

#include <cstring>
#include <utility>
#include <vector>

namespace ky {
struct DeferredChecks {
  struct Check {
    AObject* object;
    void (*verify)(AObject* object);
  };
  std::vector<Check> checks;
};
}  // namespace ky

const char* AIODesc::ClassName() { return "AIODesc"; }
Boolean AIODesc::IsInstanceOf(const char* name) {
  return std::strcmp(name, "AIODesc") == 0 || AObject::IsInstanceOf(name);
}

int AIODesc::GetIOKind() { return ioKind; }
void AIODesc::SetPtrsOnly(Boolean only) { ptrsOnly = only; }
Boolean AIODesc::GetPtrsOnly() { return ptrsOnly; }

void AIODesc::IIODesc(int kind) {
  ioKind = kind;
  ptrsOnly = 0;
}

AStoreDesc* AStoreDesc::New() {
  auto* desc = new AStoreDesc;
  desc->IStoreDesc();
  return desc;
}

AStoreDesc::~AStoreDesc() { delete deferred; }

void AStoreDesc::IStoreDesc() { IIODesc(kStore); }

AObject* AStoreDesc::Copy() {
  auto* copy = static_cast<AStoreDesc*>(AIODesc::Copy());
  copy->deferred = nullptr;
  return copy;
}

const char* AStoreDesc::ClassName() { return "AStoreDesc"; }
Boolean AStoreDesc::IsInstanceOf(const char* name) {
  return std::strcmp(name, "AStoreDesc") == 0 || AIODesc::IsInstanceOf(name);
}

void AStoreDesc::DeferCheck(AObject* object, void (*verify)(AObject* object)) {
  if (!deferred) deferred = new ky::DeferredChecks;
  deferred->checks.push_back({object, verify});
}

void AStoreDesc::RunDeferredChecks() {
  if (!deferred) return;
  const auto checks = std::exchange(deferred->checks, {});
  for (const auto& check : checks) check.verify(check.object);
}

void AStoreDesc::ForgetDeferredChecks() {
  if (deferred) deferred->checks.clear();
}

AUndoDesc* AUndoDesc::New() {
  auto* desc = new AUndoDesc;
  desc->IUndoDesc();
  return desc;
}
void AUndoDesc::IUndoDesc() { IIODesc(kUndo); }
const char* AUndoDesc::ClassName() { return "AUndoDesc"; }
Boolean AUndoDesc::IsInstanceOf(const char* name) {
  return std::strcmp(name, "AUndoDesc") == 0 || AIODesc::IsInstanceOf(name);
}

APrintDesc* APrintDesc::New() {
  auto* desc = new APrintDesc;
  desc->IPrintDesc();
  return desc;
}
void APrintDesc::IPrintDesc() { IIODesc(kPrint); }
const char* APrintDesc::ClassName() { return "APrintDesc"; }
Boolean APrintDesc::IsInstanceOf(const char* name) {
  return std::strcmp(name, "APrintDesc") == 0 || AIODesc::IsInstanceOf(name);
}

AConv55Desc* AConv55Desc::New() {
  auto* desc = new AConv55Desc;
  desc->IConv55Desc();
  return desc;
}
void AConv55Desc::IConv55Desc() { IIODesc(kConv55); }
const char* AConv55Desc::ClassName() { return "AConv55Desc"; }
Boolean AConv55Desc::IsInstanceOf(const char* name) {
  return std::strcmp(name, "AConv55Desc") == 0 || AIODesc::IsInstanceOf(name);
}

AConv62Desc* AConv62Desc::New() {
  auto* desc = new AConv62Desc;
  desc->IConv62Desc();
  return desc;
}
void AConv62Desc::IConv62Desc() { IIODesc(kConv62); }
const char* AConv62Desc::ClassName() { return "AConv62Desc"; }
Boolean AConv62Desc::IsInstanceOf(const char* name) {
  return std::strcmp(name, "AConv62Desc") == 0 || AIODesc::IsInstanceOf(name);
}

void ky::deferCheck(AIODesc* desc, AObject* object, void (*verify)(AObject* object)) {
  if (desc && desc->GetIOKind() == AIODesc::kStore && desc->IsInstanceOf("AStoreDesc"))
    static_cast<AStoreDesc*>(desc)->DeferCheck(object, verify);
}
