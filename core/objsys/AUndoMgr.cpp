#include "core/objsys/AUndoMgr.h"

AUndoMgr* AUndoMgr::UndoMgr = nullptr;

AUndoMgr::~AUndoMgr() {
  if (UndoMgr == this) UndoMgr = nullptr;
}

void AUndoMgr::SetUndoMgr(AUndoMgr* manager) { UndoMgr = manager; }

void AUndoMgr::ObjectDisable(AUndoable*) {}
void AUndoMgr::ObjectEnable(AUndoable*, Boolean) {}
void AUndoMgr::ObjectCreating(AUndoable*) {}
void AUndoMgr::ObjectChanging(AUndoable*) {}
Boolean AUndoMgr::ObjectAssociating(AUndoable*, const aliasSpec_struct&) { return 0; }
Boolean AUndoMgr::ObjectDisassociating(AUndoable*, const aliasSpec_struct&) { return 0; }
Boolean AUndoMgr::ObjectDestructing(AUndoable*) { return 0; }
void AUndoMgr::AddRef(AObject* object) { object->Dispose(); }
Boolean AUndoMgr::IsThereACurrentLayer() { return 0; }
void AUndoMgr::SavePoint(const char*) {}
void AUndoMgr::MergeSavePoint() {}
void AUndoMgr::Undo() {}
void AUndoMgr::Redo() {}
void AUndoMgr::UndoToTime(Int64) {}
void AUndoMgr::RedoToTime(Int64) {}
char* AUndoMgr::GetUndoNameCopy(char* buffer) { return buffer; }
char* AUndoMgr::GetRedoNameCopy(char* buffer) { return buffer; }
Long AUndoMgr::NumLevels(UndoRedo_t) { return 0; }
Boolean AUndoMgr::GetLevelInfo(UndoRedo_t, Long, char*, Long, Int64*) { return 0; }
Long AUndoMgr::GetGenerationNum() { return 0; }
void AUndoMgr::Clear() {}
void AUndoMgr::ClearPast() {}
void AUndoMgr::ClearFuture() {}
void AUndoMgr::Abort() {}
Long AUndoMgr::WringMemory(Long, Boolean) { return 0; }
