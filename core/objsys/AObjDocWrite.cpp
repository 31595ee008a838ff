// Saving: the two ways to find, measure and write the objects that a root reaches.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <span>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/Printing.h"
#include "core/lists/AArray.h"
#include "core/objsys/AObjDoc.h"
#include "core/objsys/DomainTrace.h"
#include "core/objsys/WalkGuard.h"
#include "core/os/VersionInfo.h"
#include "core/utils/StreamWire.h"
#include "platform/Clock.h"

using namespace ky;

namespace {

constexpr char kVersion = 4;
constexpr Char4 kLittleEndian = MakeChar4("IIII");
constexpr Long kLeastSlots = 200;
constexpr Long kDeepestRecursion = 20000;

ProgressCounter preflightProgress;
ProgressCounter writeProgress;
ProgressCounter assignProgress;
ProgressCounter driveProgress;

/// One object of a document about to be written. Its number is its place in the list.
struct Found {
  APortable* object;
  Long length;
};

/// Grows as a document does, so that the count of moves stays small for millions of objects.
class FoundList : public AArray {
 public:
  static FoundList* New(Long slots) {
    auto* list = new FoundList;
    guardedReraise(
        [&] { list->IArrayWithSlotAndBlock(sizeof(Found), slots, short(std::min(2 * Int64{slots}, Int64{32767}))); },
        [&] { list->Dispose(); });
    return list;
  }
  void MoreSlots() override { Resize(slots + std::max({Long{blockSize}, slots / 4, Long{1}})); }

 private:
  FoundList() = default;
  ~FoundList() override = default;
};

/// Objects lie anywhere in memory; asking for one a few turns ahead hides most of the way to it.
void prefetchObject(std::span<const Found> list, std::ptrdiff_t index) {
  if (index < 0 || std::size_t(index) >= list.size()) return;
  const char* const object = reinterpret_cast<const char*>(list[std::size_t(index)].object);
  __builtin_prefetch(object);
  __builtin_prefetch(object + 64);
}

void requirePortable(APortable* object) { check(object->IsInstanceOf("APortable"), "Garbage pointer"); }

/// Counts the levels of the depth-first walks, which use the stack once for each.
class Level {
 public:
  Level() {
    if (++depth > kDeepestRecursion) {
      --depth;
      +XError("DOMAIN_COPYIN_FAILED", "str reason", "Objects nest too deep for the low-memory write", 0);
    }
  }
  ~Level() { --depth; }

 private:
  static inline Long depth = 0;
};

}  // namespace

void AObjDoc::CopyIn(APortable* root) {
  const WalkGuard walk;
  bool shortOfMemory = false;
  guarded([&] { SpeedyCopyIn(root); },
          [&](XError& caught) {
            shortOfMemory = caught.FindCode("MEM_OUT_OF_MEMORY");
            if (!shortOfMemory) xraisexerror(caught);
          });
  if (shortOfMemory) SpaceyCopyIn(root);
}

template <class Walk>
void AObjDoc::walkForWrite(APortable* root, Walk&& walk) {
  version = kVersion;
  if (tracesDomains()) dprintf("AObjDoc CopyIn started on a %s (%s).\n", classNameOf(root), TimeOfDay().text);
  reraisedAs("DOMAIN_COPYIN_FAILED", [&] {
    guardedReraise(
        [&] {
          APortable::IncrementGlobalVisitID();
          walk();
          stream->SetSeqBuf(0, 0);
        },
        [&] {
          succeeds([&] { stream->SetSeqBuf(0, 0); });
          endWrite();
        });
    endWrite();
  });
  if (tracesDomains()) dprintf("  AObjDoc CopyIn finished (%s)\n", TimeOfDay().text);
}

void AObjDoc::SpeedyCopyIn(APortable* root) {
  walkForWrite(root, [&] {
    preflight(root);
    startContent(WriteCB);
    const auto list = elements<const Found>(preflightList);
    for (std::ptrdiff_t i = numObjects; i-- > 0;) {
      prefetchObject(list, i - 8);
      WriteObject(stream, list[std::size_t(i)].object, list[std::size_t(i)].length);
    }
  });
}

