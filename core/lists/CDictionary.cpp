#include "core/lists/CDictionary.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/lists/FirstError.h"
#include "core/mem/KyHandles.h"
#include "core/mem/Owned.h"

using namespace ky;

dictHandle_t CDictionary::sLastEntry = nullptr;

namespace {

constexpr short kNumberKeySize = 4;

LongPtr asNumber(const void* key) { return reinterpret_cast<LongPtr>(key); }

LongPtr storedNumber(const dictEntry_t& entry) {
  LongPtr number = 0;
  std::memcpy(&number, entry.key, sizeof number);
  return number;
}

void endEntry(dictHandle_t entry) { const OwnedHandle ended(reinterpret_cast<char**>(entry)); }

void endValue(ObjectKind_t kind, void* value) {
  switch (kind) {
    case kObjectEntry:
      if (value) static_cast<AObject*>(value)->Dispose();
      break;
    case kHandleEntry:
      if (value) KyDisposeHandle(value);
      break;
    default:
      fatal("Unknown object kind");
  }
}

}  // namespace

void CDictionary::IDictionary(short size, Hash hash, Equality equal, Long count) {
  if (!check(count > 0, "buckets > 0")) return;
  reraisedAs("DICT_CREATE_FAILED", [&] {
    const Int64 bytes = Int64{count} * static_cast<Int64>(sizeof(dictHandle_t));
    if (bytes != static_cast<Long>(bytes)) +XError("MEM_OUT_OF_MEMORY", 0);
    buckets = reinterpret_cast<dictHandle_t**>(KyNewHandleClear(static_cast<Long>(bytes)));
    numBuckets = count;
    divisor = Divisor(count);
    keySize = hash ? size : kNumberKeySize;
    hashFunc = hash;
    equality = equal;
  });
}

CDictionary::~CDictionary() {
  for (dictHandle_t list = takeAll(); list;) endEntry(std::exchange(list, (*list)->next));
  const OwnedHandle ended(reinterpret_cast<char**>(buckets));
}

AObject* CDictionary::Copy() {
  Owned<CDictionary> copy;
  reraisedAs("DICT_COPY_FAILED", [&] {
    copy.reset(static_cast<CDictionary*>(ACollection::Copy()));
    copy->buckets = nullptr;
    copy->numBuckets = 0;
    copy->numItems = 0;
    copy->cursorBucket = 0;
    copy->cursorEntry = nullptr;
    copy->buckets = reinterpret_cast<dictHandle_t**>(KyNewHandleClear(numBuckets * Long{sizeof(dictHandle_t)}));
    copy->numBuckets = numBuckets;
    for (Long bucket = 0; bucket < numBuckets; ++bucket) {
      dictHandle_t* link = *copy->buckets + bucket;
      for (dictHandle_t entry = (*buckets)[bucket]; entry; entry = (*entry)->next) {
        *link = reinterpret_cast<dictHandle_t>(KyCopyHand(reinterpret_cast<char**>(entry)));
        link = &(**link)->next;
        *link = nullptr;
        ++copy->numItems;
      }
    }
  });
  return copy.release();
}

inline Long CDictionary::hashOf(const void* key) const {
  return hashFunc ? hashFunc(key) : static_cast<Long>(asNumber(key));
}

inline dictHandle_t* CDictionary::chainOf(Long hash) const { return *buckets + divisor.rem(static_cast<ULong>(hash)); }

inline bool CDictionary::matches(const dictEntry_t& entry, const void* key, Long hash) const {
  if (!hashFunc) return storedNumber(entry) == asNumber(key);
  if (hashTells && entry.hash != hash) return false;
  return equality ? equality(key, entry.key) != 0
                  : std::memcmp(key, entry.key, static_cast<std::size_t>(entry.keySize)) == 0;
}

/// The handle that leads to the newest entry of `key`; null when there is none.
inline dictHandle_t* CDictionary::findLink(const void* key) const {
  if (!buckets) return nullptr;
  const Long hash = hashOf(key);
  for (dictHandle_t* link = chainOf(hash); *link; link = &(**link)->next) {
    if (matches(***link, key, hash)) return link;
  }
  return nullptr;
}

inline const void* CDictionary::keyOf(const dictEntry_t& entry) const {
  return hashFunc ? entry.key : reinterpret_cast<const void*>(storedNumber(entry));
}

template <class Visit>
void CDictionary::forEachEntry(Visit&& visit) {
  for (Long bucket = 0; bucket < numBuckets; ++bucket) {
    for (dictHandle_t entry = (*buckets)[bucket]; entry;) visit(**std::exchange(entry, (*entry)->next));
  }
}

