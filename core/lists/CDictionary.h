// Dictionary of objects or handles under byte keys.
#pragma once

#include "core/lists/AArray.h"
#include "core/lists/Divisor.h"

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
/// With a hash function a key is the address of bytes that are copied in; without one it is itself the number or
/// address to compare, and callbacks are given that as their key.
///
/// An object must not be ended by DisposeItems() while a callback of the same dictionary runs, nor may a callback take
/// out entries other than its own.
///
/// Owns:      its entries. Values live on after Dispose(); DisposeAll() ends them too.
/// Threads:   one user at a time.
class KY_API CDictionary : public ACollection {
  KY_CLASS(CDictionary, ACollection)

 public:
  typedef Long (*Hash)(const void* key);
  typedef Boolean (*Equality)(const void* key, const void* entryKey);
  typedef void (*EachFunc)(const void* key, AObject* value);
  typedef void (*EachFunc1)(const void* key, AObject* value, void* context);

  CDictionary() = default;

  /// Returns:  a dictionary with entries of its own for the same values.
  /// Raises:   DICT_COPY_FAILED over what failed.
  AObject* Copy() override;

  // Virtual operations, in slot order.

  /// Puts an entry at the head of its chain.
  ///
  /// Requires: "keySize > 0", if there is a hash function.
  /// Borrows:  `keySize` bytes at `key` for the call.
  /// Returns:  the entry's handle.
  /// Raises:   DICT_ADD_FAILED over what failed, with nothing added.
  virtual void* AddItem(ObjectKind_t kind, const void* key, short keySize, void* value);

  /// Ends a chain of entries, already taken out of the dictionary, and their values: objects by `Dispose`, handles by
  /// KyDisposeHandle. Fatal with "Unknown object kind" for any other kind.
  ///
  /// Raises:   the first error that a value's end raised, after all of them.
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

  /// Starts the dictionary's one cursor anew, and gives the first value that is not null.
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

  bool hashTells = false;  ///< equal keys always hash alike, so that entries of another hash need no comparison

  static dictHandle_t sLastEntry;  ///< what NextEntry gave last, of any dictionary

 private:
  ky::Divisor divisor;  ///< numBuckets

  Long hashOf(const void* key) const;
  dictHandle_t* chainOf(Long hash) const;
  bool matches(const dictEntry_t& entry, const void* key, Long hash) const;
  dictHandle_t* findLink(const void* key) const;
  const void* keyOf(const dictEntry_t& entry) const;
  template <class Visit>
  void forEachEntry(Visit&& visit);
  dictHandle_t takeAll();
};
