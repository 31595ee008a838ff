#include "core/lists/CKyList.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/lists/FirstError.h"
#include "core/mem/KyHandles.h"

using namespace ky;

namespace {

constexpr Long kEnd = INT32_MAX;
/// The identities that a walk expects beyond either end of the list.
constexpr Long kPastLast = INT32_MAX;
constexpr Long kBeforeFirst = INT32_MIN;

thread_local int (*gSortCompare)(void*, void*) = nullptr;

char** handleOf(AObject* item) { return reinterpret_cast<char**>(item); }
AObject* itemOf(char** handle) { return reinterpret_cast<AObject*>(handle); }

}  // namespace

CKyList* CKyList::New() {
  Owned<CKyList> list(new CKyList);
  list->IKyList();
  return list.release();
}

void CKyList::IKyList() { IList(); }

void CKyList::DebugCheck() {
  AList::DebugCheck();
  if (needsRenumbering || numItems == 0) return;
  for (Long place = 1; place < numItems; ++place) {
    check(identityAt(place - 1) < identityAt(place), "identities ascend");
  }
  check(identityAt(numItems - 1) < nextIdentity, "identities stay below the next one");
}

void CKyList::MoveItemToIndex(Long currentIndex, Long newIndex) {
  needsRenumbering = true;
  AList::MoveItemToIndex(currentIndex, newIndex);
}

void CKyList::Swap(Long index1, Long index2) {
  needsRenumbering = true;
  AList::Swap(index1, index2);
}

int CKyList::compareStably(void* a, void* b) {
  const int order = gSortCompare(a, b);
  if (order != 0) return order;
  const LongPtr first = static_cast<Cell*>(a)->tag, second = static_cast<Cell*>(b)->tag;
  return first < second ? -1 : first > second;
}

void CKyList::Qsort(int (*cmp)(void*, void*)) {
  Renumber();
  needsRenumbering = true;
  const auto before = std::exchange(gSortCompare, cmp);
  always([this] { AList::Qsort(compareStably); }, [&] { gSortCompare = before; });
}

void CKyList::disposeItem(AObject* item) const {
  if (!item) return;
  if (itemsAreObjects) {
    item->Dispose();
  } else if (itemsAreHandles) {
    KyDisposeHandle(handleOf(item));
  }
}

void CKyList::DisposeItems() {
  if (itemsAreObjects) return AList::DisposeItems();
  FirstError errors;
  for (Long place = 0; itemsAreHandles && place < numItems; ++place) {
    AObject* const item = std::exchange(clusterCell(place).object, nullptr);
    errors.take([&] { disposeItem(item); });
  }
  errors.takeLast([this] { RemoveAll(); });
}

void CKyList::Add(AObject* object) { InsertAt(object, kEnd); }

void CKyList::InsertAt(AObject* object, Long index) {
  const bool atEnd = Int64{index} >= Int64{numItems} + indexBase;
  const bool ascends = atEnd && !needsRenumbering && nextIdentity < kPastLast;
  const Cell added{object, ascends ? nextIdentity : 0};
  const Long before = numItems;
  InsertAtIndex(&added, index);
  if (numItems == before) return;
  if (ascends) {
    ++nextIdentity;
  } else {
    needsRenumbering = true;
  }
}

void CKyList::Combine(CKyList* other) {
  if (!other || other == this) return;
  AddList(other);
  other->Dispose();
}

Owned<CKyList> CKyList::emptyCopy() {
  Owned<CKyList> copy(static_cast<CKyList*>(Copy()));
  copy->SetLockChanges(false);
  copy->RemoveAll();
  return copy;
}

CKyList* CKyList::Intersection(CKyList* other) {
  Owned<CKyList> common;
  for (Long place = 0; other && place < other->numItems; ++place) {
    AObject* const item = other->clusterCell(place).object;
    if (!Includes(item)) continue;
    if (!common) common = emptyCopy();
    common->Append(item);
  }
  return common.release();
}

void CKyList::RemoveList(CKyList* other) {
  if (other == this) return RemoveAll();
  for (Long place = 0; other && place < other->numItems; ++place) Remove(other->clusterCell(place).object);
}

void CKyList::AddList(CKyList* other) {
  const Long before = numItems;
  const Long count = other ? other->numItems : 0;
  guardedReraise(
      [&] {
        for (Long place = 0; place < count; ++place) Append(other->clusterCell(place).object);
      },
      [&] { numItems = before; });
}

Boolean CKyList::NeedsCleanup() { return false; }

Long CKyList::firstFrom(Long identity, Long hint) const {
  Long place = std::min(hint, numItems - 1);
  while (place >= 0 && identityAt(place) >= identity) --place;
  return place + 1;
}

Long CKyList::lastUpTo(Long identity, Long hint) const {
  Long place = std::min(hint, numItems - 1);
  while (place >= 0 && identityAt(place) > identity) --place;
  return place;
}

AObject* CKyList::GetFirstItem(Interator_t* it, Boolean (*filter)(void* item)) {
  if (needsRenumbering) Renumber();
  *it = IndexToInterator(indexBase);
  return numItems > 0 ? GetNextItem(it, filter) : nullptr;
}

