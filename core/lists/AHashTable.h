// Hash table of fixed-size items, kept by value in one element array.
//
//   AHashTable* clips = AHashTable::New(10000, 5000, sizeof(Long), nullptr, nullptr, HTNoDuplicates);
//   clips->AddItem(asKey(id), &id, &hint);
//   if (clips->LocateItem(asKey(id), &found, nullptr)) ...
#pragma once

#include "core/lists/AArray.h"
#include "core/lists/Divisor.h"

/// No index: an empty chain, the end of a chain or of the free list, a walk that is over.
inline constexpr Long INDEX_NULL = -1;

/// Any value but 1 forbids duplicate keys.
enum HTDuplicateFlag { HTNoDuplicates = 0, HTDuplicatesAllowed = 1 };

/// Where a walk goes on. Both are -1 when it is over.
struct HTLoopState {
  Long hashIndex = INDEX_NULL;
  Long elemIndex = INDEX_NULL;
};

/// One element. The item starts at `item` whatever its size; the next element follows at `htelemSize`.
struct htelem_t {
  Long nextIndex;  ///< in the chain, or in the free list
  Boolean used;
  Long item;
};

namespace ky {

/// A number as a key.
inline void* asKey(LongPtr number) { return reinterpret_cast<void*>(number); }

}  // namespace ky

/// Chains of elements by the hash of their key. The key is not stored: it is part of the item, and the comparison and
/// the item hash find it there.
///
/// A hint is the index of an element. It stays valid until the item is removed, over every growth.
///
/// The number of chains stays as it was made until GrowBy(): watch LoadFactor(). Two chains per item are quickest, and
/// still take less memory than a node per item. Elements are added by as many as there are chains whenever they run
/// out.
///
/// Invariant: every element is either used and on exactly one chain, or on the free list.
/// Threads:   one user at a time.
class KY_API AHashTable : public ACollection {
  KY_CLASS(AHashTable, ACollection)

 public:
  /// Returns:  a number from 0 to `size` - 1.
  typedef Long (*HashFunc)(void* const key, Long size);
  typedef Boolean (*KeyCmp)(void* const key, const void* item);
  /// Derives the key from `item` and returns `hash(key, size)`.
  typedef Long (*ItemHash)(const void* item, Long size, HashFunc hash);

  /// Makes a table of at least `minimumSize` chains, and room for `initialItemsArraySize` items of `iSize` bytes.
  ///
  /// A null `hash` takes the key's low 32 bits modulo the size. A null `keyCmp` compares the key with the number at the
  /// start of the item: a pointer's width if the item has exactly that size, else 32 bits.
  ///
  /// Requires: "minimumSize > 0 && initialItemsArraySize >= 0 && iSize > 0".
  /// Raises:   HTABLE_SIZE_TOO_BIG above 1000777 chains; MEM_OUT_OF_MEMORY.
  static AHashTable* New(Long minimumSize, Long initialItemsArraySize, unsigned iSize, HashFunc hash, KeyCmp keyCmp,
                         HTDuplicateFlag duplicates);
  void IHashTable(Long minimumSize, Long initialItemsArraySize, unsigned iSize, HashFunc hash, KeyCmp keyCmp,
                  HTDuplicateFlag duplicates);

  AObject* Copy() override;
  void Dump(KyPrint print, int indent) override;
  /// Raises:   HTABLE_CORRUPT when a size, an index or a count is wrong.
  void DebugCheck() override;

  // Virtual operations, in slot order. Every `out` and `hint` may be null.

  /// Returns:  a new table of at least those sizes with the same items; `eaSize` is raised to their number.
  /// Requires: "hif != NULL".
  /// Raises:   as New().
  virtual AHashTable* HTCopy(Long minSize, Long eaSize, ItemHash hif);

  /// Rehashes into at least `incTableSize` more chains, and adds `incItemsArraySize` elements. Items stay where they
  /// are, so that hints stay valid; the order within a chain may change.
  ///
  /// Requires: "incTableSize > 0 && incItemsArraySize >= 0 && hif != NULL".
  /// Raises:   HTABLE_SIZE_TOO_BIG, MEM_OUT_OF_MEMORY.
  virtual void GrowBy(Long incTableSize, Long incItemsArraySize, ItemHash hif);

  /// Finds the newest item with `key`.
  virtual Boolean LocateItem(void* const key, void* out, Long* hint);

  /// Finds the item equal to `item` in every byte, first at `*hint`, then by `key`.
  virtual Boolean LocateSpecificItem(void* const key, const void* item, Long* hint);

  /// Returns:  false if `hint` is out of range, not used, or its item has another key.
  virtual Boolean GetItemAtHint(void* const key, void* out, Long hint);

  /// Overwrites the item. Its key must stay.
  ///
  /// Requires: "VALID_EAI(hint)", "HT_ELEM(elemArray, hint)->used == TRUE".
  virtual void SetItemAtHint(const void* item, Long hint);

  /// Starts a walk over the items with `key`.
  ///
  /// Returns:  false if there is none.
  virtual Boolean KeyLoopInit(void* const key, HTLoopState* state);

  /// The item just given may be removed, the one after it may not.
  ///
  /// Requires: "HT_ELEM(elemArray, itemIndex)->used == TRUE".
  virtual Boolean KeyLoopNextItem(void* const key, void* out, HTLoopState* state, Long* hint);

