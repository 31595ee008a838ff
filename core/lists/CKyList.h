// Lists of objects or handles, with walks that survive deletion.
#pragma once

#include "core/lists/AList.h"
#include "core/mem/Owned.h"

/// Where a walk goes on.
struct Interator_t {
  /// Counted from 0.
  Long place = 0;
  /// The identity expected at that place.
  Long identity = 0;
};

/// A list whose items are objects, or handles, or neither: then they are words that the list only keeps.
///
/// Each item has an identity. Identities ascend through the list while items are only appended and deleted; any other
/// change makes the list need renumbering, which the start of a walk does.
class KY_API CKyList : public AList {
  KY_CLASS(CKyList, AList)

 public:
  static CKyList* New();
  void IKyList();

  void DebugCheck() override;
  void MoveItemToIndex(Long currentIndex, Long newIndex) override;
  void Swap(Long index1, Long index2) override;
  /// Stable: items that `cmp` holds equal keep their order. The comparison is kept in one cell for each thread.
  void Qsort(int (*cmp)(void*, void*)) override;
  /// Ends the objects or handles and empties the list; items that are neither are only dropped.
  void DisposeItems() override;
  void Add(AObject* object) override;
  void InsertAt(AObject* object, Long index) override;

  // Virtual operations added, in slot order.

  /// Appends all items of `other` and disposes `other`.
  virtual void Combine(CKyList* other);
  /// Returns:  a new list of those items of `other` that are in this one, or null if there are none.
  virtual CKyList* Intersection(CKyList* other);
  virtual void RemoveList(CKyList* other);
  virtual void AddList(CKyList* other);
  /// Returns:  false.
  virtual Boolean NeedsCleanup();

  /// Begin a walk at either end. `filter`, which may be null, says which items to stop at.
  ///
  /// Returns:  the item, or null when there is none (more).
  virtual AObject* GetFirstItem(Interator_t* it, Boolean (*filter)(void* item));
  /// Goes on behind the item last returned, even if that one and others were deleted, or items appended, since.
  ///
  /// Requires: "!needsRenumbering".
  virtual AObject* GetNextItem(Interator_t* it, Boolean (*filter)(void* item));
  virtual AObject* GetLastItem(Interator_t* it, Boolean (*filter)(void* item));
  /// Requires: "!needsRenumbering".
  virtual AObject* GetPrevItem(Interator_t* it, Boolean (*filter)(void* item));
  /// Returns:  where a walk from `index`, or from the last item if that is less, begins.
  virtual Interator_t IndexToInterator(Long index);

  /// Each, when true, clears the other.
  virtual void SetItemsAreObjects(Boolean areObjects);
  virtual void SetItemsAreHandles(Boolean areHandles);

  /// Gives the items ascending identities, if they need it.
  virtual void Renumber();

  /// Returns:  a list of copies of the items, which the caller owns with them.
  virtual CKyList* DeepCopy();
  /// Puts a copy of each item into `dest`, in place of the item at its index or behind the last.
  virtual void CopyItems(CKyList* dest);

  /// Marks the list as holding handles and inserts a new handle with a copy of the bytes.
  virtual void InsertHandleAt(const void* bytes, Long size, Long index);
  /// Replaces the item at `index`; the one before is not ended.
  virtual void SetItemAt(AObject* object, Long index);
  virtual void AppendAsHandle(const void* bytes, Long size);
  virtual void PrependAsHandle(const void* bytes, Long size);
  /// Marks the list as holding handles and appends `handle` itself.
  virtual void AppendThisHandle(char** handle);

  /// Bisects by `cmp(key, item)`. `*index`, if not null, becomes the place of a hit or the place to insert at.
  ///
  /// Returns:  the item, or null.
  virtual AObject* BinarySearch(LongPtr key, Long (*cmp)(LongPtr key, void* item), Long* index);
  /// Returns:  the list's own size and that of its objects or handles.
  virtual Long SizeWithItems();

 protected:
  CKyList() = default;

  Boolean needsRenumbering = false;
  Boolean itemsAreObjects = true;
  Boolean itemsAreHandles = false;
  Long nextIdentity = 0;

 private:
  /// Orders two cells by the comparison of the running Qsort(), then by identity.
  static int compareStably(void* a, void* b);

  /// Returns:  the place of the first item whose identity is not below `identity`, which lies at `hint` or before it.
  Long firstFrom(Long identity, Long hint) const;
  /// Returns:  the place of the last item whose identity is not above `identity`, which lies at `hint` or before it; -1
  ///           if there is none.
  Long lastUpTo(Long identity, Long hint) const;
  /// Returns:  a list of the same kind without items.
  ky::Owned<CKyList> emptyCopy();
  AObject* copyOf(AObject* item) const;
  void disposeItem(AObject* item) const;

  Long identityAt(Long place) const { return static_cast<Long>(clusterCell(place).tag); }
};
