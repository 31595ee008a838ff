#include "core/lists/AHashTable.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "core/lists/HashTableView.h"
#include "core/math/CUtils.h"
#include "core/mem/KyHandles.h"
#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"

using namespace ky;

namespace {

// Nearly all of them primes; the few that are not stay, since the order of every walk follows from them.
constexpr Long kSizes[] = {13,    23,    59,    113,    227,    431,    701,    1123,   1753,   2237,
                           3001,  4231,  5557,  6007,   7517,   8971,   10159,  15401,  20341,  30557,
                           40111, 55717, 80111, 131711, 182711, 231701, 280001, 330611, 500111, 1000777};

Long sizeFor(Int64 minimum) {
  const Long* size = std::lower_bound(std::begin(kSizes), std::end(kSizes), minimum);
  if (size == std::end(kSizes)) +XError("HTABLE_SIZE_TOO_BIG", 0);
  return *size;
}

/// A block's size must fit a Long.
Long blockSize(Int64 count, Int64 each) {
  const Int64 bytes = count * each;
  if (bytes > std::numeric_limits<Long>::max()) +XError("MEM_OUT_OF_MEMORY", 0);
  return static_cast<Long>(bytes);
}

Long hashNumber(void* const key, Long size) { return mod(static_cast<Long>(reinterpret_cast<LongPtr>(key)), size); }

Boolean equalsLong(void* const key, const void* item) {
  Long number = 0;
  std::memcpy(&number, item, sizeof number);
  return number == static_cast<Long>(reinterpret_cast<LongPtr>(key));
}

Boolean equalsPointer(void* const key, const void* item) { return std::memcmp(&key, item, sizeof key) == 0; }

}  // namespace

AHashTable* AHashTable::New(Long minimumSize, Long initialItemsArraySize, unsigned iSize, HashFunc hash, KeyCmp keyCmp,
                            HTDuplicateFlag duplicates) {
  Owned<AHashTable> table(new AHashTable);
  table->IHashTable(minimumSize, initialItemsArraySize, iSize, hash, keyCmp, duplicates);
  return table->hTable ? table.release() : nullptr;
}

void AHashTable::IHashTable(Long minimumSize, Long initialItemsArraySize, unsigned itemSize, HashFunc hash,
                            KeyCmp compare, HTDuplicateFlag duplicates) {
  if (!check(minimumSize > 0 && initialItemsArraySize >= 0 && itemSize > 0,
             "minimumSize > 0 && initialItemsArraySize >= 0 && iSize > 0")) {
    return;
  }
  const KeyCmp defaultCompare = itemSize == sizeof(void*) ? equalsPointer : equalsLong;
  hashFunc = hash ? hash : hashNumber;
  keyCmp = compare ? compare : defaultCompare;
  duplicateFlag = duplicates;
  iSize = itemSize;

  // Items that are made of 8-byte words stay aligned to them, from the second on too.
  const Int64 word = itemSize % 8 == 0 ? 8 : 4;
  htelemSize = blockSize((Int64{itemSize} + word - 1) / word * word + kElementHead, 1);
  check(itemSize != sizeof(Long) || htelemSize == Long{sizeof(htelem_t)}, "htelemSize == sizeof(htelem_t)");
  const bool defaults = hashFunc == hashNumber && keyCmp == defaultCompare;
  if (itemSize == sizeof(Long)) {
    layout = defaults ? Layout::kLongs : Layout::kLongsCustom;
  } else if (itemSize == sizeof(void*)) {
    layout = defaults ? Layout::kPointers : Layout::kPointersCustom;
  }

  htSize = sizeFor(minimumSize);
  divisor = Divisor(htSize);
  eaSize = initialItemsArraySize;
  scratchItem = KyNewPtr(static_cast<Long>(itemSize));
  elemArray = KyNewHandle(blockSize(Int64{eaSize} + 1, htelemSize));
  std::memset(*elemArray, 0, static_cast<std::size_t>(htelemSize));
  reinterpret_cast<htelem_t*>(*elemArray)->nextIndex = INDEX_NULL;
  hTable = reinterpret_cast<Long**>(KyNewHandle(blockSize(htSize, sizeof(Long))));
  AHashTable::RemoveAll();
}

