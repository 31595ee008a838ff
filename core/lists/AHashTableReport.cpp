#include <algorithm>

#include "core/lists/AHashTable.h"
#include "core/lists/HashTableView.h"
#include "core/mem/KyHandles.h"

using namespace ky;

namespace {

void corrupt() { +XError("HTABLE_CORRUPT", 0); }

/// Shows each element of a chain to `show`, one of a damaged table as far as it can be followed.
///
/// Returns:  how many there were.
template <class AnyView, class Show>
Long follow(const AnyView& table, Long most, Long index, Show show) {
  Long count = 0;
  for (; table.isElement(index) && count < most; index = table.at(index).nextIndex, ++count) show(index);
  return count;
}

}  // namespace

Long AHashTable::GetHTSize() { return htSize; }

Long AHashTable::GetEASize() { return eaSize; }

double AHashTable::LoadFactor() { return static_cast<double>(numItems) / htSize; }

void AHashTable::GetStats(Long* empty, Long* maxChain) {
  Long emptyChains = 0;
  Long longest = 0;
  view([&](auto table) {
    for (Long hash = 0; hash < htSize; ++hash) {
      const Long length = follow(table, eaSize, (*hTable)[hash], [](Long) {});
      if (length == 0) ++emptyChains;
      longest = std::max(longest, length);
    }
  });
  tell(empty, emptyChains);
  tell(maxChain, longest);
}

void AHashTable::DumpStats(KyPrint print, int indent) {
  Long empty = 0;
  Long maxChain = 0;
  GetStats(&empty, &maxChain);
  const Long inUse = htSize - empty;
  print("%*sNumber of Items:\t%6ld\n", indent, "", long{numItems});
  print("%*sHashTable Size:\t\t%6ld    (%ld empty, max chain len %ld)\n", indent, "", long{htSize}, long{empty},
        long{maxChain});
  print("%*sElementArray Size:\t%6ld     (ItemSize %ld, HTElement Size %ld)\n", indent, "", long{eaSize},
        static_cast<long>(iSize), long{htelemSize});
  print("%*sLoad Factor (numitems/tablesize):\t%6.2f\n", indent, "", LoadFactor());
  print("%*sAverage Chain Len (numitems/num buckets used in table):\t%6.2f\n", indent, "",
        inUse ? static_cast<double>(numItems) / inUse : 0.0);
}

void AHashTable::Dump(KyPrint print, int indent) {
  ACollection::Dump(print, indent);
  DumpStats(print, indent);
  view([&](auto table) {
    const auto chain = [&](Long first, bool items) {
      const Long count = follow(table, eaSize, first, [&](Long index) {
        if (items && iSize == sizeof(Long)) {
          print("(%ld):%ld", long{index}, long{table.at(index).item});
        } else {
          print("(%ld)", long{index});
        }
      });
      print("(count %ld)\n", long{count});
    };
    for (Long hash = 0; hash < htSize; ++hash) {
      print("%*s[%ld] --->", indent, "", long{hash});
      chain((*hTable)[hash], true);
    }
    print("%*sElement Array Free List:\n", indent, "");
    chain(firstFreeIndex, false);
  });
  print("%*s------end AHashTable\n", indent, "");
}

void AHashTable::DebugCheck() {
  if (htSize <= 0 || KyGetHandleSize(hTable) / Long{sizeof(Long)} < htSize) return corrupt();
  if (eaSize < 0 || KyGetHandleSize(elemArray) / htelemSize <= eaSize) return corrupt();
  if (numItems < 0 || numItems > eaSize) return corrupt();
  view([&](auto table) {
    // Counting past the elements there are means a circle.
    const auto count = [&](Long index, Boolean used, Long& total) {
      for (; index != INDEX_NULL; index = table.at(index).nextIndex) {
        if (!table.isElement(index) || table.at(index).used != used || ++total > eaSize) return corrupt();
      }
    };
    Long onChains = 0;
    for (Long hash = 0; hash < htSize; ++hash) count((*hTable)[hash], true, onChains);
    Long freeElements = 0;
    count(firstFreeIndex, false, freeElements);
    if (onChains != numItems || freeElements + numItems != eaSize) corrupt();
  });
}
