// Saving: the two ways to find, measure and write the objects that a root reaches.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/Printing.h"
#include "core/lists/AArray.h"
#include "core/objsys/AIODesc.h"
#include "core/objsys/AObjDoc.h"
#include "core/objsys/AUnknown.h"
#include "core/objsys/DomainTrace.h"
#include "core/objsys/WalkGuard.h"
#include "core/os/VersionInfo.h"
#include "core/utils/StreamWire.h"
#include "platform/Clock.h"
#include "platform/Threads.h"

using namespace ky;

namespace {

constexpr char kVersion = 4;
constexpr Char4 kLittleEndian = MakeChar4("IIII");
constexpr Long kLeastSlots = 200;
constexpr Long kDeepestRecursion = 20000;
constexpr std::size_t kStackSpared = 0x10000;  // for what a Put calls, and for the way back of an error

ProgressCounter preflightProgress;
ProgressCounter writeProgress;
ProgressCounter assignProgress;
ProgressCounter driveProgress;

/// One object of a document about to be written. Its number is its place in the list.
struct Found {
  APortable* object;
  Long length;
};

/// Objects lie anywhere in memory; asking for one some turns ahead hides most of the way to it.
void prefetch(const APortable* object) {
  const char* const at = reinterpret_cast<const char*>(object);
  __builtin_prefetch(at);
  __builtin_prefetch(at + 64);
}

/// The objects found, each once. A pointer met waits its turn while its object is on the way from memory; whether the
/// object is new is settled in the order of meeting.
///
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

  void meet(APortable* object) {
    prefetch(object);
    if (last - first == kWaiting) [[unlikely]]
      settleHalf();
    waiting[last++ % kWaiting] = object;
  }
  /// Returns:  whether there is an object of that number.
  bool reaches(Long number) {
    while (numItems < number && first != last) settleOne();
    return numItems >= number;
  }
  Found* found() const { return reinterpret_cast<Found*>(*hItems); }

 private:
  static constexpr ULong kWaiting = 16;

  FoundList() = default;
  ~FoundList() override = default;

  [[gnu::noinline]] void settleHalf() {
    for (ULong i = 0; i < kWaiting / 2; ++i) settleOne();
  }

  void settleOne() {
    APortable& object = *waiting[first++ % kWaiting];
    if (WalkMarks::wasVisited(object)) return;
    WalkMarks::markVisited(object);
    if (numItems == slots) [[unlikely]]
      MoreSlots();
    found()[numItems++] = {&object, 0};
    WalkMarks::setNumber(object, numItems);
  }

  APortable* waiting[kWaiting] = {};
  ULong first = 0;  // of those waiting
  ULong last = 0;   // behind them
};

FoundList& found(AArray* list) { return *static_cast<FoundList*>(list); }

Long writtenClassID(APortable* object) {
  const auto classID = Long(object->GetClassID());
  return classID == Long(AUnknown::portableID) ? GetWriteClassID(object) : classID;
}

void requirePortable(APortable* object) { check(object->IsInstanceOf("APortable"), "Garbage pointer"); }

/// Counts the levels of the depth-first walks, which use the stack once for each.
class Level {
 public:
  Level() {
    if (++depth > kDeepestRecursion || platform::stackLeft() < kStackSpared) {
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
  const KindHeld kind(ioDesc);
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
    writeObjects();
  });
}

[[gnu::flatten]] void AObjDoc::writeObjects() {
  constexpr Long kAhead = 8;
  const Found* const list = found(preflightList).found();
  const bool asHere = isOwnKind();
  for (Long i = numObjects; i-- > 0;) {
    const auto [object, length] = list[i];
    if (i >= kAhead) prefetch(list[i - kAhead].object);
    asHere ? AObjDoc::WriteObject(stream, object, length) : WriteObject(stream, object, length);
  }
}

void AObjDoc::preflight(APortable* root) {
  if (tracesDomains()) dprintf("  Preflight.\n");
  preflightList = FoundList::New(Long(std::max(Int64{lastNumObjects} * 125 / 100, Int64{kLeastSlots})));
  countStream = AStream::New();
  countStream->SetPtrFuncW(PrefltCB, this);
  countStream->SetClassFuncW(writeVersionByte, this);
  countStream->WriteObjPtr(nullptr, root);
  countStream->SetPosition(0);
  countStream->SetUseTags(1);

  measureObjects();
  std::exchange(countStream, nullptr)->Dispose();
  lastNumObjects = numObjects;
}

