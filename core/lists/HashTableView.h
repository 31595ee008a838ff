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

  explicit View(AHashTable& table) : table_(table), heads_(*table.hTable), elements_(*table.elemArray + pitch()) {}

  bool isChain(Long hash) const { return hash >= 0 && hash < table_.htSize; }
  bool isElement(Long index) const { return static_cast<ULong>(index) < static_cast<ULong>(table_.eaSize); }
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

  [[gnu::always_inline]] Place find(void* const key, Long hash) {
    return walk(hash, [&](const htelem_t& element) { return hasKey(element, key); });
  }
  [[gnu::always_inline]] Place findItem(const void* item, Long hash) {
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

  [[gnu::always_inline]] void add(void* const key, const void* item, Long* hint) {
    const Long chain = hash(key);
    const auto taken = [&](const htelem_t& element) { return hasKey(element, key) || holds(element, item); };
    if (isOn(chain, taken)) [[unlikely]] {
      return addBeside(table_, key, item, hint);
    }
    if (!kDefaultKeys && chain == INDEX_NULL) return;
    if (isFull()) [[unlikely]] {
      return growAndAdd(table_, key, item, hint);
    }
    addAt(chain, item, hint);
  }

  bool isFull() const { return table_.numItems >= table_.eaSize; }
  [[gnu::always_inline]] void addAt(Long chain, const void* item, Long* hint) {
    const Long index = table_.firstFreeIndex;
    Long& head = heads_[chain];
    if (!isElement(index)) [[unlikely]] {
      return refuse("VALID_EAI(firstFreeIndex)");
    }
    if (head < INDEX_NULL || head >= table_.eaSize) [[unlikely]] {
      return refuse("((VALID_EAI(hTable[hValue])) || (hTable[hValue] == INDEX_NULL))");
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

  [[gnu::always_inline]] void remove(Place place, void* out) {
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

  // Nothing predicts whether a chain has a first element and whether that is the wanted one, so where comparing is
  // quick neither is branched on. An empty chain leads to the element -1, behind which there is none.

  /// The first element that `wanted` accepts.
  template <class Wanted>
  [[gnu::always_inline]] Place walk(Long chain, Wanted&& wanted) {
    if (!kDefaultKeys && chain == INDEX_NULL) return {nullptr, INDEX_NULL};
    Long* link = &heads_[chain];
    if constexpr (kDefaultKeys) {
      htelem_t& first = at(*link);
      Long* const second = &first.nextIndex;
      link = __builtin_expect_with_probability(wanted(first), 1, 0.5) ? link : second;
    }
    while (*link != INDEX_NULL) {
      htelem_t& element = at(*link);
      if (wanted(element)) break;
      link = &element.nextIndex;
    }
    return {link, *link};
  }

  /// Whether an element that `wanted` accepts is on the chain; quickest if none is.
  template <class Wanted>
  [[gnu::always_inline]] bool isOn(Long chain, Wanted&& wanted) {
    if constexpr (!kDefaultKeys) return walk(chain, wanted).index != INDEX_NULL;
    const Long head = heads_[chain];
    const htelem_t& first = at(head);
    if (wanted(first) && head != INDEX_NULL) return true;
    for (Long index = first.nextIndex; index != INDEX_NULL; index = at(index).nextIndex) {
      if (wanted(at(index))) return true;
    }
    return false;
  }

  // What is rare stands in functions of its own, which are called last: the common way through keeps no registers.

  /// Adds `item` beside elements of its key or with its bytes, if it may be there.
  [[gnu::noinline]] static void addBeside(AHashTable& table, void* const key, const void* item, Long* hint) {
    View view(table);
    const Long chain = view.hash(key);
    const Place sameKey = view.find(key, chain);
    if (sameKey.index != INDEX_NULL) {
      ky::tell(hint, sameKey.index);
      if (table.duplicateFlag != HTDuplicatesAllowed) +XError("HTABLE_DUPLICATE_KEY", 0);
    }
    if (view.findItem(item, chain).index != INDEX_NULL) +XError("HTABLE_DUPLICATE_ITEM", 0);
    if (view.isFull()) return growAndAdd(table, key, item, hint);
    view.addAt(chain, item, hint);
  }

  [[gnu::noinline]] static void growAndAdd(AHashTable& table, void* const key, const void* item, Long* hint) {
    item = table.growFor(item);
    View view(table);
    if (!view.isFull()) view.addAt(view.hash(key), item, hint);
  }

  [[gnu::noinline, gnu::cold]] static void refuse(const char* text) { ky::check(false, text); }

  AHashTable& table_;
  Long* const heads_;
  char* const elements_;  ///< of element 0
};

template <class Body>
inline auto AHashTable::view(Body body) {
  if (layout == Layout::kLongs) [[likely]] {
    return body(View<sizeof(Long), true>(*this));
  }
  return otherView(body);
}

template <class Body>
[[gnu::noinline]] auto AHashTable::otherView(Body body) {
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
