// Arrays of objects.
#pragma once

#include "core/lists/AArray.h"

/// Objects in the order of their adding, found by address. The objects belong to whoever put them in, until
/// DisposeItems().
class KY_API ACluster : public AArray {
  KY_CLASS(ACluster, AArray)

 public:
  static ACluster* New();
  void ICluster();

  AObject* Copy() override;
  void DebugCheck() override;
  /// Gives the object alone: GetPtrItem().
  void GetItem(void* out, Long index) override;
  void Resize(Long count) override;

  // Virtual operations added, in slot order.

  /// DisposeItems(), then Dispose().
  virtual void DisposeAll();
  /// Ends each object, having cleared its cell first, so that an object that leaves the list as it ends does no harm.
  virtual void DisposeItems();
  virtual void Add(AObject* object);
  /// An absent object is no error.
  virtual void Remove(AObject* object);
  virtual Boolean Includes(AObject* object);
  /// Calls with each object; insertion and deletion are refused meanwhile.
  virtual void DoForEach(void (*fn)(void* object));
  virtual void DoForEach1(void (*fn)(void* object, LongPtr argument), LongPtr argument);
  /// The same walk, ended by true.
  ///
  /// Returns:  the first object accepted, or null.
  virtual AObject* FindItem(Boolean (*fn)(void* object));
  virtual AObject* FindItem1(Boolean (*fn)(void* object, LongPtr argument), LongPtr argument);
  /// Linear.
  ///
  /// Returns:  the object's place counted from 0, whatever `indexBase` is; -2147483648 when absent.
  virtual Long Offset(AObject* object);
  /// The walks behind the four above, by the one of the two routines that is not null.
  virtual void DoForEachCommon(void (*fn)(void*), void (*fn1)(void*, LongPtr), LongPtr argument);
  virtual AObject* FindItemCommon(Boolean (*fn)(void*), Boolean (*fn1)(void*, LongPtr), LongPtr argument);

 protected:
  struct Cell {
    AObject* object = nullptr;
    /// 0 here; lists that tell their items apart keep an identity in it.
    LongPtr tag = 0;
  };

  ACluster() = default;

  /// Returns:  the cell at zero-based `place`, valid until the handle is resized.
  Cell& clusterCell(Long place) const { return reinterpret_cast<Cell*>(*hWalked)[place]; }
  /// FindItemCommon() from either end.
  AObject* findLocked(bool backwards, Boolean (*fn)(void*), Boolean (*fn1)(void*, LongPtr), LongPtr argument);

  /// The same handle as `hItems`.
  char** hWalked = nullptr;

 private:
  /// Calls `visit(object)` with the changes locked until it is true.
  ///
  /// Returns:  the object for which it was, or null.
  template <class Visit>
  AObject* walkLocked(bool backwards, Visit visit);
};