AHashTable::~AHashTable() {
  const OwnedHandle heads(reinterpret_cast<char**>(hTable));
  const OwnedHandle elements(elemArray);
  if (scratchItem) KyDisposePtr(scratchItem);
}

AObject* AHashTable::Copy() {
  Owned<AHashTable> copy(static_cast<AHashTable*>(ACollection::Copy()));
  copy->hTable = nullptr;
  copy->elemArray = nullptr;
  copy->scratchItem = nullptr;
  copy->scratchItem = KyCopyPtr(scratchItem);
  copy->elemArray = KyCopyHand(elemArray);
  copy->hTable = reinterpret_cast<Long**>(KyCopyHand(reinterpret_cast<char**>(hTable)));
  return copy.release();
}

AHashTable* AHashTable::HTCopy(Long minSize, Long newEaSize, ItemHash hif) {
  if (!check(hif != nullptr, "hif != NULL")) return nullptr;
  Owned<AHashTable> copy(New(minSize, std::max(newEaSize, numItems), iSize, hashFunc, keyCmp, duplicateFlag));
  if (!copy) return nullptr;
  view([&](auto from) {
    // Each addition goes to the head of its chain, so a chain is copied from its end to keep the newest first.
    std::vector<Long> chain;
    for (Long hash = 0; hash < htSize; ++hash) {
      chain.clear();
      for (Long index = (*hTable)[hash]; index != INDEX_NULL; index = from.at(index).nextIndex) chain.push_back(index);
      for (; !chain.empty(); chain.pop_back()) {
        const void* item = &from.at(chain.back()).item;
        copy->AddItemAt(hif(item, copy->htSize, hashFunc), item, nullptr);
      }
    }
  });
  return copy.release();
}

void AHashTable::GrowBy(Long incTableSize, Long incItemsArraySize, ItemHash hif) {
  if (!check(incTableSize > 0 && incItemsArraySize >= 0 && hif != nullptr,
             "incTableSize > 0 && incItemsArraySize >= 0 && hif != NULL")) {
    return;
  }
  const Long oldSize = htSize;
  const Long newSize = sizeFor(Int64{htSize} + incTableSize);
  const OwnedHandle hashes = OwnedHandle::ofSize(blockSize(eaSize, sizeof(Long)));
  const bool hashed = view([&](auto table) {
    for (HTLoopState at = table.next({}); at.elemIndex != INDEX_NULL; at = table.next(at)) {
      const Long newHash = hif(&table.at(at.elemIndex).item, newSize, hashFunc);
      if (!check(newHash >= 0 && newHash < newSize, "VALID_HTI(newHash)")) return false;
      hashes.as<Long>()[at.elemIndex] = newHash;
    }
    return true;
  });
  if (!hashed) return;
  KySetHandleSize(hTable, blockSize(newSize, sizeof(Long)));
  GrowElemArray(incItemsArraySize);
  // Nothing raises from here on.

  std::fill(*hTable + oldSize, *hTable + newSize, INDEX_NULL);
  htSize = newSize;
  divisor = Divisor(newSize);
  view([&](auto table) {
    for (Long hash = 0; hash < oldSize; ++hash) {
      Long prev = INDEX_NULL;
      for (Long index = (*hTable)[hash]; index != INDEX_NULL;) {
        const Long next = table.at(index).nextIndex;
        const Long newHash = hashes.as<Long>()[index];
        if (newHash == hash) {
          prev = index;
        } else {
          MoveElemHashChain(index, prev, hash, newHash);
        }
        index = next;
      }
    }
  });
}

Boolean AHashTable::LocateItem(void* const key, void* out, Long* hint) {
  return view([=](auto table) -> Boolean {
    const Long index = table.find(key, table.hash(key)).index;
    if (index == INDEX_NULL) return false;
    table.get(index, out);
    tell(hint, index);
    return true;
  });
}

Boolean AHashTable::LocateSpecificItem(void* const key, const void* item, Long* hint) {
  return view([=](auto table) -> Boolean {
    if (hint && table.isUsed(*hint) && table.holds(table.at(*hint), item) && table.hasKey(table.at(*hint), key)) {
      return true;
    }
    const Long index = table.findItemOf(key, item, table.hash(key)).index;
    if (index == INDEX_NULL) return false;
    tell(hint, index);
    return true;
  });
}