/// Empties the dictionary. Returns all its entries as one chain.
dictHandle_t CDictionary::takeAll() {
  dictHandle_t all = nullptr;
  dictHandle_t* end = &all;
  for (Long bucket = 0; bucket < numBuckets; ++bucket) {
    *end = std::exchange((*buckets)[bucket], nullptr);
    while (*end) end = &(**end)->next;
  }
  numItems = 0;
  cursorBucket = numBuckets;
  cursorEntry = nullptr;
  sLastEntry = nullptr;
  return all;
}

void* CDictionary::AddItem(ObjectKind_t kind, const void* key, short size, void* value) {
  if (!check(buckets != nullptr, "buckets != NULL")) return nullptr;
  if (!check(size > 0 || !hashFunc, "keySize > 0")) return nullptr;
  dictHandle_t added = nullptr;
  reraisedAs("DICT_ADD_FAILED", [&] {
    const std::size_t keyBytes = hashFunc ? static_cast<std::size_t>(size) : sizeof(LongPtr);
    const std::size_t bytes = std::max(offsetof(dictEntry_t, key) + keyBytes, sizeof(dictEntry_t));
    OwnedHandle entry = OwnedHandle::ofSize(static_cast<Long>(bytes));
    const Long hash = hashOf(key);
    const void* bytesOfKey = hashFunc ? key : &key;

    added = reinterpret_cast<dictHandle_t>(entry.release());
    dictEntry_t& fields = **added;
    dictHandle_t* head = chainOf(hash);
    fields.next = std::exchange(*head, added);
    fields.value = value;
    fields.hash = hash;
    fields.keySize = hashFunc ? size : kNumberKeySize;
    fields.kind = kind;
    std::memcpy(fields.key, bytesOfKey, keyBytes);
    ++numItems;
  });
  return added;
}

void CDictionary::DisposeList(dictHandle_t list) {
  FirstError errors;
  while (list) {
    const dictHandle_t entry = std::exchange(list, (*list)->next);
    const ObjectKind_t kind = (*entry)->kind;
    void* const value = (*entry)->value;
    endEntry(entry);
    errors.take([&] { endValue(kind, value); });
  }
  errors.raise();
}

void CDictionary::DisposeItems() { DisposeList(takeAll()); }

void CDictionary::DisposeAll() {
  always([&] { DisposeItems(); }, [&] { Dispose(); });
}

void* CDictionary::Add(const void* key, short size, AObject* object) {
  return AddItem(kObjectEntry, key, size ? size : keySize, object);
}

void* CDictionary::AddHandle(const void* key, short size, void* handle) {
  return AddItem(kHandleEntry, key, size ? size : keySize, handle);
}

void CDictionary::Remove(const void* key) {
  reraisedAs("DICT_REMOVE_FAILED", [&] {
    dictHandle_t* link = findLink(key);
    if (!link) return;
    const dictHandle_t entry = *link;
    *link = (*entry)->next;
    --numItems;
    if (cursorEntry == entry) cursorEntry = *link;
    if (sLastEntry == entry) sLastEntry = nullptr;
    endEntry(entry);
  });
}

Boolean CDictionary::IncludesKey(const void* key) { return findLink(key) != nullptr; }

void CDictionary::DoForEach(EachFunc each) {
  forEachEntry([&](const dictEntry_t& entry) { each(keyOf(entry), static_cast<AObject*>(entry.value)); });
}

void CDictionary::DoForEach1(EachFunc1 each, void* context) {
  reraisedAs("DICT_DFE_FAILED", [&] {
    forEachEntry([&](const dictEntry_t& entry) { each(keyOf(entry), static_cast<AObject*>(entry.value), context); });
  });
}

AObject* CDictionary::Lookup(const void* key) {
  AObject* found = nullptr;
  reraisedAs("DICT_LOOKUP_FAILED", [&] {
    if (dictHandle_t* link = findLink(key)) found = static_cast<AObject*>((**link)->value);
  });
  return found;
}

AObject* CDictionary::FirstEntry() {
  cursorBucket = 0;
  cursorEntry = nullptr;
  return NextEntry();
}

AObject* CDictionary::NextEntry() {
  AObject* value = nullptr;
  reraisedAs("DICT_GET_FAILED", [&] {
    while (!value) {
      while (!cursorEntry) {
        if (cursorBucket >= numBuckets) return;
        cursorEntry = (*buckets)[cursorBucket++];
      }
      sLastEntry = cursorEntry;
      cursorEntry = (*sLastEntry)->next;
      value = static_cast<AObject*>((*sLastEntry)->value);
    }
  });
  return value;
}
