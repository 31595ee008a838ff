#include "core/lists/AHashTable.h"

#include <map>
#include <optional>

#include "core/math/CUtils.h"
#include "tests/lists/ListSupport.h"
#include "tests/support/Faults.h"
#include "tests/support/Printed.h"

using namespace ky;
using namespace ky::test;

namespace {

constexpr HTDuplicateFlag kUnique = HTNoDuplicates;
constexpr HTDuplicateFlag kShared = HTDuplicatesAllowed;

/// A table of the numbers 1 to 3.
Owned<AHashTable> threeLongs() {
  Owned<AHashTable> table(AHashTable::New(13, 3, sizeof(Long), nullptr, nullptr, kUnique));
  for (const Long number : {1, 2, 3}) table->AddItem(asKey(number), &number, nullptr);
  return table;
}

std::vector<Long> walked(AHashTable& table) {
  std::vector<Long> found;
  HTLoopState state;
  table.LoopInit(&state);
  for (Long item = 0; table.LoopNextItem(&state, &item, nullptr);) found.push_back(item);
  return found;
}

/// The number at the start of an item of that size.
LongPtr numberIn(const void* item, std::size_t size) {
  LongPtr number = 0;
  std::memcpy(&number, item, std::min(size, sizeof number));
  return size == sizeof number ? number : static_cast<Long>(number);
}

template <unsigned size, unsigned shift>
Long itemHash(const void* item, Long chains, AHashTable::HashFunc hash) {
  return hash(asKey(numberIn(item, size) >> shift), chains);
}
template <unsigned size>
Boolean equalsPacked(void* const key, const void* item) {
  return numberIn(item, size) >> 4 == LongPtr(key);
}
Long scatter(void* const key, Long size) { return mod(static_cast<Long>(LongPtr(key) * 7 + 3), size); }

/// An item size with the default functions, or with such as take a number over 16 for the key.
struct Kind {
  const char* name;
  unsigned size;
  unsigned shift;
  bool manyOfAKey;
  AHashTable::ItemHash itemHash;
  AHashTable::HashFunc hash = nullptr;
  AHashTable::KeyCmp compare = nullptr;
};

const Kind kKinds[] = {
    {"longs", 4, 0, false, itemHash<4, 0>},
    {"longs with functions", 4, 4, true, itemHash<4, 4>, scatter, equalsPacked<4>},
    {"pointers", 8, 0, false, itemHash<8, 0>},
    {"pointers with functions", 8, 4, true, itemHash<8, 4>, scatter, equalsPacked<8>},
    {"bytes", 3, 0, false, itemHash<3, 0>},
    {"records", 12, 0, true, itemHash<12, 0>},
};

/// A table, and its items with their hints by key.
class Twin {
 public:
  using Item = std::pair<Long, std::string>;

  Twin(const Kind& kind, HTDuplicateFlag duplicates)
      : kind_(kind), duplicates_(duplicates), random_(kind.size * 31 + duplicates), out_(kind.size, '?') {
    table_.reset(AHashTable::New(20, 5, kind.size, kind.hash, kind.compare, duplicates));
  }

  void step() {
    const Item item = anyItem();
    const int kind = number(40);
    if (kind == 0) {
      maintain();
    } else if (kind < 4) {
      walk(kind == 1 ? std::nullopt : std::optional(item.first));
    } else if (kind == 4) {
      const bool any = !itemsOf(item.first).empty();
      ASSERT_EQ(table_->RemoveItem(asKey(item.first), out_.data()), any);
      ASSERT_EQ(any ? hints_.erase(given()) : 0, any);
    } else if (kind < 8) {
      ASSERT_EQ(table_->RemoveSpecificItem(asKey(item.first), item.second.data()), hints_.erase(item) != 0);
    } else {
      number(2) ? add(item) : look(item);
    }
    table_->DebugCheck();
    ASSERT_EQ(table_->GetNumItems(), static_cast<Long>(hints_.size()));
  }

 private:
  int number(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }

  Item anyItem() {
    const Long key = number(600) - (kind_.size == 3 ? 0 : 300);
    const int variant = kind_.manyOfAKey ? number(16) : 0;
    std::string item(kind_.size, '\0');
    const LongPtr value = (LongPtr{key} << kind_.shift) + (kind_.shift ? variant : 0);
    std::memcpy(item.data(), &value, std::min<std::size_t>(kind_.size, sizeof value));
    if (kind_.size > 8) item = item.substr(0, 4) + std::string(7, '\0') + static_cast<char>(variant);
    return {key, item};
  }
  Item given() const { return {static_cast<Long>(numberIn(out_.data(), kind_.size) >> kind_.shift), out_}; }
  std::map<Item, Long> itemsOf(Long key) const {
    return {hints_.lower_bound({key, ""}), hints_.lower_bound({key + 1, ""})};
  }

