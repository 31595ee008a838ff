#include "core/lists/CDictionary.h"

#include <map>

#include "core/lists/CStringDict.h"
#include "tests/lists/ListSupport.h"
#include "tests/support/Faults.h"

using namespace ky;
using namespace ky::test;

namespace {

AObject* asValue(LongPtr number) { return reinterpret_cast<AObject*>(number); }
const void* asNumberKey(LongPtr number) { return reinterpret_cast<const void*>(number); }

Owned<CDictionary> numberDictionary(Long buckets) {
  Owned<CDictionary> dictionary(new CDictionary);
  dictionary->IDictionary(0, nullptr, nullptr, buckets);
  return dictionary;
}

Owned<CStringDict> names(std::initializer_list<const char*> with, bool caseSensitive = true) {
  Owned<CStringDict> dictionary(new CStringDict);
  dictionary->IStringDict(caseSensitive, nullptr);
  for (const char* name : with) dictionary->AddString(name, asValue(16));
  return dictionary;
}

/// What the cursor gives, which a walk must give too.
std::vector<AObject*> walked(CDictionary& dictionary) {
  std::vector<AObject*> values, given;
  for (AObject* value = dictionary.FirstEntry(); value; value = dictionary.NextEntry()) values.push_back(value);
  dictionary.DoForEach1(
      [](const void*, AObject* value, void* to) { static_cast<std::vector<AObject*>*>(to)->push_back(value); }, &given);
  EXPECT_EQ(given, values);
  return values;
}

/// Runs random operations on a dictionary beside a model in which the newest value of a key stands last.
template <class Key>
void compareWithModel(Owned<CDictionary> dictionary, Key (*keyOf)(unsigned), const void* (*asKey)(const Key&)) {
  std::minstd_rand random(11);
  std::map<Key, std::vector<AObject*>> model;
  Long count = 0;
  for (LongPtr step = 1; step <= 8000; ++step) {
    const Key key = keyOf(random() % 400);
    std::vector<AObject*>& values = model[key];
    if (random() % 3) {
      dictionary->Add(asKey(key), 0, asValue(step * 16));
      values.push_back(asValue(step * 16));
      ++count;
    } else {
      dictionary->Remove(asKey(key));
      if (!values.empty()) values.pop_back(), --count;
    }
    ASSERT_EQ(dictionary->Lookup(asKey(key)), values.empty() ? nullptr : values.back());
    ASSERT_EQ(dictionary->IncludesKey(asKey(key)), !values.empty());
    ASSERT_EQ(dictionary->GetNumItems(), count);
    if (step % 500) continue;
    std::vector<AObject*> want, found = walked(*dictionary);
    dictionary.reset(static_cast<CDictionary*>(dictionary->Copy()));
    ASSERT_EQ(walked(*dictionary), found);
    for (const auto& [name, all] : model) want.insert(want.end(), all.begin(), all.end());
    std::sort(found.begin(), found.end());
    std::sort(want.begin(), want.end());
    ASSERT_EQ(found, want);
  }
}

}  // namespace

TEST(CDictionary, AgreesWithAModelUnderRandomOperations) {
  const NothingStays memory;
  // Keys of more than 32 bits in few chains.
  compareWithModel<LongPtr>(
      numberDictionary(7), [](unsigned n) { return (LongPtr{n} << 33) + n - 200; },
      [](const LongPtr& key) { return asNumberKey(key); });
  Owned<CDictionary> shorts(new CDictionary);
  const auto hash = [](const void* key) { return Long{*static_cast<const short*>(key)}; };
  shorts->IDictionary(sizeof(short), hash, nullptr, 31);
  compareWithModel<short>(
      std::move(shorts), [](unsigned n) { return static_cast<short>(n - 200); },
      [](const short& key) { return static_cast<const void*>(&key); });
  compareWithModel<std::string>(
      names({}), [](unsigned n) { return (n % 2 ? "Clip " : "CLIP ") + std::to_string(n / 2); },
      [](const std::string& key) { return static_cast<const void*>(key.c_str()); });
}

TEST(CDictionary, EndsItsValuesWhenAskedEvenIfSomeFailToEnd) {
  const NothingStays memory;
  Counted* const survivor = Counted::New();
  numberDictionary(3)->Add(asNumberKey(1), 0, survivor);
  EXPECT_EQ(Counted::alive, 1);

  Owned<CDictionary> dictionary = numberDictionary(3);
  survivor->onDispose = [](void*) { +XError("STUBBORN", 0); };
  dictionary->Add(asNumberKey(1), 0, survivor);
  dictionary->Add(asNumberKey(2), 0, nullptr);
  dictionary->AddHandle(asNumberKey(3), 0, KyNewHandle(100));
  for (LongPtr key = 5; key < 9; ++key) dictionary->Add(asNumberKey(key), 0, Counted::New());
  EXPECT_NE(codeRaisedBy([&] { dictionary->DisposeItems(); }), "");
  EXPECT_EQ(Counted::alive, 0);
  EXPECT_EQ(dictionary->GetNumItems(), 0);
}

TEST(CDictionary, StaysAsItWasWhenMemoryRunsOut) {
  const NothingStays memory;
  const Owned<CStringDict> three = names({"one", "two", "three"});
  const auto addAndRemove = [&] { three->AddString("four", nullptr), three->Remove("four"); };
  failEachAllocation({[] { numberDictionary(3); }, addAndRemove, [&] { Owned<AObject>(three->Copy()); }},
                     [&] { EXPECT_EQ(walked(*three).size(), 3u); });
}

TEST(CStringDict, ComparesNamesAsItWasTold) {
  const std::string longName(80, 'n');
  const std::tuple<bool, std::string, std::string, bool> cases[] = {
      {true, "Exit", "exit", false},    {false, "exiT", "EXIT", true},
      {false, "[a]", "{a}", false},     {false, "\xE9t\xE9", "\xE9T\xE9", true},
      {false, "\xE9t", "\xC9T", false}, {true, longName + "a", longName + "b", false},
  };
  for (const auto& [caseSensitive, added, asked, found] : cases) {
    const Owned<CStringDict> dictionary = names({}, caseSensitive);
    dictionary->AddAbrevStr(added.c_str(), asValue(16));
    EXPECT_EQ(dictionary->Lookup(asked.c_str()) != nullptr, found) << added << " " << asked;
  }
}

TEST(CStringDict, GivesItsEntriesInOrder) {
  const Owned<CStringDict> dictionary = names({"wipe", "Cut", "_x", "dissolve", "cue", "Audio"});
  static std::string order;
  const auto each = [](const void* key, AObject*) { order += static_cast<const char*>(key) + std::string(" "); };
  order.clear();
  dictionary->DoForEachSorted(each);
  EXPECT_EQ(order, "_x Audio cue Cut dissolve wipe ");
}