AObject* CKyList::GetNextItem(Interator_t* it, Boolean (*filter)(void* item)) {
  if (!check(!needsRenumbering, "!needsRenumbering")) return nullptr;
  // An expected identity above the one found means that the walk had reached the end, and the items here came later.
  if (it->place < numItems && it->place >= 0 && identityAt(it->place) < it->identity) return nullptr;

  Long place = firstFrom(it->identity, it->place);
  while (place < numItems) {
    AObject* const item = clusterCell(place).object;
    const Long identity = identityAt(place);
    const bool accepted = !filter || filter(item);
    if (!check(!needsRenumbering, "!needsRenumbering")) return nullptr;
    // The filter, too, may have deleted: what follows is known by its identity.
    place = firstFrom(identity + 1, place + 1);
    *it = {place, place < numItems ? identityAt(place) : kPastLast};
    if (accepted) return item;
  }
  return nullptr;
}

AObject* CKyList::GetLastItem(Interator_t* it, Boolean (*filter)(void* item)) {
  if (needsRenumbering) Renumber();
  *it = IndexToInterator(kEnd);
  return numItems > 0 ? GetPrevItem(it, filter) : nullptr;
}

AObject* CKyList::GetPrevItem(Interator_t* it, Boolean (*filter)(void* item)) {
  if (!check(!needsRenumbering, "!needsRenumbering")) return nullptr;
  Long place = lastUpTo(it->identity, it->place);
  while (place >= 0) {
    AObject* const item = clusterCell(place).object;
    const Long identity = identityAt(place);
    const bool accepted = !filter || filter(item);
    if (!check(!needsRenumbering, "!needsRenumbering")) return nullptr;
    place = lastUpTo(identity - 1, place);
    *it = {place, place >= 0 ? identityAt(place) : kBeforeFirst};
    if (accepted) return item;
  }
  return nullptr;
}

Interator_t CKyList::IndexToInterator(Long index) {
  if (numItems == 0) return {};
  const Long place = static_cast<Long>(std::clamp<Int64>(Int64{index} - indexBase, 0, numItems - 1));
  return {place, identityAt(place)};
}

void CKyList::SetItemsAreObjects(Boolean areObjects) {
  itemsAreObjects = areObjects;
  if (areObjects) itemsAreHandles = false;
}

void CKyList::SetItemsAreHandles(Boolean areHandles) {
  itemsAreHandles = areHandles;
  if (areHandles) itemsAreObjects = false;
}

void CKyList::Renumber() {
  if (!needsRenumbering) return;
  for (Long place = 0; place < numItems; ++place) clusterCell(place).tag = place;
  nextIdentity = numItems;
  needsRenumbering = false;
}

CKyList* CKyList::DeepCopy() {
  Owned<CKyList> copy = emptyCopy();
  guardedReraise([&] { CopyItems(copy.get()); }, [&] { copy->DisposeItems(); });
  return copy.release();
}

AObject* CKyList::copyOf(AObject* item) const {
  if (!item) return nullptr;
  if (itemsAreObjects) return item->Copy();
  return itemsAreHandles ? itemOf(KyCopyHand(handleOf(item))) : item;
}

void CKyList::CopyItems(CKyList* dest) {
  for (Long place = 0; place < numItems; ++place) {
    AObject* const copy = copyOf(clusterCell(place).object);
    guardedReraise(
        [&] {
          if (place < dest->numItems) {
            dest->SetItemAt(copy, place + dest->indexBase);
          } else {
            dest->InsertAt(copy, kEnd);
          }
        },
        [&] { disposeItem(copy); });
  }
}

void CKyList::InsertHandleAt(const void* bytes, Long size, Long index) {
  SetItemsAreHandles(true);
  char** handle = nullptr;
  KyPtrToHandZorvex(bytes, &handle, size);
  OwnedHandle owned(handle);
  const Long before = numItems;
  InsertAt(itemOf(handle), index);
  if (numItems > before) owned.release();
}

void CKyList::SetItemAt(AObject* object, Long index) {
  const Cell replaced{object, 0};
  needsRenumbering = true;
  SetItem(&replaced, index);
}

void CKyList::AppendAsHandle(const void* bytes, Long size) { InsertHandleAt(bytes, size, kEnd); }

void CKyList::PrependAsHandle(const void* bytes, Long size) { InsertHandleAt(bytes, size, indexBase); }

void CKyList::AppendThisHandle(char** handle) {
  SetItemsAreHandles(true);
  InsertAt(itemOf(handle), kEnd);
}

AObject* CKyList::BinarySearch(LongPtr key, Long (*cmp)(LongPtr key, void* item), Long* index) {
  Long low = indexBase, high = indexBase + numItems;
  AObject* found = nullptr;
  while (low < high) {
    const Long middle = low + (high - low) / 2;
    AObject* const item = NthItem(middle);
    const Long order = cmp(key, item);
    if (order == 0) {
      found = item;
      low = middle;
      break;
    }
    if (order < 0) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  if (index) *index = low;
  return found;
}

Long CKyList::SizeWithItems() {
  Int64 total = Size();
  for (Long place = 0; place < numItems; ++place) {
    AObject* const item = clusterCell(place).object;
    if (!item) continue;
    if (itemsAreObjects) {
      total += item->Size();
    } else if (itemsAreHandles) {
      total += KyGetHandleSize(handleOf(item));
    }
  }
  return static_cast<Long>(std::min<Int64>(total, INT32_MAX));
}