Boolean AHashTable::GetItemAtHint(void* const key, void* out, Long hint) {
  return view([=](auto table) -> Boolean {
    if (!table.isUsed(hint) || !table.hasKey(table.at(hint), key)) return false;
    table.get(hint, out);
    return true;
  });
}

void AHashTable::SetItemAtHint(const void* item, Long hint) {
  view([&](auto table) {
    if (!check(table.isElement(hint), "VALID_EAI(hint)")) return;
    if (!check(table.isUsed(hint), "HT_ELEM(elemArray, hint)->used == TRUE")) return;
    table.put(table.at(hint), item);
  });
}

Boolean AHashTable::KeyLoopInit(void* const key, HTLoopState* state) {
  return view([=](auto table) -> Boolean {
    const Long hash = table.hash(key);
    const Long index = table.find(key, hash).index;
    *state = index == INDEX_NULL ? HTLoopState{} : HTLoopState{hash, index};
    return index != INDEX_NULL;
  });
}

Boolean AHashTable::KeyLoopNextItem(void* const key, void* out, HTLoopState* state, Long* hint) {
  return view([=](auto table) -> Boolean {
    Long index = state->elemIndex;
    for (; index != INDEX_NULL; index = table.at(index).nextIndex) {
      if (!check(table.isUsed(index), "HT_ELEM(elemArray, itemIndex)->used == TRUE")) break;
      if (!table.hasKey(table.at(index), key)) continue;
      table.get(index, out);
      tell(hint, index);
      state->elemIndex = table.at(index).nextIndex;
      return true;
    }
    *state = {};
    return false;
  });
}

void AHashTable::AddItem(void* const key, const void* item, Long* hint) {
  if (layout == Layout::kLongs) [[likely]] {
    return View<sizeof(Long), true>(*this).add(key, item, hint);
  }
  otherView([=](auto table) { table.add(key, item, hint); });
}

Boolean AHashTable::RemoveItem(void* const key, void* out) {
  return view([=](auto table) -> Boolean {
    const auto place = table.find(key, table.hash(key));
    if (place.index == INDEX_NULL) return false;
    table.remove(place, out);
    return true;
  });
}

Boolean AHashTable::RemoveSpecificItem(void* const key, const void* item) {
  return view([=](auto table) -> Boolean {
    const auto place = table.findItem(item, table.hash(key));
    if (place.index == INDEX_NULL || !table.hasKey(table.at(place.index), key)) return false;
    table.remove(place, nullptr);
    return true;
  });
}

void AHashTable::RemoveAll() {
  std::fill(*hTable, *hTable + htSize, INDEX_NULL);
  firstFreeIndex = INDEX_NULL;
  numItems = 0;
  MakeFreeList(0, eaSize - 1);
}

void AHashTable::LoopInit(HTLoopState* state) {
  view([&](auto table) { *state = table.next({}); });
}

Boolean AHashTable::LoopNextItem(HTLoopState* state, void* out, Long* hint) {
  return view([=](auto table) -> Boolean {
    const HTLoopState current = *state;
    if (current.elemIndex == INDEX_NULL) return false;
    if (!table.isUsed(current.elemIndex) || !table.isChain(current.hashIndex)) {
      *state = {};
      +XError("HTABLE_LOOPSTATE_CORRUPT", 0);
    }
    *state = table.next(current);
    table.get(current.elemIndex, out);
    tell(hint, current.elemIndex);
    return true;
  });
}

Boolean AHashTable::LocateItemExpanded(void* const key, void* out, Long* index, Long* prev, Long* hash) {
  return view([&](auto table) -> Boolean {
    const Long chain = table.hash(key);
    tell(hash, chain);
    const auto place = table.find(key, chain);
    if (place.index == INDEX_NULL) return false;
    table.get(place.index, out);
    tell(index, place.index);
    tell(prev, table.indexOf(place.link, chain));
    return true;
  });
}

