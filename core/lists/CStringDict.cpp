#include "core/lists/CStringDict.h"

#include <climits>
#include <cstring>
#include <vector>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/lists/rqsort.h"
#include "core/math/CUtils.h"

using namespace ky;

namespace {

constexpr Long kBuckets = 1023;
constexpr std::size_t kHashedBytes = 80;

UInt64 load(const char* text, std::size_t count) {
  UInt64 word = 0;
  std::memcpy(&word, text, count);
  return word;
}

/// Up to seven bytes, zeros behind them, by two loads that may overlap.
UInt64 loadTail(const char* text, std::size_t count) {
  if (count >= 4) return load(text, 4) | load(text + count - 4, 4) << (count - 4) * 8;
  UInt64 word = 0;
  for (std::size_t i = 0; i < count; ++i) word |= UInt64{static_cast<unsigned char>(text[i])} << i * 8;
  return word;
}

/// Eight bytes at once, with the ASCII letters as capitals.
UInt64 toUpper(UInt64 bytes) {
  constexpr UInt64 kEach = 0x0101010101010101;
  constexpr UInt64 kTop = 0x80 * kEach;
  const UInt64 low = bytes & ~kTop;
  const UInt64 fromA = low + (0x80 - 'a') * kEach;
  const UInt64 behindZ = low + (0x80 - 'z' - 1) * kEach;
  return bytes - ((fromA & ~behindZ & ~bytes & kTop) >> 2);
}

/// The exclusive or of the 32-bit words of the text in capitals. The order of every walk follows from it.
Long hashText(const void* key) {
  const char* text = static_cast<const char*>(key);
  if (!text) return 0;
  const void* nul = std::memchr(text, 0, kHashedBytes);
  std::size_t left = nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - text) : kHashedBytes;
  UInt64 words = 0;
  for (; left >= 8; left -= 8, text += 8) words ^= toUpper(load(text, 8));
  words ^= toUpper(loadTail(text, left));
  return static_cast<Long>(words ^ words >> 32);
}

Boolean equalsExactly(const void* key, const void* entryKey) {
  return key && std::strcmp(static_cast<const char*>(key), static_cast<const char*>(entryKey)) == 0;
}

Boolean equalsIgnoringCase(const void* key, const void* entryKey) {
  // Most names are asked for as they were spelt, and that comparison is many bytes at a time.
  return equalsExactly(key, entryKey) ||
         (key && CIstrcmp(static_cast<const char*>(key), static_cast<const char*>(entryKey)) == 0);
}

int compareIgnoringCase(void* a, void* b) {
  return CIstrcmp(static_cast<dictSortItem_t*>(a)->key, static_cast<dictSortItem_t*>(b)->key);
}

}  // namespace

void CStringDict::IStringDict(Boolean caseSensitive, Equality equal) {
  IDictionary(0, hashText, equal ? equal : caseSensitive ? equalsExactly : equalsIgnoringCase, kBuckets);
  hashTells = !equal;
}

void* CStringDict::AddItem(ObjectKind_t kind, const void* key, short size, void* value) {
  const char* text = static_cast<const char*>(key);
  if (!check(text != nullptr, "key != NULL")) return nullptr;
  if (size > 0) {
    if (!check(text[size - 1] == 0, "key[keySize - 1] == 0")) return nullptr;
    return CDictionary::AddItem(kind, key, size, value);
  }
  const std::size_t bytes = std::strlen(text) + 1;
  if (bytes > SHRT_MAX) {
    reraisedAs("DICT_ADD_FAILED", [&] {
      +XError("CORE_INTEGER_TOO_BIG", "str className", "CStringDict", "str methodName", "AddItem", "str intName",
              "keySize", "long intVal", static_cast<Long>(bytes), "long maxIntVal", Long{SHRT_MAX}, 0);
    });
  }
  return CDictionary::AddItem(kind, key, static_cast<short>(bytes), value);
}

void* CStringDict::AddString(const char* s, AObject* object) {
  if (!check(s != nullptr, "s != NULL")) return nullptr;
  return AddItem(kObjectEntry, s, 0, object);
}

void* CStringDict::AddAbrevStr(const char* s, AObject* object) {
  // Names are found whole only; their capitals abbreviate nothing.
  return AddString(s, object);
}

AObject* CStringDict::LookupHdl(char** h) { return Lookup(h ? *h : nullptr); }

void CStringDict::DoForEachSorted(EachFunc each) { DoForEachSortedCustom(each, compareIgnoringCase); }

void CStringDict::DoForEachSortedCustom(EachFunc each, int (*compare)(void* a, void* b)) {
  reraisedAs("DICT_DFE_FAILED", [&] {
    std::vector<dictSortItem_t> items;
    items.reserve(static_cast<std::size_t>(numItems));
    DoForEach1(
        [](const void* key, AObject* value, void* context) {
          static_cast<std::vector<dictSortItem_t>*>(context)->push_back({static_cast<const char*>(key), value});
        },
        &items);
    rqsort(items.data(), items.size(), sizeof(dictSortItem_t), compare);
    for (const dictSortItem_t& item : items) each(item.key, item.value);
  });
}
