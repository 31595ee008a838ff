#include "core/debug/ClassProfiler.h"

#include "core/error/Guarded.h"
#include "core/error/Printing.h"
#include "core/lists/CStringDict.h"
#include "core/math/CUtils.h"
#include "core/mem/Owned.h"

using namespace ky;

namespace {

struct ClassRecord {
  Long created = 0;
  Long disposed = 0;
  Long size = 0;

  Long live() const { return created - disposed; }
  Long bytes() const { return live() * size; }
};

CStringDict* classes = nullptr;
bool making = false;
bool running = false;

ClassRecord& recordOf(AObject* value) { return **reinterpret_cast<ClassRecord**>(value); }

AObject* newRecord(const char* name, AObject* object) {
  OwnedHandle handle(KyNewHandleClear(sizeof(ClassRecord)));
  handle.as<ClassRecord>()->size = object->AObject::Size();
  classes->AddHandle(name, 0, handle.get());
  return reinterpret_cast<AObject*>(handle.release());
}

void log(AObject* object, Long ClassRecord::*count) {
  if (!classes) InitClassProfiler();
  if (!classes || !running || !object) return;
  char name[256];
  strncpyz(name, object->ClassName(), sizeof name);
  AObject* record = classes->Lookup(name);
  if (!record) record = newRecord(name, object);
  ++(recordOf(record).*count);
}

/// The walk in progress: a callback of the dictionary gets no context.
struct Listing {
  short rowsLeft = 0;
  Long objects = 0;
  Long bytes = 0;
} listing;

void printRow(const void* name, AObject* value) {
  if (listing.rowsLeft <= 0) return;
  --listing.rowsLeft;
  const ClassRecord& record = recordOf(value);
  if (record.created == 0 && record.disposed == 0) return;
  listing.objects += record.live();
  listing.bytes += record.bytes();
  dprintf("%-24.24s (%4ld)   %8ld (%8ld/%8ld)     %10ld (%ld)\n", static_cast<const char*>(name), long{record.size},
          long{record.live()}, long{record.created}, long{record.disposed}, long{record.bytes()}, long{listing.bytes});
}

template <Long (ClassRecord::*figure)() const>
int mostFirst(void* a, void* b) {
  const Long first = (recordOf(static_cast<dictSortItem_t*>(a)->value).*figure)();
  const Long second = (recordOf(static_cast<dictSortItem_t*>(b)->value).*figure)();
  return first > second ? -1 : first < second;
}

void print(short count, int (*order)(void*, void*)) {
  listing = {};
  listing.rowsLeft = count;
  classes->DoForEachSortedCustom(printRow, order);
}

}  // namespace

void InitClassProfiler() {
  // The dictionary is an object itself: a hook that is told of it must not make another.
  if (classes || making) return;
  making = true;
  always(
      [] {
        Owned<CStringDict> made(new CStringDict);
        made->IStringDict(true, nullptr);
        classes = made.release();
      },
      [] { making = false; });
}

void LogObjCreated(AObject* object) { log(object, &ClassRecord::created); }

void LogObjDisposed(AObject* object) { log(object, &ClassRecord::disposed); }

void StartClassProfiler() { running = true; }

void StopClassProfiler() { running = false; }

void ResetClassProfiler() {
  if (!classes) return;
  classes->DoForEach([](const void*, AObject* value) {
    recordOf(value).created = 0;
    recordOf(value).disposed = 0;
  });
}

void PrintClassProfile(short count, short mode) {
  if (!classes) {
    dprintf("Class Dictionary empty\n");
    return;
  }
  if (mode == 1) {
    dprintf("\nSorted By Number\n\n");
    dprintf("%-24.24s  %s               %s                    %s\n", "Class", "Size", "Objects", "Bytes");
    print(count, mostFirst<&ClassRecord::live>);
  } else if (mode == 2) {
    dprintf("\nSorted By Bytes\n\n");
    dprintf("%-24.24s         %s                     %s\n", "Class", "Objects", "Bytes");
    print(count, mostFirst<&ClassRecord::bytes>);
  }
}