Boolean AHashTable::LookForSpecificItem(const void* item, Long hash, Long* index, Long* prev) {
  return view([&](auto table) -> Boolean {
    if (!check(table.isChain(hash), "VALID_HTI(hValue)")) return false;
    const auto place = table.findItem(item, hash);
    if (place.index == INDEX_NULL) return false;
    tell(index, place.index);
    tell(prev, table.indexOf(place.link, hash));
    return true;
  });
}

void AHashTable::MakeFreeList(Long from, Long to) {
  if (from > to) return;
  view([&](auto table) {
    if (!check(table.isElement(from) && table.isElement(to), "VALID_EAI(elemIndex)")) return;
    for (Long index = from; index <= to; ++index) {
      table.at(index).nextIndex = index + 1;
      table.at(index).used = false;
    }
    table.at(to).nextIndex = firstFreeIndex;
    firstFreeIndex = from;
  });
}

void AHashTable::ComputeNextItemIndex(Long hash, Long elem, Long* nextHash, Long* nextElem) {
  view([&](auto table) {
    const bool known = check(elem == INDEX_NULL || table.isElement(elem), "VALID_EAI(elemIndex)");
    const HTLoopState next = known ? table.next({hash, elem}) : HTLoopState{};
    tell(nextHash, next.hashIndex);
    tell(nextElem, next.elemIndex);
  });
}

void AHashTable::AddItemAt(Long hValue, const void* item, Long* hint) {
  if (!check(hValue >= 0 && hValue < htSize, "VALID_HTI(hValue)")) return;
  if (numItems >= eaSize) item = growFor(item);
  view([&](auto table) { table.addAt(hValue, item, hint); });
}

const void* AHashTable::growFor(const void* item) {
  std::memcpy(scratchItem, item, iSize);
  GrowElemArray(htSize);
  return scratchItem;
}

template <class AnyView>
Long* AHashTable::linkTo(AnyView& table, Long elemIndex, Long prevElemIndex, Long hash) {
  Long* head = *hTable + hash;
  if (prevElemIndex == INDEX_NULL) return check(elemIndex == *head, "elemIndex == hTable[currHash]") ? head : nullptr;
  if (!check(table.isElement(prevElemIndex), "VALID_EAI(prevElemIndex)")) return nullptr;
  Long* next = &table.at(prevElemIndex).nextIndex;
  return check(elemIndex == *next, "elemIndex == HT_ELEM(elemArray, prevElemIndex)->nextIndex") ? next : nullptr;
}

Boolean AHashTable::RemoveItemAt(void* const key, void* out, Long itemIndex, Long prevIndex, Long hashValue) {
  return view([&](auto table) -> Boolean {
    if (!table.isElement(itemIndex)) return false;
    if (!check(table.isChain(hashValue), "hashValue >= 0 && hashValue < htSize")) return false;
    if (!check(table.isUsed(itemIndex), "HT_ELEM(elemArray, itemIndex)->used == TRUE")) return false;
    if (!table.hasKey(table.at(itemIndex), key)) return false;
    Long* link = linkTo(table, itemIndex, prevIndex, hashValue);
    if (link == nullptr) return false;
    table.remove({link, itemIndex}, out);
    return true;
  });
}

void AHashTable::GrowElemArray(Long n) {
  if (n <= 0) return;
  const Int64 count = Int64{eaSize} + n;
  KySetHandleSize(elemArray, blockSize(count + 1, htelemSize));
  const Long first = eaSize;
  eaSize = static_cast<Long>(count);
  MakeFreeList(first, eaSize - 1);
}

void AHashTable::MoveElemHashChain(Long elemIndex, Long prevElemIndex, Long currHash, Long newHash) {
  view([&](auto table) {
    if (!check(table.isChain(currHash), "VALID_HTI(currHash)")) return;
    if (!check(table.isChain(newHash), "VALID_HTI(newHash)")) return;
    if (!check(table.isElement(elemIndex), "VALID_EAI(elemIndex)")) return;
    Long* link = linkTo(table, elemIndex, prevElemIndex, currHash);
    if (link == nullptr) return;
    htelem_t& element = table.at(elemIndex);
    *link = element.nextIndex;
    element.nextIndex = std::exchange((*hTable)[newHash], elemIndex);
  });
}
