#include "core/lists/CDictionary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "core/lists/CStringDict.h"
#include "core/math/CUtils.h"
#include "core/mem/KyHandles.h"
#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"
#include "tests/lists/Counted.h"
#include "tests/support/Raised.h"

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

Owned<CStringDict> stringDictionary(bool caseSensitive, CDictionary::Equality equal = nullptr) {
  Owned<CStringDict> dictionary(new CStringDict);
  dictionary->IStringDict(caseSensitive, equal);
  return dictionary;
}

/// What the cursor gives.
std::vector<AObject*> walked(CDictionary& dictionary) {
  std::vector<AObject*> values;
  for (AObject* value = dictionary.FirstEntry(); value; value = dictionary.NextEntry()) values.push_back(value);
  return values;
}

/// Runs random operations on a dictionary beside a model in which the newest value of a key stands last.
template <class Key, class KeyOf, class AsKey>
void compareWithModel(CDictionary& start, KeyOf keyOf, AsKey asKey) {
  std::minstd_rand random(11);
  Owned<AObject> copied;
  CDictionary* dictionary = &start;
  std::map<Key, std::vector<LongPtr>> model;
  std::size_t count = 0;
  for (LongPtr step = 1; step <= 8000; ++step) {
    const Key key = keyOf(random() % 400);
    std::vector<LongPtr>& values = model[key];
    switch (random() % 5) {
      case 0:
      case 1:
        dictionary->Add(asKey(key), 0, asValue(step * 16));
        values.push_back(step * 16);
        ++count;
        break;
      case 2:
        dictionary->Remove(asKey(key));
        count -= !values.empty();
        if (!values.empty()) values.pop_back();
        break;
      default:
        ASSERT_EQ(dictionary->Lookup(asKey(key)), values.empty() ? nullptr : asValue(values.back()));
        ASSERT_EQ(dictionary->IncludesKey(asKey(key)), !values.empty());
    }
    ASSERT_EQ(dictionary->GetNumItems(), static_cast<Long>(count));
    if (step % 500) continue;
    std::vector<AObject*> want;
    for (const auto& [name, all] : model) std::transform(all.begin(), all.end(), std::back_inserter(want), asValue);
    std::vector<AObject*> found = walked(*dictionary);
    std::sort(found.begin(), found.end());
    std::sort(want.begin(), want.end());
    ASSERT_EQ(found, want);
    std::vector<AObject*> given;
    dictionary->DoForEach1([](const void*, AObject* value,
                              void* context) { static_cast<std::vector<AObject*>*>(context)->push_back(value); },
                           &given);
    ASSERT_EQ(given, walked(*dictionary));
    Owned<AObject> next(dictionary->Copy());
    ASSERT_EQ(walked(static_cast<CDictionary&>(*next)), given);
    copied.swap(next);
    dictionary = static_cast<CDictionary*>(copied.get());
  }
}

}  // namespace

TEST(CDictionary, AgreesWithAModelUnderRandomOperations) {
  const Int64 before = memoryTotals().totalPtr;
  {
    // Keys of more than 32 bits in few chains.
    compareWithModel<LongPtr>(
        *numberDictionary(7), [](unsigned n) { return (LongPtr{n} << 33) + n - 200; }, asNumberKey);
    const auto hash = [](const void* key) { return Long{*static_cast<const short*>(key)}; };
    Owned<CDictionary> shorts(new CDictionary);
    shorts->IDictionary(sizeof(short), hash, nullptr, 31);
    short cell = 0;
    compareWithModel<short>(
        *shorts, [](unsigned n) { return static_cast<short>(n - 200); },
        [&](short n) {
          cell = n;
          return static_cast<const void*>(&cell);
        });
    compareWithModel<std::string>(
        *stringDictionary(true), [](unsigned n) { return (n % 2 ? "Clip " : "CLIP ") + std::to_string(n / 2); },
        [](const std::string& name) { return name.c_str(); });
  }
  EXPECT_EQ(memoryTotals().totalPtr, before);
}

TEST(CDictionary, WalksOverNullValuesAndRemovedEntries) {
  const Owned<CDictionary> dictionary = numberDictionary(1);
  for (LongPtr key = 1; key <= 5; ++key) dictionary->Add(asNumberKey(key), 0, key == 4 ? nullptr : asValue(key * 16));
  EXPECT_EQ(dictionary->FirstEntry(), asValue(80));
  dictionary->Remove(asNumberKey(5));
  dictionary->Remove(asNumberKey(3));
  EXPECT_EQ(dictionary->NextEntry(), asValue(32));
  EXPECT_EQ(dictionary->NextEntry(), asValue(16));
  EXPECT_EQ(dictionary->NextEntry(), nullptr);
  EXPECT_EQ(dictionary->NextEntry(), nullptr);
  EXPECT_TRUE(dictionary->IncludesKey(asNumberKey(4)));
  EXPECT_EQ(dictionary->Lookup(asNumberKey(4)), nullptr);
}

