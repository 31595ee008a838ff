// The base of everything whose changes the undo manager follows.
#pragma once

#include "core/objsys/AIODesc.h"
#include "core/objsys/PortableClass.h"

struct aliasSpec_struct;

/// Index of a flag in the packed word of an undoable object.
enum undoable_flag_t {
  UNDOABLE_ENABLED = 0,  ///< undo follows this object
  UNDOABLE_NEW = 1,      ///< the image being saved is that of a new object
  UNDOABLE_FREE_1 = 2,   ///< for the subclass
  UNDOABLE_FREE_2 = 3,   ///< for the subclass
};

/// Calls `SaveUndoState` before it changes a field that its `Put` stores; `SetUndoability(1, 1)` once it is fully made,
/// and `SetUndoability(0, ...)` before it stops being followed. All of these do nothing where there is no undo manager.
class KY_API AUndoable : public APortable {
  KY_PORTABLE(AUndoable, APortable, "UNDO", 1, 1, 1)

 public:
  /// `Unplug`, then the end; the storage lives on for as long as the undo manager wants it.
  void Dispose() override;
  /// The copy starts a life of its own: no life number, no flags.
  AObject* Copy() override;
  void Put(AStream* stream, AIODesc* desc) override {
    APortable::Put(stream, desc);
    if (desc->IsForUndo()) putHistory(stream);
  }
  void Get(AStream* stream, AIODesc* desc) override {
    APortable::Get(stream, desc);
    if (desc->IsForUndo()) return getHistory(stream);
    lastSave = 0;
    lifeID = 0;
  }

  // Virtual operations behind APortable's, in slot order.
  virtual void SaveUndoState();
  virtual void SetUndoability(Boolean enable, Boolean isNew);
  virtual Boolean IsUndoEnabled();
  /// The number by which the history knows the object, 0 until the manager registers it.
  virtual Long GetLifeID();
  virtual void SetLifeID(Long id);
  /// The generation of the last save, 27 bits; setting it leaves the flags.
  virtual Long GetLastSave();
  virtual void SetLastSave(Long generation);
  /// Ties and unties a reference that some other structure holds to the object and that its image alone cannot restore.
  virtual void AttachAlias(const aliasSpec_struct& spec);
  virtual void DetachAlias(const aliasSpec_struct& spec);
  virtual Boolean IsUndoableFlagSet(undoable_flag_t flag);
  virtual void SetUndoableFlag(undoable_flag_t flag);
  virtual void ClearUndoableFlag(undoable_flag_t flag);
  /// Cuts the object's ties ahead of its end; here nothing.
  virtual void Unplug();

  /// As AObject's; declared because a class's new and delete come in pairs.
  static void* operator new(std::size_t size);
  static void* operator new(std::size_t size, void* where);
  /// Frees the storage, unless the undo manager asked in the destructor for it to stay.
  static void operator delete(void* storage);
  static void operator delete(void*, void*) {}

 protected:
  AUndoable() = default;
  ~AUndoable() override;
  /// `IPortable`, and a life not yet begun. The argument is not used.
  void IUndoable(Boolean undoable);

  Long lifeID = 0;
  ULong lastSave = 0;

 private:
  void putHistory(AStream* stream) const;
  void getHistory(AStream* stream);
};

/// Storage between a destructor whose object the undo manager still needs and the `operator delete` that then spares
/// it.
extern KY_API void* DeferredObject;