void AObjDoc::preflight(APortable* root) {
  if (tracesDomains()) dprintf("  Preflight.\n");
  preflightList = FoundList::New(Long(std::max(Int64{lastNumObjects} * 125 / 100, Int64{kLeastSlots})));
  countStream = AStream::New();
  countStream->SetPtrFuncW(PrefltCB, this);
  countStream->SetClassFuncW(WriteClassCB, this);
  countStream->WriteObjPtr(nullptr, root);
  countStream->SetPosition(0);
  countStream->SetUseTags(1);

  // Each Put names the objects it points at, so the list grows ahead of the loop, breadth-first from the root.
  for (numObjects = 0; numObjects < preflightList->GetNumItems();) {
    ++numObjects;
    prefetchObject(elements<const Found>(preflightList), numObjects + 3);
    const Long length = PrefltObject(countStream, elements<Found>(preflightList)[std::size_t(numObjects - 1)].object);
    elements<Found>(preflightList)[std::size_t(numObjects - 1)].length = length;
  }
  std::exchange(countStream, nullptr)->Dispose();
  lastNumObjects = numObjects;
}

void AObjDoc::PrefltCB(void* domain, AStream* stream, const char* label, APortable* object) {
  stream->WriteLong(label, 0);
  if (!object || object->WasVisited()) return;
  object->MarkVisited();
  AArray* const list = static_cast<AObjDoc*>(domain)->preflightList;
  object->SetDomainData(list->GetNumItems() + 1);
  appendElement(list, Found{object, 0});
}

Long AObjDoc::PrefltObject(AStream* theStream, APortable* object) {
  preflightProgress.tick("Recursing on %ld objects...", numObjects, preflightList ? preflightList->GetNumItems() : 0);
  theStream->WriteChar4("ClassID", 0);
  theStream->WriteLong("Length", 0);
  const Long start = theStream->GetPosition();
  object->PutObjectToStream(theStream, ioDesc);
  return theStream->GetPosition() - start;
}

void AObjDoc::WriteObject(AStream* strm, APortable* object, Long length) {
  writeProgress.tick("Writing %ld objects...", numObjects - object->GetDomainData() + 1, numObjects);
  strm->WriteChar4("ClassID", Char4(GetWriteClassID(object)));
  strm->WriteLong("Length", length);
  const Long start = strm->GetPosition();
  object->PutObjectToStream(strm, ioDesc);
  check(length == strm->GetPosition() - start, "len == strm->GetPosition() - pos");
}

/// Found first is numbered last: the root, number 1 of the walk, is the last record.
void AObjDoc::WriteCB(void* domain, AStream* stream, const char* label, APortable* object) {
  const auto* const doc = static_cast<AObjDoc*>(domain);
  stream->WriteULong(label, object ? ULong(doc->numObjects - object->GetDomainData() + 1) : 0);
}

void AObjDoc::startContent(AStream::PtrWriteFunc writePtr) {
  stream->SetSeqBuf(0x40000, 0x80000);
  stream->SetPtrFuncW(writePtr, this);
  stream->SetClassFuncW(WriteClassCB, this);
  stream->SetUseTags(1);
  // A write that failed inside an object's tagged section, whose place this one takes, has left it open.
  StreamWire::setTagged(*stream, false);
  setDataTrace(stream);
  stream->SetPosition(GetContentStartPos());
  writeHeader();
  if (tracesDomains()) dprintf("  Writing %ld objects (%s).\n", long(numObjects), TimeOfDay().text);
}

void AObjDoc::writeHeader() {
  char timestamp[20];
  const std::tm now = platform::localTime(platform::wallSeconds());
  std::strftime(timestamp, sizeof timestamp, "%Y/%m/%d %H:%M:%S", &now);

  stream->WriteChar("DomainVersion", version);
  stream->WriteString("Timestamp", timestamp);
  stream->WriteLong("NumObjects", numObjects);
  stream->WriteLong("RootObject", numObjects);
  stream->WriteChar4("byteOrder", byteOrder);
  stream->SetSwapBytes(byteOrder != kLittleEndian);
  stream->WriteULong("uid.high", uid.high);
  stream->WriteULong("uid.low", uid.low);
  stream->WriteChar4("FileType", fileType);
  stream->WriteChar4("FileCreator", fileCreator);
  writeCreatorVersion();
  stream->WriteULong("spare09", 0);
  stream->WriteULong("spare10", 0);
  stream->WriteULong("spare11", 0);
  stream->WriteULong("spare12", 0);
}