TEST(CDictionary, EndsItsValuesWhenAskedEvenIfSomeFailToEnd) {
  const Int64 before = memoryTotals().totalPtr;
  {
    Counted* const survivor = Counted::New();
    numberDictionary(3)->Add(asNumberKey(1), 0, survivor);
    EXPECT_EQ(Counted::alive, 1);

    Owned<CDictionary> dictionary = numberDictionary(3);
    survivor->onDispose = [](void*) { +XError("STUBBORN", 0); };
    dictionary->Add(asNumberKey(1), 0, survivor);
    dictionary->Add(asNumberKey(2), 0, nullptr);
    dictionary->AddHandle(asNumberKey(3), 0, KyNewHandle(100));
    dictionary->AddItem(static_cast<ObjectKind_t>(7), asNumberKey(4), 4, nullptr);
    for (LongPtr key = 5; key < 9; ++key) dictionary->Add(asNumberKey(key), 0, Counted::New());
    EXPECT_NE(codeRaisedBy([&] { dictionary->DisposeItems(); }), "");
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(dictionary->GetNumItems(), 0);
    EXPECT_EQ(dictionary->FirstEntry(), nullptr);
    dictionary->AddItem(static_cast<ObjectKind_t>(7), asNumberKey(4), 4, nullptr);
    EXPECT_EQ(parm(errorRaisedBy([&] { dictionary->DisposeItems(); }), "msg"), "Unknown object kind");
    dictionary->Add(asNumberKey(1), 0, Counted::New());
    dictionary.release()->DisposeAll();
    EXPECT_EQ(Counted::alive, 0);
  }
  EXPECT_EQ(memoryTotals().totalPtr, before);
}

TEST(CDictionary, NamesTheOperationThatFailed) {
  const auto fails = [](const void*) -> Long {
    +XError("HASH", 0);
    return 0;
  };
  const auto differs = [](const void*, const void*) -> Boolean {
    +XError("EQUALITY", 0);
    return false;
  };
  Owned<CDictionary> dictionary(new CDictionary);
  dictionary->IDictionary(1, fails, nullptr, 3);
  const Owned<CStringDict> names = stringDictionary(true, differs);
  names->AddString("a", asValue(16));
  const struct {
    const char* code;
    const char* cause;
    std::function<void()> action;
  } cases[] = {
      {"DICT_ADD_FAILED", "HASH", [&] { dictionary->Add("a", 0, nullptr); }},
      {"DICT_LOOKUP_FAILED", "HASH", [&] { dictionary->Lookup("a"); }},
      {"DICT_REMOVE_FAILED", "EQUALITY", [&] { names->Remove("a"); }},
      {"DICT_DFE_FAILED", "EACH", [&] { names->DoForEachSorted([](const void*, AObject*) { +XError("EACH", 0); }); }},
      {"DICT_ADD_FAILED", "CORE_INTEGER_TOO_BIG", [&] { names->AddString(std::string(40000, 'x').c_str(), nullptr); }},
  };
  for (const auto& c : cases) {
    const XError error = errorRaisedBy(c.action);
    EXPECT_STREQ(error.GetCode(), c.code);
    EXPECT_STREQ(error.GetLevelCode(1), c.cause);
    EXPECT_EQ(names->GetNumItems(), 1);
  }
}

TEST(CDictionary, StaysAsItWasWhenMemoryRunsOut) {
  const Int64 before = memoryTotals().totalPtr;
  {
    const Owned<CStringDict> names = stringDictionary(true);
    for (const char* name : {"one", "two", "three"}) names->AddString(name, asValue(16));
    const struct {
      const char* code;
      std::function<void()> action;
    } cases[] = {
        {"DICT_CREATE_FAILED", [] { numberDictionary(3); }},
        {"DICT_ADD_FAILED", [&] { names->AddString("four", nullptr); }},
        {"DICT_COPY_FAILED", [&] { Owned<AObject>(names->Copy()); }},
    };
    for (const auto& c : cases) {
      std::string last;
      for (Long nth = 1;; ++nth) {
        AllocationFailure failure(nth);
        const std::string code = codeRaisedBy(c.action);
        if (!failure.happened()) break;
        last = code;
        EXPECT_NE(code, "");
        EXPECT_EQ(walked(*names).size(), 3u);
      }
      EXPECT_EQ(last, c.code);
    }
  }
  EXPECT_EQ(memoryTotals().totalPtr, before);
}

TEST(CStringDict, ComparesNamesAsItWasTold) {
  const std::string longName(80, 'n');
  const struct {
    bool caseSensitive;
    std::string added, asked;
    bool found;
  } cases[] = {
      {true, "Exit", "Exit", true},
      {true, "Exit", "exit", false},
      {false, "exiT", "EXIT", true},
      {false, "[a]", "{a}", false},
      {false, "\xE9t\xE9", "\xE9T\xE9", true},
      {false, "\xE9t", "\xC9T", false},
      {true, longName + "a", longName + "b", false},
      {true, "", "", true},
  };
  for (const auto& c : cases) {
    const Owned<CStringDict> dictionary = stringDictionary(c.caseSensitive);
    dictionary->AddAbrevStr(c.added.c_str(), asValue(16));
    EXPECT_EQ(dictionary->Lookup(c.asked.c_str()) != nullptr, c.found) << c.added << " " << c.asked;
    EXPECT_EQ(dictionary->Lookup(nullptr), nullptr);
  }
}

TEST(CStringDict, GivesItsEntriesInOrder) {
  const Owned<CStringDict> dictionary = stringDictionary(true);
  for (const char* name : {"wipe", "Cut", "_x", "dissolve", "cue", "Audio"}) dictionary->AddString(name, asValue(16));
  static std::string order;
  const auto each = [](const void* key, AObject*) { order += static_cast<const char*>(key) + std::string(" "); };
  order.clear();
  dictionary->DoForEachSorted(each);
  EXPECT_EQ(order, "_x Audio cue Cut dissolve wipe ");
  order.clear();
  dictionary->DoForEachSortedCustom(each, [](void* a, void* b) {
    return -std::strcmp(static_cast<dictSortItem_t*>(a)->key, static_cast<dictSortItem_t*>(b)->key);
  });
  EXPECT_EQ(order, "wipe dissolve cue _x Cut Audio ");
}