  /// Adds a copy of `item` in front of its chain, so that among equal keys the newest is found first.
  ///
  /// Raises:   HTABLE_DUPLICATE_KEY, with `*hint` telling the item that has it, unless duplicates are allowed;
  ///           HTABLE_DUPLICATE_ITEM for an item equal in every byte in any case; MEM_OUT_OF_MEMORY.
  virtual void AddItem(void* const key, const void* item, Long* hint);

  /// Removes the newest item with `key`, and copies it to `out`.
  virtual Boolean RemoveItem(void* const key, void* out);
  virtual Boolean RemoveSpecificItem(void* const key, const void* item);

  /// Frees every element; both sizes stay.
  virtual void RemoveAll();

  virtual void LoopInit(HTLoopState* state);

  /// The state is one step ahead: the item just given may be removed, the one after it may not.
  ///
  /// Returns:  false at the end.
  /// Raises:   HTABLE_LOOPSTATE_CORRUPT, with the walk over, if the next item is gone.
  virtual Boolean LoopNextItem(HTLoopState* state, void* out, Long* hint);

  virtual Long GetHTSize();
  virtual Long GetEASize();
  /// Returns:  items per chain; there is no upper limit.
  virtual double LoadFactor();
  virtual void DumpStats(KyPrint print, int indent);
  /// `empty`: chains without items. `maxChain`: items on the longest.
  virtual void GetStats(Long* empty, Long* maxChain);

  /// Finds the newest item with `key`, its chain, its place and the element before it, INDEX_NULL at the head. `hash`
  /// is set in any case.
  virtual Boolean LocateItemExpanded(void* const key, void* out, Long* index, Long* prev, Long* hash);

  /// Walks chain `hash` for an item equal in every byte.
  virtual Boolean LookForSpecificItem(const void* item, Long hash, Long* index, Long* prev);

  /// Puts the elements `from` to `to` in front of the free list, in ascending order.
  ///
  /// Requires: "VALID_EAI(elemIndex)".
  virtual void MakeFreeList(Long from, Long to);

  /// The used element after (`hash`, `elem`), or -1 and -1. Starts from (-1, -1).
  ///
  /// Requires: "VALID_EAI(elemIndex)".
  virtual void ComputeNextItemIndex(Long hash, Long elem, Long* nextHash, Long* nextElem);

  /// Adds a copy of `item` to chain `hValue`, whatever is there already.
  ///
  /// Requires: "VALID_HTI(hValue)", "VALID_EAI(firstFreeIndex)",
  ///           "((VALID_EAI(hTable[hValue])) || (hTable[hValue] == INDEX_NULL))".
  /// Raises:   MEM_OUT_OF_MEMORY, with the table as it was.
  virtual void AddItemAt(Long hValue, const void* item, Long* hint);

  /// Removes the element `itemIndex` of chain `hashValue`, where `prevIndex` leads to it, or the head if that is -1.
  ///
  /// Returns:  false if `itemIndex` is out of range or its item has another key.
  /// Requires: "hashValue >= 0 && hashValue < htSize", "HT_ELEM(elemArray, itemIndex)->used == TRUE".
  virtual Boolean RemoveItemAt(void* const key, void* out, Long itemIndex, Long prevIndex, Long hashValue);

  /// Adds `n` elements, if `n` is above 0.
  ///
  /// Raises:   MEM_OUT_OF_MEMORY, with the table as it was.
  virtual void GrowElemArray(Long n);

  /// Moves an element to the head of another chain.
  ///
  /// Requires: "VALID_HTI(currHash)", "VALID_HTI(newHash)", "VALID_EAI(elemIndex)", "VALID_EAI(prevElemIndex)",
  ///           "elemIndex == hTable[currHash]", "elemIndex == HT_ELEM(elemArray, prevElemIndex)->nextIndex".
  virtual void MoveElemHashChain(Long elemIndex, Long prevElemIndex, Long currHash, Long newHash);

 protected:
  ~AHashTable() override;

  Long** hTable = nullptr;
  char** elemArray = nullptr;  ///< element -1, where an empty chain leads, and then the others
  HashFunc hashFunc = nullptr;
  KeyCmp keyCmp = nullptr;
  Long firstFreeIndex = INDEX_NULL;
  Long htSize = 0;
  Long eaSize = 0;
  unsigned iSize = 0;
  Long htelemSize = 0;
  void* scratchItem = nullptr;  ///< an item on its way into an array that moves
  HTDuplicateFlag duplicateFlag = HTNoDuplicates;

 private:
  enum class Layout { kLongs, kLongsCustom, kPointers, kPointersCustom, kAny };
  /// The table as one call sees it, with the item size and the functions known where they can be.
  template <unsigned kItemSize, bool kDefaultKeys>
  class View;
  template <class Body>
  auto view(Body body);
  template <class Body>
  auto otherView(Body body);
  /// Adds elements for `item`, which may have come from a comparison and so from the array that moves.
  const void* growFor(const void* item);
  /// The index that leads to an element, checked; null if it does not.
  template <class AnyView>
  Long* linkTo(AnyView& table, Long elemIndex, Long prevElemIndex, Long hash);

  ky::Divisor divisor;  ///< htSize, for the default hash
  Layout layout = Layout::kAny;
};
