// Dictionary of objects or handles under byte keys.
#pragma once

#include "core/lists/AArray.h"

enum ObjectKind_t : short { kObjectEntry = 0, kHandleEntry = 1 };

struct dictEntry_t;
typedef dictEntry_t** dictHandle_t;

/// One entry, behind a handle of its own. The key's bytes follow.
struct dictEntry_t {
  dictHandle_t next;
  void* value;
  Long hash;
  short keySize;
  ObjectKind_t kind;
  char key[1];
};

/// Chains of entries by the hash of their key. Equal keys are not looked for: the newest shadows the others.
///
/// With a hash function a key is the address of bytes that are copied in; without one it is itself the 32-bit value (or
/// address) to compare, and callbacks are given that value as their key.
///
/// Owns:      its entries. Values live on after Dispose(); DisposeAll() ends them too.
/// Threads:   one user at a time.
class KY_API CDictionary : public ACollection {
 public:
  typedef Long (*Hash)(const void* key);
  typedef Boolean (*Equality)(const void* key, const void* entryKey);
  typedef void (*EachFunc)(void* key, AObject* value);
  typedef void (*EachFunc1)(void* key, AObject* value, void* context);

  CDictionary() = default;

  /// Returns:  a dictionary with entries of its own for the same values.
  /// Raises:   DICT_COPY_FAILED over what failed.
  AObject* Copy() override;
  const char* ClassName() override { return "CDictionary"; }
  Boolean IsInstanceOf(const char* name) override;

  // Virtual operations, in slot order.

  /// Puts an entry at the head of its chain.
  ///
  /// Borrows:  `keySize` bytes at `key` for the call.
  /// Returns:  the entry's handle.
  /// Raises:   DICT_ADD_FAILED over what failed, with nothing added.
  virtual void* AddItem(ObjectKind_t kind, const void* key, short keySize, void* value);

  /// Ends a chain of entries and their values: objects by `Dispose`, handles by KyDisposeHandle.
  virtual void DisposeList(dictHandle_t list);

  /// Makes the chains. Without a `hash` the key size is 4; a null `equality` beside a hash compares bytes.
  ///
  /// Requires: "buckets > 0".
  /// Raises:   DICT_CREATE_FAILED over what failed.
  virtual void IDictionary(short keySize, Hash hash, Equality equality, Long buckets);

  /// DisposeItems, then Dispose.
  virtual void DisposeAll();

  /// Ends the values and the entries.
  virtual void DisposeItems();

  /// A `keySize` of 0 takes the dictionary's.
  ///
  /// Returns:  the entry's handle.
  /// Raises:   DICT_ADD_FAILED.
  virtual void* Add(const void* key, short keySize, AObject* object);

  /// As Add, for a value that is a handle.
  virtual void* AddHandle(const void* key, short keySize, void* handle);

  /// Takes the newest entry of `key` out, if there is one. The value lives on.
  ///
  /// Raises:   DICT_REMOVE_FAILED over what failed.
  virtual void Remove(const void* key);
  virtual Boolean IncludesKey(const void* key);

  virtual void DoForEach(EachFunc each);
  /// Raises:   DICT_DFE_FAILED over what `each` raised.
  virtual void DoForEach1(EachFunc1 each, void* context);

  /// Returns:  the value of the newest entry of `key`, whichever its kind; null when there is none.
  /// Raises:   DICT_LOOKUP_FAILED over what failed.
  virtual AObject* Lookup(const void* key);

  /// Starts the dictionary's one cursor anew.
  virtual AObject* FirstEntry();

  /// Returns:  the next value that is not null; null at the end.
  /// Raises:   DICT_GET_FAILED over what failed.
  /// Threads:  notes the entry in a static that all dictionaries share.
  virtual AObject* NextEntry();

 protected:
  ~CDictionary() override;

  Long numBuckets = 0;
  short keySize = 0;
  Long cursorBucket = 0;               ///< the next chain to enter
  dictHandle_t cursorEntry = nullptr;  ///< the next entry to give, null to enter the next chain
  Hash hashFunc = nullptr;
  Equality equality = nullptr;
  dictHandle_t** buckets = nullptr;

 private:
  UInt64 reciprocal = 0;  ///< of numBuckets

  ULong bucketOf(Long hash, const void* key) const;
  dictHandle_t* findLink(const void* key) const;
  void endEntries();
};
