// A hash table as one call sees it: raw addresses, and all that is known at compile time.
#pragma once

#include <cstddef>
#include <cstring>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/lists/AHashTable.h"

namespace ky {

inline constexpr Long kElementHead = offsetof(htelem_t, item);

inline void tell(Long* place, Long value) {
  if (place) *place = value;
}

}  // namespace ky

/// `kItemSize` is 0 when only the table knows it. The addresses hold until the element array grows.
template <unsigned kItemSize, bool kDefaultKeys>
class AHashTable::View {
 public:
  /// An element and the index that leads to it, in the chain's head or in the element before.
  struct Place {
    Long* link;
    Long index;
  };

  explicit View(AHashTable& table) : table_(table) { refresh(); }

  bool isChain(Long hash) const { return hash >= 0 && hash < table_.htSize; }
  bool isElement(Long index) const { return index >= 0 && index < table_.eaSize; }
  bool isUsed(Long index) const { return isElement(index) && at(index).used; }

  htelem_t& at(Long index) const {
    return *reinterpret_cast<htelem_t*>(elements_ + static_cast<std::size_t>(index) * pitch());
  }
  Long indexOf(const Long* link, Long hash) const {
    if (link == &heads_[hash]) return INDEX_NULL;
    return static_cast<Long>((reinterpret_cast<const char*>(link) - elements_) / static_cast<std::ptrdiff_t>(pitch()));
  }

  /// The chain of `key`, or INDEX_NULL from a hash function that left the range.
  Long hash(void* const key) const {
    if constexpr (kDefaultKeys) {
      return table_.divisor.mod(static_cast<Long>(reinterpret_cast<LongPtr>(key)));
    } else {
      const Long value = table_.hashFunc(key, table_.htSize);
      return ky::check(isChain(value), "VALID_HTI(hValue)") ? value : INDEX_NULL;
    }
  }
  bool hasKey(const htelem_t& element, void* const key) const {
    if constexpr (kDefaultKeys && kItemSize == sizeof(Long)) {
      return element.item == static_cast<Long>(reinterpret_cast<LongPtr>(key));
    } else if constexpr (kDefaultKeys) {
      return holds(element, &key);
    } else {
      return table_.keyCmp(key, &element.item) != 0;
    }
  }
  bool holds(const htelem_t& element, const void* item) const {
    return std::memcmp(&element.item, item, itemSize()) == 0;
  }
  void get(Long index, void* out) const {
    if (out) std::memcpy(out, &at(index).item, itemSize());
  }
  void put(htelem_t& element, const void* item) const {
    if (itemSize() < sizeof element.item) element.item = 0;  // the default comparison reads all of it
    std::memcpy(&element.item, item, itemSize());
  }

  Place find(void* const key, Long hash) {
    return walk(hash, [&](const htelem_t& element) { return hasKey(element, key); });
  }
  Place findItem(const void* item, Long hash) {
    return walk(hash, [&](const htelem_t& element) { return holds(element, item); });
  }
  /// The byte-equal item at or behind the first one with `key`.
  Place findItemOf(void* const key, const void* item, Long hash) {
    bool keySeen = false;
    return walk(hash, [&](const htelem_t& element) {
      keySeen = keySeen || hasKey(element, key);
      return keySeen && holds(element, item);
    });
  }

  void add(void* const key, const void* item, Long* hint) {
    const bool duplicates = table_.duplicateFlag == HTDuplicatesAllowed;
    const Long chain = hash(key);
    bool keySeen = false;
    bool itemSeen = false;
    walk(chain, [&](const htelem_t& element) {
      if (!keySeen && hasKey(element, key)) {
        keySeen = true;
        ky::tell(hint, indexOfElement(element));
      }
      itemSeen = itemSeen || holds(element, item);
      return duplicates ? itemSeen : keySeen;
    });
    if (keySeen && !duplicates) return refuse("HTABLE_DUPLICATE_KEY");
    if (itemSeen) return refuse("HTABLE_DUPLICATE_ITEM");
    if (chain != INDEX_NULL) addAt(chain, item, hint);
  }

  void addAt(Long chain, const void* item, Long* hint) {
    if (table_.numItems >= table_.eaSize) [[unlikely]]
      item = grow(item);
    const Long index = table_.firstFreeIndex;
    Long& head = heads_[chain];
    if (!ky::check(isElement(index), "VALID_EAI(firstFreeIndex)")) return;
    if (!ky::check(head == INDEX_NULL || isElement(head),
                   "((VALID_EAI(hTable[hValue])) || (hTable[hValue] == INDEX_NULL))")) {
      return;
    }
    htelem_t& element = at(index);
    table_.firstFreeIndex = element.nextIndex;
    put(element, item);
    element.used = true;
    element.nextIndex = head;
    head = index;
    ++table_.numItems;
    ky::tell(hint, index);
  }

  void remove(Place place, void* out) {
    htelem_t& element = at(place.index);
    get(place.index, out);
    *place.link = element.nextIndex;
    element.used = false;
    element.nextIndex = table_.firstFreeIndex;
    table_.firstFreeIndex = place.index;
    --table_.numItems;
  }

  HTLoopState next(HTLoopState state) const {
    if (state.elemIndex != INDEX_NULL) {
      const Long next = at(state.elemIndex).nextIndex;
      if (next != INDEX_NULL) return {state.hashIndex, next};
    }
    for (Long chain = state.hashIndex + 1; chain < table_.htSize; ++chain) {
      if (heads_[chain] != INDEX_NULL) return {chain, heads_[chain]};
    }
    return {};
  }

 private:
  std::size_t itemSize() const { return kItemSize ? kItemSize : table_.iSize; }
  std::size_t pitch() const {
    return kItemSize ? kItemSize + ky::kElementHead : static_cast<std::size_t>(table_.htelemSize);
  }
  Long indexOfElement(const htelem_t& element) const { return indexOf(&element.nextIndex, 0); }

  template <class Wanted>
  Place walk(Long chain, Wanted&& wanted) {
    Long* link = kDefaultKeys || chain != INDEX_NULL ? &heads_[chain] : &none_;
    while (*link != INDEX_NULL) {
      htelem_t& element = at(*link);
      if (wanted(element)) break;
      link = &element.nextIndex;
    }
    return {link, *link};
  }

  void refresh() {
    heads_ = *table_.hTable;
    elements_ = *table_.elemArray;
  }

  /// `item` may have come from a comparison, and so from the array that moves.
  [[gnu::noinline, gnu::cold]] const void* grow(const void* item) {
    std::memcpy(table_.scratchItem, item, itemSize());
    table_.GrowElemArray(table_.htSize);
    refresh();
    return table_.scratchItem;
  }
  [[gnu::noinline, gnu::cold]] static void refuse(const char* code) { +XError(code, 0); }

  AHashTable& table_;
  Long* heads_ = nullptr;
  char* elements_ = nullptr;
  Long none_ = INDEX_NULL;
};

template <class Body>
inline auto AHashTable::view(Body&& body) {
  if (layout == Layout::kLongs) [[likely]]
    return body(View<sizeof(Long), true>(*this));
  switch (layout) {
    case Layout::kLongsCustom:
      return body(View<sizeof(Long), false>(*this));
    case Layout::kPointers:
      return body(View<sizeof(void*), true>(*this));
    case Layout::kPointersCustom:
      return body(View<sizeof(void*), false>(*this));
    default:
      return body(View<0, false>(*this));
  }
}
