#include "core/objsys/PClass.h"

#include <cstring>

#include "core/error/DumpTable.h"
#include "core/error/Printing.h"
#include "core/error/Subsystems.h"
#include "core/error/XError.h"
#include "core/lists/AHashTable.h"
#include "core/mem/Owned.h"
#include "core/objsys/AUnknown.h"
#include "core/objsys/ClassRuns.h"

using namespace ky;

AUnknownArray* gUnknownArray = nullptr;

ClassRun ky::classRun;

namespace {

struct Entry {
  Long classID;
  Long realClassID;
  APortable* (*factory)();
  const char* name;
  bool makesOrdinary = false;  // objects, and no AUnknown; shows by the first that a document asks for
};
using EntryHandle = Entry**;

constexpr Long kUnknownID = Long(AUnknown::portableID);

AHashTable* table = nullptr;
int subsystem = 0;
Long unknownsEncountered = 0;
void (*unknownsCB)(Long classID) = nullptr;

struct Letters {
  explicit Letters(Long code) {
    for (int i = 0; i < 4; ++i) text[i] = char(Char4(code) >> (24 - 8 * i));
  }
  char text[5] = {};
};

Boolean isEntryOf(void* const key, const void* item) {
  return (**static_cast<const EntryHandle*>(item))->classID == Long(reinterpret_cast<LongPtr>(key));
}

EntryHandle findEntry(Long classID) {
  EntryHandle found = nullptr;
  return table && table->LocateItem(asKey(classID), &found, nullptr) ? found : nullptr;
}

/// Returns:  the entry that makes objects of that class, or null.
Entry* findMaker(Long classID) {
  const EntryHandle entry = classID == kUnknownID ? nullptr : findEntry(classID);
  return entry && (*entry)->factory ? *entry : nullptr;
}

bool isUnknown(APortable* object) {
  return object && Long(object->GetClassID()) == kUnknownID && object->IsInstanceOf("AUnknown");
}

APortable* make(const Entry& entry, Long size) {
  APortable* const object = entry.factory();
  if (isUnknown(object)) static_cast<AUnknown*>(object)->SetBagSize(size);
  return object;
}

APortable* makeUnknown(Long classID, Long size) {
  if (classID == kUnknownID) +XError("PCREG_UNKNOWN_ENCOUNTERED", 0);
  ++unknownsEncountered;
  if (dbgTestFlag(subsystem, kDbgPrint)) {
    const Letters letters(classID);
    dprintf("Attempted to create unknown class '%c%c%c%c', substituting AUnknown.\n", letters.text[0], letters.text[1],
            letters.text[2], letters.text[3]);
  }
  if (unknownsCB) unknownsCB(classID);
  return AUnknown::New(classID, size);
}

EntryHandle knownEntry(Long classID) {
  const EntryHandle entry = findEntry(classID);
  if (!entry) +XError("PCREG_UNKNOWN_CLASSID", "long classID", classID, 0);
  return entry;
}

void fileEntry(const Entry& entry) {
  OwnedHandle handle = OwnedHandle::ofSize(sizeof(Entry));
  *handle.as<Entry>() = entry;
  char** const item = handle.get();
  table->AddItem(asKey(entry.classID), &item, nullptr);
  handle.release();
}

template <class Visit>
void eachEntry(Visit visit) {
  if (!table) return;
  HTLoopState state;
  table->LoopInit(&state);
  for (EntryHandle entry; table->LoopNextItem(&state, &entry, nullptr);)
    if (visit(**entry)) return;
}

void dumpEntry(KyPrint print, const Entry& entry) {
  const Letters letters(entry.classID);
  if (!entry.factory) {
    print("  %20s %4s   ???     ???   ???    ?????\n", entry.name, letters.text);
    return;
  }
  const Owned<APortable> instance(entry.factory());
  if (!instance) return;
  print("  %20s %4s   %3d     %3d   %3d    %s\n", entry.name, letters.text, instance->GetVersionWritten(),
        instance->GetMinVersionRead(), instance->GetMaxVersionRead(), instance->GetExtensionDescription());
}

void dumpRegistry(KyPrint print) {
  const Long classes = table ? table->GetNumItems() : 0;
  print("Table size:             %ld bytes\n", table ? long(table->Size()) : 0L);
  print("Registered classes:     %ld\n", long(classes));
  print("Unknowns encountered:   %ld\n", long(unknownsEncountered));
  if (!table) return;
  print("      Class-Name       PCID  Version Version-Read  Minor-version-extensions &\n");
  print("                             Written   Min   Max   Attributes supported      \n");
  print("  ---------------------------------------------------------------------------\n");
  eachEntry([&](const Entry& entry) {
    dumpEntry(print, entry);
    return false;
  });
}

void makeTable() {
  constexpr Long kBuckets = 0x3FF;
  table = AHashTable::New(kBuckets, kBuckets, sizeof(EntryHandle), nullptr, isEntryOf, HTNoDuplicates);
  subsystem = dbgRegSubSystem("PClass");
  DmpInstall(dumpRegistry, "PClass Registry", 0);
}

}  // namespace

void PClassAdd(Long pcid, const char* className, APortable* (*factory)()) {
  if (!table) makeTable();
  if (findEntry(pcid)) +XError("PCREG_DUPLICATE_CLASSID", "str classStr", Letters(pcid).text, "long classID", pcid, 0);
  fileEntry({pcid, pcid, factory, className});
}

void PClassAddAlias(Long aliasID, Long classID) {
  Entry alias = **knownEntry(classID);
  if (findEntry(aliasID)) +XError("PCREG_DUPLICATE_CLASSID", "long classID", aliasID, 0);
  alias.classID = aliasID;
  fileEntry(alias);
}

const char* FindClassName(Long classID) { return (*knownEntry(classID))->name; }

Long FindPCID(const char* name) {
  Long found = 0;
  eachEntry([&](const Entry& entry) {
    if (entry.classID != entry.realClassID || std::strcmp(entry.name, name) != 0) return false;
    found = entry.classID;
    return true;
  });
  return found;
}

Long GetWriteClassID(APortable* object) {
  return isUnknown(object) ? static_cast<AUnknown*>(object)->GetOrigClassID() : Long(object->GetClassID());
}

APortable* NewByClassID(Long classID, Long size) {
  const Entry* const entry = findMaker(classID);
  return entry ? make(*entry, size) : makeUnknown(classID, size);
}

APortable* ky::newOfOtherClass(Long classID, Long size) {
  Entry* const entry = findMaker(classID);
  if (!entry) return makeUnknown(classID, size);
  if (!entry->makesOrdinary) {
    APortable* const object = make(*entry, size);
    entry->makesOrdinary = object && !isUnknown(object);
    return object;
  }
  classRun = {classID, entry->factory};
  return entry->factory();
}

void SetHandleUnknownsCB(void (*handleUnknown)(Long classID)) { unknownsCB = handleUnknown; }
