#include "core/lists/AHashTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/math/CUtils.h"
#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"
#include "tests/support/Raised.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr HTDuplicateFlag kUnique = HTNoDuplicates;
constexpr HTDuplicateFlag kShared = HTDuplicatesAllowed;

Owned<AHashTable> longs(Long chains, Long items, HTDuplicateFlag duplicates = kUnique) {
  return Owned<AHashTable>(AHashTable::New(chains, items, sizeof(Long), nullptr, nullptr, duplicates));
}

Long add(const Owned<AHashTable>& table, Long number) {
  Long hint = INDEX_NULL;
  table->AddItem(asKey(number), &number, &hint);
  return hint;
}

Long hashOfLong(const void* item, Long size, AHashTable::HashFunc hash) {
  return hash(asKey(*static_cast<const Long*>(item)), size);
}

std::multiset<Long> walked(const Owned<AHashTable>& table) {
  std::multiset<Long> found;
  HTLoopState state;
  table->LoopInit(&state);
  for (Long item = 0; table->LoopNextItem(&state, &item, nullptr);) found.insert(item);
  return found;
}

// An item whose key is told by functions of its own: the number over 16, which leaves room for 16 items per key.
LongPtr packed(const void* item, std::size_t size) {
  LongPtr number = 0;
  std::memcpy(&number, item, size);
  return (size == sizeof(Long) ? static_cast<Long>(number) : number) >> 4;
}
Long scatteringHash(void* const key, Long size) { return mod(static_cast<Long>(LongPtr(key) * 7 + 3), size); }
template <std::size_t size>
Boolean packedEquals(void* const key, const void* item) {
  return packed(item, size) == LongPtr(key);
}
template <std::size_t size>
Long hashOfPacked(const void* item, Long chains, AHashTable::HashFunc hash) {
  return hash(asKey(packed(item, size)), chains);
}

/// An item size, with functions of its own or the default ones.
struct Kind {
  const char* name;
  unsigned size;
  int variants;  ///< how many different items a key can have
  AHashTable::HashFunc hash;
  AHashTable::KeyCmp compare;
  AHashTable::ItemHash itemHash;
};

const Kind kKinds[] = {
    {"longs", 4, 1, nullptr, nullptr, hashOfLong},
    {"longs with functions", 4, 16, scatteringHash, packedEquals<4>, hashOfPacked<4>},
    {"pointers with functions", 8, 16, scatteringHash, packedEquals<8>, hashOfPacked<8>},
    {"bytes", 3, 1, nullptr, nullptr,
     [](const void* item, Long size, AHashTable::HashFunc hash) {
       Long key = 0;
       std::memcpy(&key, item, 3);
       return hash(asKey(key), size);
     }},
    {"records", 12, 16, nullptr, nullptr, hashOfLong},
};

std::string itemOf(const Kind& kind, Long key, int variant) {
  std::string item(kind.size, '\0');
  const LongPtr number = kind.hash ? LongPtr{key} * 16 + variant : key;
  std::memcpy(item.data(), &number, std::min<std::size_t>(kind.size, sizeof number));
  if (!kind.hash && kind.variants > 1) item[kind.size - 1] = static_cast<char>(variant);
  return item;
}

/// A table and what it must hold.
class Twin {
 public:
  Twin(const Kind& kind, HTDuplicateFlag duplicates, unsigned seed)
      : kind_(kind), duplicates_(duplicates), random_(seed) {
    table_.reset(AHashTable::New(20, 5, kind.size, kind.hash, kind.compare, duplicates));
  }

  void step() {
    const Long key = number(kind_.size == 3 ? 300 : 600) - (kind_.size == 3 ? 0 : 300);
    const std::string item = itemOf(kind_, key, number(kind_.variants));
    switch (number(40)) {
      case 0:
        return maintain();
      case 1:
        return loop();
      case 2:
      case 3:
        return remove(key);
      case 4:
      case 5:
      case 6:
        return removeSpecific(key, item);
      case 7:
        return keyLoop(key);
      default:
        return number(2) ? add(key, item) : look(key, item);
    }
  }

  void check() {
    table_->DebugCheck();
    ASSERT_EQ(table_->GetNumItems(), static_cast<Long>(hints_.size()));
  }