  void add(const Item& item) {
    const bool taken = duplicates_ == kUnique && !itemsOf(item.first).empty();
    const std::string want = taken ? "HTABLE_DUPLICATE_KEY" : hints_.contains(item) ? "HTABLE_DUPLICATE_ITEM" : "";
    Long hint = INDEX_NULL;
    ASSERT_EQ(codeRaisedBy([&] { table_->AddItem(asKey(item.first), item.second.data(), &hint); }), want);
    ASSERT_TRUE(table_->GetItemAtHint(asKey(item.first), nullptr, hint));  // its own, or that of who holds the key
    if (want.empty()) hints_[item] = hint;
    ASSERT_TRUE(!want.empty() || newest(item.first) == item.second);
  }

  std::string newest(Long key) {
    std::string item(kind_.size, '?');
    EXPECT_TRUE(table_->LocateItem(asKey(key), item.data(), nullptr));
    return item;
  }

  void look(const Item& item) {
    Long hint = INDEX_NULL;
    const bool any = !itemsOf(item.first).empty();
    ASSERT_EQ(table_->LocateItem(asKey(item.first), out_.data(), &hint), any);
    const Long want = any ? hints_.at(given()) : hint;
    ASSERT_EQ(hint, want);
    hint = number(2) ? number(30) : hint;  // a wrong one costs time only
    const bool known = hints_.contains(item);
    ASSERT_EQ(table_->LocateSpecificItem(asKey(item.first), item.second.data(), &hint), known);
    if (!known) return;
    ASSERT_TRUE(hint == hints_[item] && table_->GetItemAtHint(asKey(item.first), out_.data(), hint));
    ASSERT_EQ(out_, item.second);
    ASSERT_FALSE(table_->GetItemAtHint(asKey(item.first + 1), nullptr, hint));
    const LongPtr otherOfTheChain = LongPtr{item.first} + table_->GetHTSize();
    ASSERT_FALSE(table_->RemoveSpecificItem(asKey(otherOfTheChain), item.second.data()));
  }

  /// Walks everything or the items of a key, and removes some of what it is given.
  void walk(std::optional<Long> key) {
    const int oneIn = 1 + number(20);
    std::map<Item, Long> left = key ? itemsOf(*key) : hints_;
    HTLoopState state;
    table_->LoopInit(&state);
    ASSERT_TRUE(!key || table_->KeyLoopInit(asKey(*key), &state) == !left.empty());
    Long hint = INDEX_NULL;
    while (key ? table_->KeyLoopNextItem(asKey(*key), out_.data(), &state, &hint)
               : table_->LoopNextItem(&state, out_.data(), &hint)) {
      const Item item = given();
      ASSERT_EQ(hint, hints_.at(item));
      ASSERT_EQ(left.erase(item), 1u);
      if (number(oneIn) != 0) continue;
      ASSERT_TRUE(table_->RemoveSpecificItem(asKey(item.first), out_.data()));
      hints_.erase(item);
    }
    ASSERT_TRUE(left.empty());
  }

  void maintain() {
    const int choice = number(8);
    table_.reset(static_cast<AHashTable*>(table_->Copy()));  // an exact copy: hints stay
    if (choice == 0) {
      table_->RemoveAll();
      hints_.clear();
    } else if (choice == 2 || table_->GetHTSize() > 1000) {
      std::map<Long, std::string> first;
      for (const auto& [item, hint] : hints_) first[item.first] = newest(item.first);
      table_.reset(table_->HTCopy(1 + number(200), number(50), kind_.itemHash));
      for (auto& [item, hint] : hints_) {
        ASSERT_EQ(newest(item.first), first[item.first]);
        hint = INDEX_NULL;
        ASSERT_TRUE(table_->LocateSpecificItem(asKey(item.first), item.second.data(), &hint));
      }
    } else {
      table_->GrowBy(1 + number(30), number(10), kind_.itemHash);  // hints stay
    }
  }

  const Kind& kind_;
  const HTDuplicateFlag duplicates_;
  std::minstd_rand random_;
  std::string out_;
  Owned<AHashTable> table_;
  std::map<Item, Long> hints_;
};

}  // namespace

TEST(AHashTable, AgreesWithAModelUnderRandomOperations) {
  for (const Kind& kind : kKinds) {
    for (const HTDuplicateFlag duplicates : {kUnique, kShared}) {
      SCOPED_TRACE(std::string(kind.name) + (duplicates ? ", shared keys" : ", unique keys"));
      Twin twin(kind, duplicates);
      for (int step = 0; step < 6000 && !HasFailure(); ++step) {
        ASSERT_EQ(codeRaisedBy([&] { twin.step(); }), "");
      }
    }
  }
}

TEST(Divisor, GivesTheRemaindersOfADivision) {
  std::mt19937 random(5);
  for (const Long size : {1, 2, 13, 1023, 1024, 10159, 1000777, INT_MAX}) {
    std::vector<Long> numbers = {0, 1, -1, size - 1, size, -size, INT_MAX, INT_MIN, INT_MIN + 1};
    for (int i = 0; i < 2000; ++i) numbers.push_back(Long(random()));
    for (const Long number : numbers) {
      ASSERT_EQ(Divisor(size).mod(number), mod(number, size)) << number << " by " << size;
      ASSERT_EQ(Divisor(size).rem(ULong(number)), ULong(number) % ULong(size));
    }
  }
}