/// Stands where older readers see the spare fields 1 to 8, so that its length is fixed.
void AObjDoc::writeCreatorVersion() {
  constexpr std::size_t versionStringLen = 30;
  char versionBuf[256] = {};
  GetVersionInfo(nullptr, nullptr, versionBuf, 3);
  check(std::strlen(versionBuf) <= versionStringLen, "strlen(versionBuf) <= versionStringLen");
  char padded[versionStringLen + 1];
  std::snprintf(padded, sizeof padded, "%-*.*s", int(versionStringLen), int(versionStringLen), versionBuf);
  check(std::strlen(padded) == versionStringLen, "strlen(versionBuf) == versionStringLen");
  stream->WriteString("CreatorVersion", padded);
}

void AObjDoc::SpaceyCopyIn(APortable* root) {
  AStream* driver = nullptr;
  const auto makeCounting = [this](AStream::PtrWriteFunc writePtr) {
    AStream* const counting = AStream::New();
    counting->SetUseTags(1);
    counting->SetPtrFuncW(writePtr, this);
    counting->SetClassFuncW(WriteClassCB, this);
    return counting;
  };
  const auto walk = [&] {
    if (tracesDomains()) dprintf("  Assigning IDs.\n");
    numObjects = 0;
    driver = makeCounting(AltIDAssignCB);
    driver->WriteObjPtr(nullptr, root);
    lastNumObjects = numObjects;

    countStream = makeCounting(AltCountingCB);
    startContent(AltWriteCB);
    APortable::IncrementGlobalVisitID();
    driver->SetPosition(0);
    driver->SetPtrFuncW(AltCtlCB, this);
    driver->WriteObjPtr(nullptr, root);
  };
  const auto endDriver = [&] {
    if (driver) std::exchange(driver, nullptr)->Dispose();
  };
  walkForWrite(root, [&] { always(walk, endDriver); });
}

/// Numbers each object behind all those that it reaches, so that the root comes last here too.
void AObjDoc::AltIDAssignCB(void* domain, AStream* stream, const char*, APortable* object) {
  if (!object) return;
  requirePortable(object);
  if (object->WasVisited()) return;
  const Level level;
  auto* const doc = static_cast<AObjDoc*>(domain);
  assignProgress.tick("Recursing on %ld objects...", doc->numObjects, doc->numObjects);
  object->MarkVisited();
  object->PutObjectToStream(stream, doc->ioDesc);
  object->SetDomainData(++doc->numObjects);
}

void AObjDoc::AltCountingCB(void*, AStream* stream, const char* label, APortable*) { stream->WriteULong(label, 0); }

void AObjDoc::AltWriteCB(void*, AStream* stream, const char* label, APortable* object) {
  stream->WriteULong(label, object ? ULong(object->GetDomainData()) : 0);
}

/// Drives the write: the targets of an object go out ahead of it.
void AObjDoc::AltCtlCB(void* domain, AStream* driver, const char*, APortable* object) {
  if (!object || object->WasVisited()) return;
  const Level level;
  auto* const doc = static_cast<AObjDoc*>(domain);
  driveProgress.tick("Writing %ld objects...", object->GetDomainData(), doc->numObjects);
  object->MarkVisited();
  object->PutObjectToStream(driver, doc->ioDesc);
  doc->writeMeasured(object);
}

void AObjDoc::writeMeasured(APortable* object) {
  countStream->SetPosition(0);
  countStream->WriteChar4("ClassID", 0);
  countStream->WriteLong("Length", 0);
  const Long counted = countStream->GetPosition();
  object->PutObjectToStream(countStream, ioDesc);
  const Long myCount = countStream->GetPosition() - counted;

  const Long classID = GetWriteClassID(object);
  check(classID != 0, "Can't put unregistered class!");
  stream->WriteChar4("ClassID", Char4(classID));
  stream->WriteLong("Length", myCount);
  const Long start = stream->GetPosition();
  object->PutObjectToStream(stream, ioDesc);
  const Long myFileCount = stream->GetPosition() - start;
  check(myFileCount == myCount, "myFileCount == myCount");
}
