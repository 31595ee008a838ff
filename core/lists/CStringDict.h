// Dictionary under string keys.
#pragma once

#include "core/lists/CDictionary.h"

/// What a comparison of DoForEachSortedCustom is given the addresses of.
struct dictSortItem_t {
  const char* key;
  AObject* value;
};

/// Strings of the same letters share a chain whatever their case, and only the first 80 bytes choose it; the comparison
/// then tells them apart.
class KY_API CStringDict : public CDictionary {
  KY_CLASS(CStringDict, CDictionary)

 public:
  CStringDict() = default;

  /// A `keySize` of 0 takes the string's own, with its NUL.
  ///
  /// Requires: "key != NULL", "key[keySize - 1] == 0".
  /// Raises:   DICT_ADD_FAILED over what failed, also over CORE_INTEGER_TOO_BIG for a string of more than 32766 bytes.
  void* AddItem(ObjectKind_t kind, const void* key, short keySize, void* value) override;

  // Virtual operations, in slot order.

  /// A null `equal` compares exactly, or by CIstrcmp unless `caseSensitive`.
  ///
  /// Raises:   DICT_CREATE_FAILED over what failed.
  virtual void IStringDict(Boolean caseSensitive, Equality equal);

  /// Adds an object entry under a copy of `s`.
  ///
  /// Requires: "s != NULL".
  /// Returns:  the entry's handle.
  /// Raises:   DICT_ADD_FAILED.
  virtual void* AddString(const char* s, AObject* object);

  /// As AddString: the capitals that would abbreviate `s` are looked at and not used.
  virtual void* AddAbrevStr(const char* s, AObject* object);

  /// Looks up the string that the handle holds.
  virtual AObject* LookupHdl(char** h);

  /// Every entry, in the order of CIstrcmp.
  virtual void DoForEachSorted(EachFunc each);

  /// Every entry, in the order of `compare`, which gets the addresses of two dictSortItem_t.
  ///
  /// Raises:   DICT_DFE_FAILED over what `each` or `compare` raised.
  virtual void DoForEachSortedCustom(EachFunc each, int (*compare)(void* a, void* b));

 protected:
  ~CStringDict() override = default;
};