 private:
  int number(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
  bool isOf(Long key, const std::string& item) const {
    const auto [first, last] = items_.equal_range(key);
    return std::any_of(first, last, [&](const auto& entry) { return entry.second == item; });
  }
  void forget(Long key, const std::string& item) {
    const auto [first, last] = items_.equal_range(key);
    items_.erase(std::find_if(first, last, [&](const auto& entry) { return entry.second == item; }));
    hints_.erase(item);
  }

  void add(Long key, const std::string& item) {
    const bool taken = items_.contains(key) && duplicates_ == kUnique;
    const std::string want = taken ? "HTABLE_DUPLICATE_KEY" : hints_.contains(item) ? "HTABLE_DUPLICATE_ITEM" : "";
    Long hint = INDEX_NULL;
    ASSERT_EQ(codeRaisedBy([&] { table_->AddItem(asKey(key), item.data(), &hint); }), want);
    if (!want.empty()) {
      ASSERT_TRUE(table_->GetItemAtHint(asKey(key), nullptr, hint));  // who holds the key
      return;
    }
    items_.emplace(key, item);
    hints_[item] = hint;
  }

  void look(Long key, const std::string& item) {
    std::string out(kind_.size, '?');
    Long hint = INDEX_NULL;
    ASSERT_EQ(table_->LocateItem(asKey(key), out.data(), &hint), items_.contains(key));
    if (items_.contains(key)) {
      ASSERT_TRUE(isOf(key, out));
      ASSERT_EQ(hint, hints_[out]);
    }
    hint = number(2) ? number(30) : hint;  // a wrong one costs time only
    const auto known = hints_.find(item);
    ASSERT_EQ(table_->LocateSpecificItem(asKey(key), item.data(), &hint), known != hints_.end());
    if (known == hints_.end()) return;
    ASSERT_EQ(hint, known->second);
    ASSERT_TRUE(table_->GetItemAtHint(asKey(key), out.data(), hint));
    ASSERT_EQ(out, item);
    ASSERT_FALSE(table_->GetItemAtHint(asKey(key + 1), out.data(), hint));
  }

  void remove(Long key) {
    std::string out(kind_.size, '?');
    ASSERT_EQ(table_->RemoveItem(asKey(key), out.data()), items_.contains(key));
    if (!items_.contains(key)) return;
    ASSERT_TRUE(isOf(key, out));
    forget(key, out);
  }

  void removeSpecific(Long key, const std::string& item) {
    ASSERT_EQ(table_->RemoveSpecificItem(asKey(key), item.data()), hints_.contains(item));
    if (hints_.contains(item)) forget(key, item);
  }

  Long keyOf(const std::string& item) const {
    if (kind_.hash) return static_cast<Long>(packed(item.data(), kind_.size));
    Long key = 0;
    std::memcpy(&key, item.data(), std::min<std::size_t>(kind_.size, sizeof key));
    return key;
  }

  /// Walks everything, and removes some of what it is given.
  void loop() {
    const int oneIn = 1 + number(20);
    std::set<std::string> seen;
    HTLoopState state;
    table_->LoopInit(&state);
    std::string out(kind_.size, '?');
    const std::size_t before = hints_.size();
    for (Long hint = INDEX_NULL; table_->LoopNextItem(&state, out.data(), &hint);) {
      ASSERT_EQ(hint, hints_.at(out));
      ASSERT_TRUE(seen.insert(out).second);
      if (number(oneIn) != 0) continue;
      ASSERT_TRUE(table_->RemoveSpecificItem(asKey(keyOf(out)), out.data()));
      forget(keyOf(out), out);
    }
    ASSERT_EQ(seen.size(), before);
  }

  void keyLoop(Long key) {
    const std::size_t count = items_.count(key);
    HTLoopState state;
    ASSERT_EQ(table_->KeyLoopInit(asKey(key), &state), count != 0);
    std::size_t seen = 0;
    std::string out(kind_.size, '?');
    for (Long hint = INDEX_NULL; table_->KeyLoopNextItem(asKey(key), out.data(), &state, &hint); ++seen) {
      ASSERT_EQ(hint, hints_.at(out));
      if (number(2)) continue;
      ASSERT_TRUE(table_->RemoveSpecificItem(asKey(key), out.data()));
      forget(key, out);
    }
    ASSERT_EQ(seen, count);
  }

  void maintain() {
    const int choice = number(8);
    if (choice == 0) {
      table_->RemoveAll();
      items_.clear();
      hints_.clear();
    } else if (choice == 1) {
      table_.reset(static_cast<AHashTable*>(table_->Copy()));  // an exact copy: hints stay
    } else if (choice == 2 || table_->GetHTSize() > 1000) {
      table_.reset(table_->HTCopy(1 + number(200), number(50), kind_.itemHash));
      for (auto& [item, hint] : hints_) {
        hint = INDEX_NULL;
        ASSERT_TRUE(table_->LocateSpecificItem(asKey(keyOf(item)), item.data(), &hint));
      }
    } else {
      table_->GrowBy(1 + number(30), number(10), kind_.itemHash);  // hints stay
    }
  }

  const Kind& kind_;
  HTDuplicateFlag duplicates_;
  std::minstd_rand random_;
  Owned<AHashTable> table_;
  std::unordered_multimap<Long, std::string> items_;
  std::map<std::string, Long> hints_;
};

}  // namespace

