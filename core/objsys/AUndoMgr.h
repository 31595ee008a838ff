// The interface of the one undo manager; this base keeps no history.
#pragma once

#include "core/base/AObject.h"

class AUndoable;
struct aliasSpec_struct;

/// Which side of the history is asked about; any value but 0 is the future.
enum UndoRedo_t { UNDO_PAST = 0, UNDO_FUTURE = 1 };

/// Every operation here does nothing and answers false, 0, or the buffer that it was given, so that a program without
/// undo pays a null test alone.
class KY_API AUndoMgr : public AObject {
  KY_CLASS(AUndoMgr, AObject)

 public:
  /// The manager of the process, or null.
  static AUndoMgr* GetUndoMgr() { return UndoMgr; }
  /// Borrows:  `manager` until another is set; null for none.
  static void SetUndoMgr(AUndoMgr* manager);

  // Virtual operations behind AObject's, in slot order.
  virtual void ObjectDisable(AUndoable* object);
  virtual void ObjectEnable(AUndoable* object, Boolean isNew);
  virtual void ObjectCreating(AUndoable* object);
  virtual void ObjectChanging(AUndoable* object);
  virtual Boolean ObjectAssociating(AUndoable* object, const aliasSpec_struct& spec);
  /// Returns:  true if the manager takes charge of the detach.
  virtual Boolean ObjectDisassociating(AUndoable* object, const aliasSpec_struct& spec);
  /// Returns:  true if the object's storage must outlive its destructor.
  virtual Boolean ObjectDestructing(AUndoable* object);
  /// Takes an object that only the history may still need; without a history it is disposed at once.
  virtual void AddRef(AObject* object);
  virtual Boolean IsThereACurrentLayer();
  virtual void SavePoint(const char* name);
  virtual void MergeSavePoint();
  virtual void Undo();
  virtual void Redo();
  virtual void UndoToTime(Int64 time);
  virtual void RedoToTime(Int64 time);
  virtual char* GetUndoNameCopy(char* buffer);
  virtual char* GetRedoNameCopy(char* buffer);
  virtual Long NumLevels(UndoRedo_t kind);
  virtual Boolean GetLevelInfo(UndoRedo_t kind, Long level, char* buffer, Long length, Int64* time);
  virtual Long GetGenerationNum();
  virtual void Clear();
  virtual void ClearPast();
  virtual void ClearFuture();
  virtual void Abort();
  virtual Long WringMemory(Long goal, Boolean wring);

 protected:
  AUndoMgr() = default;
  /// Takes itself out of `UndoMgr`.
  ~AUndoMgr() override;

  static AUndoMgr* UndoMgr;
};
