#include "core/utils/AUndoable.h"

#include <iterator>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/Printing.h"
#include "core/error/Subsystems.h"
#include "core/error/UIHooks.h"
#include "core/lists/AliasSpec.h"
#include "core/mem/TracedPtr.h"
#include "core/objsys/AIODesc.h"
#include "core/objsys/AUndoMgr.h"

using namespace ky;

void* DeferredObject = nullptr;

namespace {

constexpr ULong kGenerationMask = 0x07FFFFFF;
constexpr ULong kFlagMasks[] = {0x80000000, 0x40000000, 0x20000000, 0x10000000};

ULong maskOf(undoable_flag_t flag) { return kFlagMasks[unsigned(flag) % std::size(kFlagMasks)]; }

}  // namespace

void AUndoable::IUndoable(Boolean) {
  IPortable();
  lifeID = 0;
}

AUndoable::~AUndoable() {
  AUndoMgr* const manager = AUndoMgr::GetUndoMgr();
  if (!manager) return;
  // A destructor may not raise; should the manager fail, it no longer knows the storage, which then goes the usual way.
  Boolean keeps = 0;
  succeeds([&] { keeps = manager->ObjectDestructing(this); });
  if (!keeps) return;
  succeeds([] { check(DeferredObject == nullptr, "DeferredObject == NULL"); });
  DeferredObject = this;
}

void* AUndoable::operator new(std::size_t size) { return newObjectBlock(size); }
void* AUndoable::operator new(std::size_t size, void* where) { return AObject::operator new(size, where); }

void AUndoable::operator delete(void* storage) {
  if (!DeferredObject) return AObject::operator delete(storage);
  succeeds([&] { check(DeferredObject == storage, "DeferredObject == objStorage"); });
  DeferredObject = nullptr;
}

void AUndoable::Dispose() {
  Unplug();
  APortable::Dispose();
}

void AUndoable::Unplug() {}

AObject* AUndoable::Copy() {
  auto* copy = static_cast<AUndoable*>(APortable::Copy());
  copy->lifeID = 0;
  copy->lastSave = 0;
  return copy;
}

void AUndoable::putHistory(AStream* stream) const { stream->WriteLong("lastSave", Long(lastSave)); }
void AUndoable::getHistory(AStream* stream) { lastSave = ULong(stream->ReadLong("lastSave")); }

void AUndoable::SaveUndoState() {
  AUndoMgr* const manager = AUndoMgr::GetUndoMgr();
  if (manager && IsUndoableFlagSet(UNDOABLE_ENABLED)) manager->ObjectChanging(this);
}

void AUndoable::SetUndoability(Boolean enable, Boolean isNew) {
  AUndoMgr* const manager = AUndoMgr::GetUndoMgr();
  if (!manager) return;
  static ULong ticks = 0;
  if (++ticks % 20 == 0) DisplayWait(0, -1);

  if ((IsUndoableFlagSet(UNDOABLE_ENABLED) != 0) == (enable != 0)) return;
  if (!enable) {
    manager->ObjectChanging(this);
    ClearUndoableFlag(UNDOABLE_ENABLED);
    return;
  }
  if (isNew) {
    manager->ObjectCreating(this);
  } else {
    if (manager->IsThereACurrentLayer() && dbgTestFlag(dbgRegSubSystem("Undo"), kDbgDebug))
      dprintf("AUndoable::SetUndoability() Warning : Undo Manager May(?) now be unstable.\n");
    manager->ObjectChanging(this);
  }
  SetUndoableFlag(UNDOABLE_ENABLED);
}

Boolean AUndoable::IsUndoEnabled() { return IsUndoableFlagSet(UNDOABLE_ENABLED); }
Long AUndoable::GetLifeID() { return lifeID; }
void AUndoable::SetLifeID(Long id) { lifeID = id; }
Long AUndoable::GetLastSave() { return Long(lastSave & kGenerationMask); }
void AUndoable::SetLastSave(Long generation) {
  lastSave = (lastSave & ~kGenerationMask) | (ULong(generation) & kGenerationMask);
}

void AUndoable::AttachAlias(const aliasSpec_struct& spec) {
  if (!spec.key) return;
  AUndoMgr* const manager = AUndoMgr::GetUndoMgr();
  if (manager && IsUndoableFlagSet(UNDOABLE_ENABLED)) manager->ObjectAssociating(this, spec);
  spec.attach(this, &spec);
}

void AUndoable::DetachAlias(const aliasSpec_struct& spec) {
  if (!spec.key) return;
  AUndoMgr* const manager = AUndoMgr::GetUndoMgr();
  const bool takenOver = manager && IsUndoableFlagSet(UNDOABLE_ENABLED) && manager->ObjectDisassociating(this, spec);
  if (!takenOver) spec.detach(this, &spec);
}

Boolean AUndoable::IsUndoableFlagSet(undoable_flag_t flag) { return (lastSave & maskOf(flag)) != 0; }
void AUndoable::SetUndoableFlag(undoable_flag_t flag) { lastSave |= maskOf(flag); }
void AUndoable::ClearUndoableFlag(undoable_flag_t flag) { lastSave &= ~maskOf(flag); }
