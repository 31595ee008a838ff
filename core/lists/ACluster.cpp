#include "core/lists/ACluster.h"

#include <cstdint>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/lists/FirstError.h"
#include "core/mem/Owned.h"

using namespace ky;

ACluster* ACluster::New() {
  Owned<ACluster> cluster(new ACluster);
  cluster->ICluster();
  return cluster.release();
}

void ACluster::ICluster() {
  IArray(sizeof(Cell));
  hWalked = hItems;
}

AObject* ACluster::Copy() {
  auto* copy = static_cast<ACluster*>(AArray::Copy());
  copy->hWalked = copy->hItems;
  return copy;
}

void ACluster::DebugCheck() {
  AArray::DebugCheck();
  check(hWalked == hItems, "hWalked == hItems");
}

void ACluster::GetItem(void* out, Long index) { GetPtrItem(out, index); }

void ACluster::Resize(Long count) {
  AArray::Resize(count);
  hWalked = hItems;
}

void ACluster::DisposeAll() {
  FirstError errors;
  errors.take([this] { DisposeItems(); });
  errors.takeLast([this] { Dispose(); });
}

void ACluster::DisposeItems() {
  FirstError errors;
  for (Long place = 0; place < numItems; ++place) {
    AObject* const object = std::exchange(clusterCell(place).object, nullptr);
    if (object) errors.take([object] { object->Dispose(); });
  }
  errors.takeLast([this] { RemoveAll(); });
}

void ACluster::Add(AObject* object) {
  const Cell added{object, 0};
  InsertAtIndex(&added, INT32_MAX);
}

void ACluster::Remove(AObject* object) {
  const Long offset = Offset(object);
  if (offset >= 0) DeleteItem(offset + indexBase);
}

Boolean ACluster::Includes(AObject* object) { return Offset(object) >= 0; }

void ACluster::DoForEach(void (*fn)(void* object)) { DoForEachCommon(fn, nullptr, 0); }

void ACluster::DoForEach1(void (*fn)(void* object, LongPtr argument), LongPtr argument) {
  DoForEachCommon(nullptr, fn, argument);
}

AObject* ACluster::FindItem(Boolean (*fn)(void* object)) { return FindItemCommon(fn, nullptr, 0); }

AObject* ACluster::FindItem1(Boolean (*fn)(void* object, LongPtr argument), LongPtr argument) {
  return FindItemCommon(nullptr, fn, argument);
}

Long ACluster::Offset(AObject* object) {
  Long place = 0;
  for (const Cell& each : elements<Cell>(this)) {
    if (each.object == object) return place;
    ++place;
  }
  return INT32_MIN;
}

template <class Visit>
AObject* ACluster::walkLocked(bool backwards, Visit visit) {
  AObject* accepted = nullptr;
  const Boolean before = SetLockChanges(true);
  always(
      [&] {
        const Long step = backwards ? -1 : 1;
        for (Long place = backwards ? numItems - 1 : 0; place >= 0 && place < numItems; place += step) {
          AObject* const object = clusterCell(place).object;
          if (!visit(object)) continue;
          accepted = object;
          return;
        }
      },
      [&] { SetLockChanges(before); });
  return accepted;
}

void ACluster::DoForEachCommon(void (*fn)(void*), void (*fn1)(void*, LongPtr), LongPtr argument) {
  walkLocked(false, [&](AObject* object) {
    if (fn) {
      fn(object);
    } else if (fn1) {
      fn1(object, argument);
    }
    return false;
  });
}

AObject* ACluster::findLocked(bool backwards, Boolean (*fn)(void*), Boolean (*fn1)(void*, LongPtr), LongPtr argument) {
  return walkLocked(backwards, [&](AObject* object) {
    if (fn) return fn(object) != 0;
    return fn1 && fn1(object, argument) != 0;
  });
}

AObject* ACluster::FindItemCommon(Boolean (*fn)(void*), Boolean (*fn1)(void*, LongPtr), LongPtr argument) {
  return findLocked(false, fn, fn1, argument);
}
