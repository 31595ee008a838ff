// Fixed table of optional entries.
#pragma once

#include "core/base/AObject.h"

/// Entries are numbered from 0. A new one is clear, which means that it holds no item.
///
/// Threads:   one user at a time.
class KY_API ASimpleList : public AObject {
  KY_CLASS(ASimpleList, AObject)

 public:
  /// Requires: "entries >= 0", "itemSize >= 0"; null if the failed check returned.
  /// Raises:   MEM_OUT_OF_MEMORY.
  static ASimpleList* New(int entries, int itemSize);

  AObject* Copy() override;

  // Virtual operations, in slot order.

  /// Returns:  bytes per entry: a set byte, three that are not used, the item.
  virtual int GetEntrySize();
  virtual int GetItemSize();
  virtual int NumEntries();
  virtual int NumSet();

  /// Keeps the entries that fit; those added are clear.
  ///
  /// Raises:   MEM_OUT_OF_MEMORY, with the list as it was.
  virtual void Resize(int entries);

  /// Starts again with new sizes and every entry clear.
  ///
  /// Raises:   MEM_OUT_OF_MEMORY, with the list as it was.
  virtual void Reconstruct(int entries, int itemSize);

  // These take a number out of range for one of an entry that is neither clear nor set.
  virtual void ClearEntry(int entry);
  virtual Boolean IsClear(int entry);
  virtual Boolean IsSet(int entry);
  virtual void ClearAllEntries();

  /// Raises:   CM_INVALID_ENTRY_NBR ("int entry").
  virtual void SetEntry(int entry, const void* item);

  /// Raises:   CM_ENTRY_CLEAR ("int entry") unless the entry is set.
  virtual void GetEntry(int entry, void* item);

 protected:
  ASimpleList() = default;
  ~ASimpleList() override;

 private:
  int itemSize = 0;
  int numEntries = 0;
  char** hEntries = nullptr;

  char* entryAt(int entry) const;
  bool isEntry(int entry) const { return entry >= 0 && entry < numEntries; }
};