/// Each Put names the objects it points at, so the list grows ahead of the loop, breadth-first from the root.
[[gnu::flatten]] void AObjDoc::measureObjects() {
  FoundList& list = found(preflightList);
  const bool asHere = isOwnKind();
  for (numObjects = 0; list.reaches(numObjects + 1);) {
    const Long at = numObjects++;
    APortable* const object = list.found()[at].object;
    const Long length = asHere ? AObjDoc::PrefltObject(countStream, object) : PrefltObject(countStream, object);
    list.found()[at].length = length;
  }
}

void AObjDoc::PrefltCB(void* domain, AStream* stream, const char* label, APortable* object) {
  auto* const doc = static_cast<AObjDoc*>(domain);
  if (stream != doc->countStream || !StreamWire::steppedOverValue(*stream, sizeof(Long))) [[unlikely]]
    stream->WriteLong(label, 0);
  if (object) found(doc->preflightList).meet(object);
}

Long AObjDoc::PrefltObject(AStream* theStream, APortable* object) {
  preflightProgress.tick("Recursing on %ld objects...", numObjects, numObjects);
  const StreamWire::Distance body(*theStream);
  object->PutObjectToStream(theStream, ioDesc);
  return Long(body.gone());
}

void AObjDoc::WriteObject(AStream* strm, APortable* object, Long length) {
  writeProgress.tick("Writing %ld objects...", numObjects - WalkMarks::number(*object) + 1, numObjects);
  StreamWire::putRecordHead(*strm, Char4(writtenClassID(object)), length);
  const StreamWire::Distance body(*strm);
  object->PutObjectToStream(strm, ioDesc);
  check(length == body.gone(), "len == strm->GetPosition() - pos");
}

/// Found first is numbered last: the root, number 1 of the walk, is the last record.
void AObjDoc::WriteCB(void* domain, AStream* stream, const char* label, APortable* object) {
  const auto* const doc = static_cast<AObjDoc*>(domain);
  StreamWire::putNumber(*stream, label, object ? ULong(doc->numObjects - WalkMarks::number(*object) + 1) : 0);
}

void AObjDoc::startContent(AStream::PtrWriteFunc writePtr) {
  stream->SetSeqBuf(0x40000, 0x80000);
  stream->SetPtrFuncW(writePtr, this);
  stream->SetClassFuncW(writeVersionByte, this);
  stream->SetUseTags(1);
  // A write that failed inside an object's tagged section, whose place this one takes, has left it open.
  StreamWire::setTagged(*stream, false);
  setDataTrace(stream);
  goToContent();
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
    counting->SetClassFuncW(writeVersionByte, this);
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
  if (WalkMarks::wasVisited(*object)) return;
  const Level level;
  auto* const doc = static_cast<AObjDoc*>(domain);
  assignProgress.tick("Recursing on %ld objects...", doc->numObjects, doc->numObjects);
  WalkMarks::markVisited(*object);
  object->PutObjectToStream(stream, doc->ioDesc);
  WalkMarks::setNumber(*object, ++doc->numObjects);
}

void AObjDoc::AltCountingCB(void*, AStream* stream, const char* label, APortable*) { stream->WriteULong(label, 0); }

void AObjDoc::AltWriteCB(void*, AStream* stream, const char* label, APortable* object) {
  stream->WriteULong(label, object ? ULong(WalkMarks::number(*object)) : 0);
}

/// Drives the write: the targets of an object go out ahead of it.
void AObjDoc::AltCtlCB(void* domain, AStream* driver, const char*, APortable* object) {
  if (!object || WalkMarks::wasVisited(*object)) return;
  const Level level;
  auto* const doc = static_cast<AObjDoc*>(domain);
  driveProgress.tick("Writing %ld objects...", WalkMarks::number(*object), doc->numObjects);
  WalkMarks::markVisited(*object);
  object->PutObjectToStream(driver, doc->ioDesc);
  doc->writeMeasured(object);
}

void AObjDoc::writeMeasured(APortable* object) {
  countStream->SetPosition(0);
  StreamWire::putRecordHead(*countStream, 0, 0);
  const StreamWire::Distance counted(*countStream);
  object->PutObjectToStream(countStream, ioDesc);
  const auto myCount = Long(counted.gone());

  const Long classID = GetWriteClassID(object);
  check(classID != 0, "Can't put unregistered class!");
  StreamWire::putRecordHead(*stream, Char4(classID), myCount);
  const StreamWire::Distance body(*stream);
  object->PutObjectToStream(stream, ioDesc);
  const auto myFileCount = Long(body.gone());
  check(myFileCount == myCount, "myFileCount == myCount");
}
