#include "core/objsys/AIODesc.h"

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

AObject* AStoreDesc::Copy() {
  auto* copy = static_cast<AStoreDesc*>(AIODesc::Copy());
  copy->deferred = nullptr;
  return copy;
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

APrintDesc* APrintDesc::New() {
  auto* desc = new APrintDesc;
  desc->IPrintDesc();
  return desc;
}

AConv55Desc* AConv55Desc::New() {
  auto* desc = new AConv55Desc;
  desc->IConv55Desc();
  return desc;
}

AConv62Desc* AConv62Desc::New() {
  auto* desc = new AConv62Desc;
  desc->IConv62Desc();
  return desc;
}

void ky::deferCheck(AIODesc* desc, AObject* object, void (*verify)(AObject* object)) {
  if (desc && desc->GetIOKind() == AIODesc::kStore && desc->IsInstanceOf("AStoreDesc"))
    static_cast<AStoreDesc*>(desc)->DeferCheck(object, verify);
}
