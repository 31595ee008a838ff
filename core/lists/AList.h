// Lists of objects.
#pragma once

#include "core/lists/ACluster.h"

/// A cluster with an order that its callers choose. An absent object is no error to any of these.
class KY_API AList : public ACluster {
  KY_CLASS(AList, ACluster)

 public:
  static AList* New();
  void IList();

  // Virtual operations added, in slot order.
  virtual void Append(AObject* object);
  virtual void Prepend(AObject* object);
  /// Inserts behind `ref`; behind the first object if `ref` is absent.
  virtual void InsertAfter(AObject* object, AObject* ref);
  /// Inserts at `index`, or at the end when `index` lies beyond it.
  virtual void InsertAt(AObject* object, Long index);
  /// Makes the object the first, or the last.
  virtual void BringFront(AObject* object);
  virtual void SendBack(AObject* object);
  /// Changes places with the one ahead, or the one behind.
  virtual void MoveUp(AObject* object);
  virtual void MoveDown(AObject* object);
  virtual void MoveToIndex(AObject* object, Long index);
  /// Returns:  null if the list is empty.
  virtual AObject* FirstItem();
  virtual AObject* LastItem();
  /// Returns:  the object at `index`, or null for a bad index.
  virtual AObject* NthItem(Long index);
  /// Returns:  Offset() from `indexBase` on: far below it when absent.
  virtual Long FindIndex(AObject* object);
  /// Walk forwards or backwards; insertion and deletion are refused meanwhile.
  ///
  /// Returns:  the first object met for which `fn` is true, or null.
  virtual AObject* FirstSuccess(Boolean (*fn)(void* object));
  virtual AObject* FirstSuccess1(Boolean (*fn)(void* object, LongPtr argument), LongPtr argument);
  virtual AObject* LastSuccess(Boolean (*fn)(void* object));
  virtual AObject* LastSuccess1(Boolean (*fn)(void* object, LongPtr argument), LongPtr argument);

 protected:
  AList() = default;
};