TEST(AHashTable, AgreesWithAModelUnderRandomOperations) {
  for (const Kind& kind : kKinds) {
    for (const HTDuplicateFlag duplicates : {kUnique, kShared}) {
      SCOPED_TRACE(std::string(kind.name) + (duplicates ? ", shared keys" : ", unique keys"));
      Twin twin(kind, duplicates, kind.size * 31 + duplicates);
      for (int step = 0; step < 6000; ++step) {
        ASSERT_EQ(codeRaisedBy([&] {
                    twin.step();
                    twin.check();
                  }),
                  "");
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  }
}

TEST(Divisor, GivesTheRemaindersOfADivision) {
  std::minstd_rand random(5);
  for (const Long size : {1, 2, 13, 1023, 1024, 10159, 1000777, INT_MAX}) {
    const Divisor divisor(size);
    std::vector<Long> numbers = {0, 1, -1, size - 1, size, -size, INT_MAX, INT_MIN, INT_MIN + 1};
    for (int i = 0; i < 2000; ++i) numbers.push_back(static_cast<Long>(random() * 3));
    for (const Long number : numbers) {
      ASSERT_EQ(divisor.mod(number), mod(number, size)) << number << " by " << size;
      ASSERT_EQ(divisor.rem(static_cast<ULong>(number)), static_cast<ULong>(number) % static_cast<ULong>(size));
    }
  }
}

TEST(AHashTable, FindsTheNewestOfEqualKeysFirst) {
  struct Clip {
    Long id, take, length;
  };
  const Owned<AHashTable> table(AHashTable::New(13, 4, sizeof(Clip), nullptr, nullptr, kShared));
  Clip clip = {7, 0, 25};
  Long hint = INDEX_NULL;
  for (clip.take = 1; clip.take <= 3; ++clip.take) table->AddItem(asKey(7), &clip, nullptr);
  clip.take = 2;
  EXPECT_EQ(codeRaisedBy([&] { table->AddItem(asKey(7), &clip, &hint); }), "HTABLE_DUPLICATE_ITEM");
  const auto newest = [](AHashTable& from) {
    Clip found = {};
    from.LocateItem(asKey(7), &found, nullptr);
    return found.take;
  };
  EXPECT_EQ(newest(*table), 3);
  EXPECT_EQ(newest(*Owned<AHashTable>(table->HTCopy(100, 0, hashOfLong))), 3);
}

TEST(AHashTable, RefusesALoopWhoseNextItemWasRemoved) {
  const Owned<AHashTable> table = longs(13, 3);
  for (const Long number : {1, 2, 3}) add(table, number);
  HTLoopState state;
  table->LoopInit(&state);
  Long item = 0;
  ASSERT_TRUE(table->LoopNextItem(&state, &item, nullptr));
  ASSERT_EQ(item, 1);
  table->RemoveItem(asKey(2), nullptr);
  EXPECT_EQ(codeRaisedBy([&] { table->LoopNextItem(&state, &item, nullptr); }), "HTABLE_LOOPSTATE_CORRUPT");
  EXPECT_EQ(state.hashIndex, INDEX_NULL);
  EXPECT_EQ(state.elemIndex, INDEX_NULL);
  EXPECT_FALSE(table->LoopNextItem(&state, &item, nullptr));
  for (HTLoopState wild : {HTLoopState{1, 99}, HTLoopState{99, 0}, HTLoopState{0, -7}}) {
    EXPECT_EQ(codeRaisedBy([&] { table->LoopNextItem(&wild, &item, nullptr); }), "HTABLE_LOOPSTATE_CORRUPT");
  }
  table->KeyLoopInit(asKey(3), &state);
  table->RemoveItem(asKey(3), nullptr);
  EXPECT_EQ(checkFailedBy([&] { table->KeyLoopNextItem(asKey(3), &item, &state, nullptr); }),
            "HT_ELEM(elemArray, itemIndex)->used == TRUE");
}

TEST(AHashTable, FindsDamage) {
  struct Damaged : AHashTable {
    htelem_t& at(Long index) { return reinterpret_cast<htelem_t*>(*elemArray)[index + 1]; }
    Long& head(Long chain) { return (*hTable)[chain]; }
    using AHashTable::eaSize, AHashTable::firstFreeIndex, AHashTable::htSize, AHashTable::numItems;
  };
  // Elements 1 and 0 are on chain 1, element 2 on chain 2, and 3 to 5 are free.
  void (*const faults[])(Damaged&) = {
      [](Damaged& table) { table.head(5) = 6; },         [](Damaged& table) { table.head(5) = 2; },
      [](Damaged& table) { table.at(1).nextIndex = 1; }, [](Damaged& table) { table.at(0).used = false; },
      [](Damaged& table) { table.firstFreeIndex = 99; }, [](Damaged& table) { table.firstFreeIndex = 0; },
      [](Damaged& table) { table.at(4).nextIndex = 4; }, [](Damaged& table) { table.numItems = 7; },
      [](Damaged& table) { table.eaSize = 1000; },       [](Damaged& table) { table.htSize = 23; },
  };
  for (const auto& damage : faults) {
    SCOPED_TRACE(&damage - faults);
    const Owned<Damaged> table(new Damaged);
    table->IHashTable(13, 6, sizeof(Long), nullptr, nullptr, kUnique);
    for (const Long number : {1, 14, 2}) table->AddItem(asKey(number), &number, nullptr);
    table->DebugCheck();
    damage(*table);
    EXPECT_EQ(codeRaisedBy([&] { table->DebugCheck(); }), "HTABLE_CORRUPT");
  }
}

TEST(AHashTable, StaysAsItWasWhenMemoryRunsOut) {
  const Int64 before = memoryTotals().totalPtr;
  {
    const Owned<AHashTable> table = longs(13, 3);
    for (const Long number : {1, 2, 3}) add(table, number);
    const std::function<void()> actions[] = {
        [] { longs(13, 3); },
        [&] { add(table, 4); },
        [&] { table->GrowBy(50, 50, hashOfLong); },
        [&] { Owned<AObject>(table->Copy()); },
        [&] { Owned<AHashTable>(table->HTCopy(1, 1, hashOfLong)); },
    };
    for (const auto& action : actions) {
      for (Long nth = 1;; ++nth) {
        AllocationFailure failure(nth);
        const std::string code = codeRaisedBy(action);
        if (!failure.happened()) break;
        EXPECT_EQ(code, "MEM_OUT_OF_MEMORY");
        table->DebugCheck();
        EXPECT_EQ(walked(table), (std::multiset<Long>{1, 2, 3}));
      }
      table->RemoveItem(asKey(4), nullptr);
    }
    EXPECT_EQ(codeRaisedBy([&] { table->GrowElemArray(INT_MAX / 12); }), "MEM_OUT_OF_MEMORY");
  }
  EXPECT_EQ(memoryTotals().totalPtr, before);
}

TEST(AHashTable, RefusesChainsOutOfRange) {
  const Owned<AHashTable> table = longs(13, 3);
  const Long item = add(table, 1);
  const AHashTable::ItemHash wild = [](const void*, Long size, AHashTable::HashFunc) { return size; };
  EXPECT_EQ(checkFailedBy([&] { table->GrowBy(1, 1, wild); }), "VALID_HTI(newHash)");
  EXPECT_EQ(checkFailedBy([&] { table->AddItemAt(13, &item, nullptr); }), "VALID_HTI(hValue)");
  EXPECT_EQ(checkFailedBy([&] { table->MoveElemHashChain(0, -1, 5, 6); }), "elemIndex == hTable[currHash]");
  EXPECT_EQ(codeRaisedBy([] { longs(1000000, 0)->GrowBy(1, 0, hashOfLong); }), "HTABLE_SIZE_TOO_BIG");
  EXPECT_EQ(checkFailedBy([&] { longs(0, 1); }), "minimumSize > 0 && initialItemsArraySize >= 0 && iSize > 0");
  table->DebugCheck();
  EXPECT_EQ(walked(table), (std::multiset<Long>{1}));
}
