// What a Put or Get is for: storage, undo, printing or conversion.
#pragma once

#include "core/base/AObject.h"

/// The purpose of a `Put` or `Get`, passed down every call of it.
class KY_API AIODesc : public AObject {
  KY_CLASS(AIODesc, AObject)

 public:
  enum IOKind { kStore = 1, kUndo = 2, kPrint = 3, kConv55 = 6, kConv62 = 7 };

  // Virtual operations behind AObject's, in slot order.

  /// One of `IOKind`; a class's `Put` chooses its fields by it.
  virtual int GetIOKind();
  /// When true, a `Put` is asked to pass only its object pointers.
  virtual void SetPtrsOnly(Boolean only);
  virtual Boolean GetPtrsOnly();

  /// `GetIOKind`, held for the length of a domain's walk: `Put` and `Get` ask it on each level of each object.
  int Kind() {
    if (heldKind) [[likely]]
      return heldKind;
    return GetIOKind();
  }
  bool IsForUndo() { return Kind() == kUndo; }
  /// Asks `GetIOKind` once for all calls of `Kind` until it is let go.
  void HoldKind(Boolean hold) { heldKind = hold ? GetIOKind() : 0; }

  /// The class identifier under which the object being read stands in its document, for a `Get` that wants to know it.
  Long GetClassIDRead() const { return classIDRead; }
  void SetClassIDRead(Long classID) { classIDRead = classID; }

  /// Says that the next pointer read is one that its reader will dispose; taken and cleared by the domain's reader.
  void AnnounceOwnedPtr(Boolean owned) { ownedPtr = owned; }
  Boolean IsOwnedPtrAnnounced() const { return ownedPtr; }
  Boolean TakeOwnedPtr() {
    const Boolean was = ownedPtr;
    ownedPtr = 0;
    return was;
  }

 protected:
  AIODesc() = default;
  ~AIODesc() override = default;
  void IIODesc(int kind);

  int ioKind = 0;
  Boolean ptrsOnly = 0;
  Long classIDRead = 0;
  Boolean ownedPtr = 0;

 private:
  int heldKind = 0;
};

namespace ky {
struct DeferredChecks;
}

/// Persistent storage in a document.
class KY_API AStoreDesc : public AIODesc {
  KY_CLASS(AStoreDesc, AIODesc)

 public:
  static AStoreDesc* New();

  AObject* Copy() override;

  /// Has `verify(object)` run once every object of the document is loaded: what a `Get` cannot judge while the objects
  /// it points at are still empty (the shape of a tree, the threads of a list). `verify` raises when the object is
  /// unsound.
  ///
  /// Borrows:  `object` until the load ends.
  void DeferCheck(AObject* object, void (*verify)(AObject* object));
  /// Runs the deferred checks in the order in which they came, and forgets them, also when one raises.
  void RunDeferredChecks();
  void ForgetDeferredChecks();

 protected:
  AStoreDesc() = default;
  ~AStoreDesc() override;
  void IStoreDesc() { IIODesc(kStore); }

 private:
  ky::DeferredChecks* deferred = nullptr;
};

/// Capture or restore for undo; an object's life in the history takes part.
class KY_API AUndoDesc : public AIODesc {
  KY_CLASS(AUndoDesc, AIODesc)

 public:
  static AUndoDesc* New();

 protected:
  AUndoDesc() = default;
  ~AUndoDesc() override = default;
  void IUndoDesc() { IIODesc(kUndo); }
};

/// Printing by a print stream.
class KY_API APrintDesc : public AIODesc {
  KY_CLASS(APrintDesc, AIODesc)

 public:
  static APrintDesc* New();

 protected:
  APrintDesc() = default;
  ~APrintDesc() override = default;
  void IPrintDesc() { IIODesc(kPrint); }
};

/// Conversion of a stored form, marked as conversion 55; what it changes is the affair of the classes that look for it.
class KY_API AConv55Desc : public AIODesc {
  KY_CLASS(AConv55Desc, AIODesc)

 public:
  static AConv55Desc* New();

 protected:
  AConv55Desc() = default;
  ~AConv55Desc() override = default;
  void IConv55Desc() { IIODesc(kConv55); }
};

/// Conversion of a stored form, marked as conversion 62.
class KY_API AConv62Desc : public AIODesc {
  KY_CLASS(AConv62Desc, AIODesc)

 public:
  static AConv62Desc* New();

 protected:
  AConv62Desc() = default;
  ~AConv62Desc() override = default;
  void IConv62Desc() { IIODesc(kConv62); }
};

namespace ky {

/// Holds the kind of `desc`, which may be null, for a scope.
class KindHeld {
 public:
  explicit KindHeld(AIODesc* desc) : desc_(desc) {
    if (desc_) desc_->HoldKind(1);
  }
  ~KindHeld() {
    if (desc_) desc_->HoldKind(0);
  }
  KindHeld(const KindHeld&) = delete;
  KindHeld& operator=(const KindHeld&) = delete;

 private:
  AIODesc* desc_;
};

/// `DeferCheck` of `desc` if it is one for storage; other purposes read images of a state that was sound when it was
/// kept.
KY_API void deferCheck(AIODesc* desc, AObject* object, void (*verify)(AObject* object));

}  // namespace ky
