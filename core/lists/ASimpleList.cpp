#include "core/lists/ASimpleList.h"

#include <algorithm>
#include <cstring>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/Owned.h"

using namespace ky;

namespace {

constexpr int kItemAt = 4;

OwnedHandle newEntries(int entries, int itemSize) {
  const Int64 bytes = Int64{entries} * (Int64{itemSize} + kItemAt);
  if (bytes != static_cast<Long>(bytes)) +XError("MEM_OUT_OF_MEMORY", 0);
  return OwnedHandle(KyNewHandleClear(static_cast<Long>(bytes)));
}

bool checkSizes(int entries, int itemSize) {
  return check(entries >= 0, "entries >= 0") && check(itemSize >= 0, "itemSize >= 0");
}

}  // namespace

ASimpleList* ASimpleList::New(int entries, int itemSize) {
  Owned<ASimpleList> list(new ASimpleList);
  list->Reconstruct(entries, itemSize);
  return list->hEntries ? list.release() : nullptr;
}

ASimpleList::~ASimpleList() { const OwnedHandle ended(hEntries); }

AObject* ASimpleList::Copy() {
  Owned<ASimpleList> copy(static_cast<ASimpleList*>(AObject::Copy()));
  copy->hEntries = nullptr;
  copy->hEntries = KyCopyHand(hEntries);
  return copy.release();
}

char* ASimpleList::entryAt(int entry) const { return *hEntries + Int64{entry} * (itemSize + kItemAt); }

int ASimpleList::GetEntrySize() { return itemSize + kItemAt; }

int ASimpleList::GetItemSize() { return itemSize; }

int ASimpleList::NumEntries() { return numEntries; }

int ASimpleList::NumSet() {
  int count = 0;
  for (int entry = 0; entry < numEntries; ++entry) count += *entryAt(entry) != 0;
  return count;
}

void ASimpleList::Resize(int entries) {
  if (!checkSizes(entries, itemSize)) return;
  OwnedHandle resized = newEntries(entries, itemSize);
  const int kept = std::min(entries, numEntries);
  std::memcpy(resized.data(), *hEntries, static_cast<std::size_t>(entryAt(kept) - *hEntries));
  const OwnedHandle old(hEntries);
  hEntries = resized.release();
  numEntries = entries;
}

void ASimpleList::Reconstruct(int entries, int newItemSize) {
  if (!checkSizes(entries, newItemSize)) return;
  OwnedHandle fresh = newEntries(entries, newItemSize);
  const OwnedHandle old(hEntries);
  hEntries = fresh.release();
  itemSize = newItemSize;
  numEntries = entries;
}

void ASimpleList::ClearEntry(int entry) {
  if (isEntry(entry)) *entryAt(entry) = false;
}

Boolean ASimpleList::IsClear(int entry) { return isEntry(entry) && !*entryAt(entry); }

Boolean ASimpleList::IsSet(int entry) { return isEntry(entry) && *entryAt(entry); }

void ASimpleList::ClearAllEntries() {
  for (int entry = 0; entry < numEntries; ++entry) *entryAt(entry) = false;
}

void ASimpleList::SetEntry(int entry, const void* item) {
  if (!isEntry(entry)) +XError("CM_INVALID_ENTRY_NBR", "int entry", entry, 0);
  std::memcpy(entryAt(entry) + kItemAt, item, static_cast<std::size_t>(itemSize));
  *entryAt(entry) = true;
}

void ASimpleList::GetEntry(int entry, void* item) {
  if (!IsSet(entry)) +XError("CM_ENTRY_CLEAR", "int entry", entry, 0);
  std::memcpy(item, entryAt(entry) + kItemAt, static_cast<std::size_t>(itemSize));
}