TEST(AHashTable, FindsDamage) {
  struct Damaged : AHashTable {
    htelem_t& at(Long index) { return reinterpret_cast<htelem_t*>(*elemArray)[index + 1]; }
    Long& head(Long chain) { return (*hTable)[chain]; }
    using AHashTable::eaSize, AHashTable::firstFreeIndex, AHashTable::htSize, AHashTable::numItems;
  };
  // Elements 1 and 0 are on chain 1, element 2 on chain 2, and 3 to 5 are free.
  void (*const faults[])(Damaged&) = {
      [](Damaged&) {},
      [](Damaged& table) { table.head(5) = 6; },
      [](Damaged& table) { table.head(5) = 2; },
      [](Damaged& table) { table.at(1).nextIndex = 1; },
      [](Damaged& table) { table.at(0).used = false; },
      [](Damaged& table) { table.firstFreeIndex = 0; },
      [](Damaged& table) { table.at(4).nextIndex = INDEX_NULL; },
      [](Damaged& table) { table.numItems = 7; },
      [](Damaged& table) { table.eaSize = 1000; },
      [](Damaged& table) { table.htSize = 23; },
  };
  for (const auto& damage : faults) {
    SCOPED_TRACE(&damage - faults);
    const Owned<Damaged> table(new Damaged);
    table->IHashTable(13, 6, sizeof(Long), nullptr, nullptr, kUnique);
    for (const Long number : {1, 14, 2}) table->AddItem(asKey(number), &number, nullptr);
    damage(*table);
    EXPECT_EQ(codeRaisedBy([&] { table->DebugCheck(); }), &damage == faults ? "" : "HTABLE_CORRUPT");

    // Whatever its links, a dump comes to an end.
    Printed out;
    if (table->htSize == 13 && table->eaSize == 6) table->Dump(Printed::print, 0);
    const std::string chains = "[1] --->(1):14(0):1(count 2)\n[2] --->(2):2(count 1)\n";
    EXPECT_TRUE(&damage != faults || out.text().find(chains) != std::string::npos) << out.text();
  }
}

TEST(AHashTable, TellsHowFullItIsAndRefusesWhatIsOutOfRange) {
  const Owned<AHashTable> table = threeLongs();
  const Long fourteen = 14;
  const AHashTable::ItemHash wild = [](const void*, Long size, AHashTable::HashFunc) { return size; };
  expectRefusals({
      {"MEM_OUT_OF_MEMORY", [&] { table->GrowElemArray(INT_MAX / 12); }},
      {"HTABLE_SIZE_TOO_BIG", [&] { table->GrowBy(1000777, 0, itemHash<4, 0>); }},
      {"VALID_HTI(newHash)", [&] { table->GrowBy(1, 1, wild); }},
      {"VALID_HTI(hValue)", [&] { table->AddItemAt(13, &fourteen, nullptr); }},
      {"elemIndex == hTable[currHash]", [&] { table->MoveElemHashChain(0, -1, 5, 6); }},
      {"minimumSize > 0 && initialItemsArraySize >= 0 && iSize > 0",
       [] { AHashTable::New(0, 1, 4, nullptr, nullptr, kUnique); }},
  });
  HTLoopState state;
  table->LoopInit(&state);
  EXPECT_TRUE(table->LoopNextItem(&state, nullptr, nullptr) && table->RemoveItem(asKey(2), nullptr)) << "the next one";
  for (HTLoopState bad : {state, HTLoopState{1, 99}, HTLoopState{99, 0}, HTLoopState{0, -7}}) {
    EXPECT_EQ(codeRaisedBy([&] { table->LoopNextItem(&bad, nullptr, nullptr); }), "HTABLE_LOOPSTATE_CORRUPT");
  }
  table->AddItem(asKey(14), &fourteen, nullptr);
  Printed out;
  table->DumpStats(Printed::print, 1);
  EXPECT_EQ(out.text(),
            " Number of Items:\t     3\n HashTable Size:\t\t    13    (11 empty, max chain len 2)\n"
            " ElementArray Size:\t     3     (ItemSize 4, HTElement Size 12)\n"
            " Load Factor (numitems/tablesize):\t  0.23\n"
            " Average Chain Len (numitems/num buckets used in table):\t  1.50\n");
}

TEST(AHashTable, StaysAsItWasWhenMemoryRunsOut) {
  const NothingStays memory;
  const Owned<AHashTable> table = threeLongs();
  const Long four = 4;
  const std::vector<std::function<void()>> actions = {
      [] { threeLongs(); },
      [&] { table->AddItem(asKey(4), &four, nullptr), table->RemoveItem(asKey(4), nullptr); },
      [&] { table->GrowBy(50, 50, itemHash<4, 0>); },
      [&] { Owned<AObject>(table->Copy()); },
      [&] { Owned<AHashTable>(table->HTCopy(1, 1, itemHash<4, 0>)); },
  };
  failEachAllocation(actions, [&] {
    table->DebugCheck();
    EXPECT_EQ(walked(*table), (std::vector<Long>{1, 2, 3}));
  });
}
