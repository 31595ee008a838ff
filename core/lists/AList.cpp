#include "core/lists/AList.h"

#include <algorithm>
#include <cstdint>

#include "core/mem/Owned.h"

using namespace ky;

AList* AList::New() {
  Owned<AList> list(new AList);
  list->IList();
  return list.release();
}

void AList::IList() { ICluster(); }

void AList::Append(AObject* object) { Add(object); }

void AList::Prepend(AObject* object) { InsertAt(object, indexBase); }

void AList::InsertAfter(AObject* object, AObject* ref) {
  // An absent reference counts as the first object.
  InsertAt(object, std::max(Offset(ref), 0) + 1 + indexBase);
}

void AList::InsertAt(AObject* object, Long index) {
  const Cell added{object, 0};
  InsertAtIndex(&added, index);
}

void AList::BringFront(AObject* object) { MoveToIndex(object, indexBase); }

void AList::SendBack(AObject* object) { MoveToIndex(object, indexBase + numItems - 1); }

void AList::MoveUp(AObject* object) {
  const Long offset = Offset(object);
  if (offset > 0) MoveItemToIndex(offset + indexBase, offset - 1 + indexBase);
}

void AList::MoveDown(AObject* object) {
  const Long offset = Offset(object);
  if (offset >= 0 && offset < numItems - 1) MoveItemToIndex(offset + indexBase, offset + 1 + indexBase);
}

void AList::MoveToIndex(AObject* object, Long index) {
  const Long offset = Offset(object);
  if (offset >= 0) MoveItemToIndex(offset + indexBase, index);
}

AObject* AList::FirstItem() { return NthItem(indexBase); }

AObject* AList::LastItem() { return NthItem(indexBase + numItems - 1); }

AObject* AList::NthItem(Long index) { return inRange(index) ? clusterCell(index - indexBase).object : nullptr; }

Long AList::FindIndex(AObject* object) { return Offset(object) + indexBase; }

AObject* AList::FirstSuccess(Boolean (*fn)(void* object)) { return FindItemCommon(fn, nullptr, 0); }

AObject* AList::FirstSuccess1(Boolean (*fn)(void* object, LongPtr argument), LongPtr argument) {
  return FindItemCommon(nullptr, fn, argument);
}

AObject* AList::LastSuccess(Boolean (*fn)(void* object)) { return findLocked(true, fn, nullptr, 0); }

AObject* AList::LastSuccess1(Boolean (*fn)(void* object, LongPtr argument), LongPtr argument) {
  return findLocked(true, nullptr, fn, argument);
}
