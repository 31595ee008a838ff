// Loading: all objects are made in one pass and filled in the next, so that pointers may form cycles.
#include <algorithm>
#include <cstring>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/Printing.h"
#include "core/mem/KyHandles.h"
#include "core/objsys/AIODesc.h"
#include "core/objsys/AObjDoc.h"
#include "core/objsys/AUnknown.h"
#include "core/objsys/ClassRuns.h"
#include "core/objsys/DomainTrace.h"
#include "core/objsys/TypedRead.h"
#include "core/objsys/WalkGuard.h"
#include "core/utils/MemStreams.h"
#include "core/utils/StreamWire.h"

using namespace ky;

namespace {

constexpr Char4 kBigEndian = MakeChar4("MMMM");
constexpr Long kUnknownLength = 0x7FFFFFFF;
constexpr Long kFirstSlots = 1000000;

/// What is noted of an object beside its address.
enum : char {
  kReferred = 1,  ///< some object points at it, and will dispose it if that is its way
  kOwned = 2,     ///< some object said that it will dispose it
  kDropped = 4,   ///< of an unknown class, and not wanted
};

bool dropsUnknowns = false;

/// Memory that was used before is handed out in any order; asking for an object some turns ahead hides the way to it.
constexpr Long kAhead = 6;
void prefetchForFilling(const APortable* object) {
  const char* const at = reinterpret_cast<const char*>(object);
  __builtin_prefetch(at, 1);
  __builtin_prefetch(at + 64, 1);
}

/// Keeps a growing stream from growing while a damaged document asks it to skip ahead.
class BoundedStream {
 public:
  explicit BoundedStream(AStream* stream) {
    if (!stream->IsInstanceOf("ADynamicMemStream")) return;
    growing_ = static_cast<ADynamicMemStream*>(stream);
    grew_ = growing_->DoesAutoGrow(0);
  }
  ~BoundedStream() {
    if (growing_) growing_->DoesAutoGrow(grew_);
  }
  BoundedStream(const BoundedStream&) = delete;
  BoundedStream& operator=(const BoundedStream&) = delete;

 private:
  ADynamicMemStream* growing_ = nullptr;
  Boolean grew_ = 0;
};

void showReadProgress(const char* format, Long number, Long total) {
  if (number % 100 == 0) showProgress(format, number, total);
}

char objectNumberSize(Long count) {
  if (count < 0x100) return 1;
  return count < 0x10000 ? 2 : 4;
}

}  // namespace

void AObjDoc::SetNoUnknowns(Boolean drop) { dropsUnknowns = drop; }

APortable* AObjDoc::CopyOut() {
  const WalkGuard walk;
  const KindHeld kind(ioDesc);
  if (tracesDomains()) dprintf("AObjDoc CopyOut started (%s)\n", TimeOfDay().text);
  numObjects = 0;
  APortable* root = nullptr;
  reraisedAs("DOMAIN_COPYOUT_FAILED", [&] {
    const BoundedStream bounded(stream);
    guardedReraise(
        [&] {
          root = readObjects();
          stream->SetSeqBuf(0, 0);
        },
        [&](XError& caught) {
          // Short of memory, the objects are left where they are: walking them could need more.
          if (!caught.FindCode("MEM_OUT_OF_MEMORY") && objList && objListMarks) disposeUnreferred();
          succeeds([&] { stream->SetSeqBuf(0, 0); });
          endRead();
        });
    endRead();
  });
  if (tracesDomains()) dprintf("  AObjDoc CopyOut of a %s finished (%s)\n", classNameOf(root), TimeOfDay().text);
  return root;
}

APortable* AObjDoc::readObjects() {
  const Long length = stream->GetLength();
  stream->SetSeqBuf(std::min(length, Long{0x80000}), Long(std::min(Int64{length} * 300 / 100, Int64{0x7FFFFFFF})));
  stream->SetClassFuncR(readVersionByte, this);
  stream->SetPtrFuncR(ReadCB, this);
  setDataTrace(stream);

  const Long root = readHeader();
  auto* const desc = ioDesc && ioDesc->IsInstanceOf("AStoreDesc") ? static_cast<AStoreDesc*>(ioDesc) : nullptr;
  if (desc) desc->ForgetDeferredChecks();
  createAndLoad();
  if (root && (listed.mark[root - 1] & kOwned)) raiseBadStreamData("The root object has an owner");
  if (desc) desc->RunDeferredChecks();

  disposeDropped();
  check(numStubs == 0, "numStubs == 0");
  return root ? listed.object[root - 1] : nullptr;
}

Long AObjDoc::readHeader() {
  goToContent();
  version = stream->ReadChar("DomainVersion");
  if (version < 1 || version > 4) +XError("AOBJDOC_VERSION_MISMATCH", "char version", version, 0);
  char timestamp[80];
  stream->ReadString("Timestamp", timestamp, sizeof timestamp);
  const Long count = stream->ReadLong("NumObjects");

  const bool tagged = version >= 3;
  stream->SetUseTags(tagged);
  stream->SetHasMinorVersion(tagged);
  const Long root = version == 1 ? count : stream->ReadLong("RootObject");
  idSize = version == 1 ? objectNumberSize(count) : 4;
  byteOrder = version > 3 ? stream->ReadChar4("byteOrder") : kBigEndian;
  stream->SetSwapBytes(byteOrder == kBigEndian);
  if (version > 3) readIdentity();

  const Int64 rest = remaining(stream);
  if (count < 0 || Int64{count} * StreamWire::kRecordHead > rest) raiseBadStreamData("Object count out-of-bounds");
  if (count > 0 && (root < 1 || root > count)) raiseBadStreamData("Root object out-of-bounds");
  contentEnd = stream->GetPosition() + rest;
  numObjects = count;
  lastNumObjects = count;
  return count > 0 ? root : 0;
}

void AObjDoc::readIdentity() {
  static constexpr const char* spares[] = {"spare01", "spare02", "spare03", "spare04", "spare05", "spare06",
                                           "spare07", "spare08", "spare09", "spare10", "spare11", "spare12"};
  uid.high = stream->ReadULong("uid.high");
  uid.low = stream->ReadULong("uid.low");
  fileType = stream->ReadChar4("FileType");
  fileCreator = stream->ReadChar4("FileCreator");
  for (const char* spare : spares) (void)stream->ReadULong(spare);
}

void AObjDoc::createAndLoad() {
  if (tracesDomains()) dprintf("  Creating %ld objects (%s)\n", long(numObjects), TimeOfDay().text);
  const Long start = stream->GetPosition();
  // The count is only as true as the stream's idea of its end; the list grows with the objects that are really there.
  listSlots = contentEnd < kUnknownLength ? numObjects : std::min(numObjects, kFirstSlots);
  objList = KyNewHandleClear(Long(listSlots * sizeof(APortable*)));
  objListMarks = KyNewHandleClear(listSlots);
  lookAtLists();
  createObjects();
  if (tracesDomains()) dprintf("  Loading %ld objects (%s)\n", long(numObjects), TimeOfDay().text);
  stream->SetPosition(start);
  loadObjects();
}

[[gnu::flatten]] void AObjDoc::createObjects() {
  const bool asHere = isOwnKind();
  for (Long number = 1; number <= numObjects; ++number) {
    asHere ? AObjDoc::CreateObject(stream, number) : CreateObject(stream, number);
  }
}

[[gnu::flatten]] void AObjDoc::loadObjects() {
  const bool asHere = isOwnKind();
  for (Long number = 1; number <= numObjects; ++number) {
    prefetchForFilling(listed.object[std::min(number + kAhead, numObjects) - 1]);
    asHere ? AObjDoc::LoadObject(stream, number) : LoadObject(stream, number);
  }
}

void AObjDoc::growLists(Long number) {
  const Long slots = Long(std::min(std::max(Int64{listSlots} * 2, Int64{number}), Int64{numObjects}));
  KySetHandleSize(objList, Long(slots * sizeof(APortable*)));
  KySetHandleSize(objListMarks, slots);
  lookAtLists();
  std::memset(listed.object + listSlots, 0, std::size_t(slots - listSlots) * sizeof(APortable*));
  std::memset(listed.mark + listSlots, 0, std::size_t(slots - listSlots));
  listSlots = slots;
}

/// The short way is for numbers of 4 bytes, so that none is open where they are shorter.
void AObjDoc::lookAtLists() {
  listed = {reinterpret_cast<APortable**>(*objList), *objListMarks, idSize == 4 ? ULong(numObjects) : 0};
}

void AObjDoc::CreateObject(AStream* theStream, Long number) {
  showReadProgress("Reading %ld objects (allocating)...", number, numObjects);
  const auto [id, length] = StreamWire::getRecordHead(*theStream);
  const auto classID = Long(id);
  const bool fits = StreamWire::hasToRead(*theStream, length) || length <= contentEnd - StreamWire::place(*theStream);
  if (length < 0 || !fits) [[unlikely]]
    raiseBadStreamData("Object length out-of-bounds");
  if (number > listSlots) [[unlikely]]
    growLists(number);
  // With tags on, a body ends in a mark that is not the object's own.
  listed.object[number - 1] = newOfClass(classID, version >= 3 ? length - 1 : length);
  StreamWire::skip(*theStream, length);
}

void AObjDoc::LoadObject(AStream* theStream, Long number) {
  showReadProgress("Reading %ld objects (filling)...", number, numObjects);
  const auto [classID, length] = StreamWire::getRecordHead(*theStream);
  if (ioDesc) ioDesc->SetClassIDRead(Long(classID));
  const StreamWire::Distance body(*theStream);
  APortable* const object = listed.object[number - 1];
  if (!object) [[unlikely]]
    return theStream->Skip(length);
  object->GetObjectFromStream(theStream, ioDesc);
  if (dropsUnknowns) [[unlikely]]
    noteIfUnknown(number);
  if (body.gone() > length) raiseBadStreamData("Object read past its end");
}

[[gnu::noinline]] void AObjDoc::noteIfUnknown(Long number) {
  if (listed.object[number - 1]->GetClassID() == AUnknown::portableID) listed.mark[number - 1] |= kDropped;
}

/// Settles at once what nearly every pointer is: the number, bare in the window, of an object that is there and that
/// the reader only follows.
APortable* AObjDoc::ReadCB(void* domain, AStream* stream, const char* label) {
  auto* const doc = static_cast<AObjDoc*>(domain);
  if (!doc) {
    fatal("Domain was Null");
    return nullptr;
  }
  Boolean owned = 0;
  if (const AIODesc* const desc = doc->ioDesc) [[likely]]
    owned = desc->IsOwnedPtrAnnounced();
  const ULong at = StreamWire::peekNumber(*stream) - 1;
  if (at < doc->listed.count && !owned) [[likely]] {
    APortable* const object = doc->listed.object[at];
    char& mark = doc->listed.mark[at];
    if (object && !(mark & kDropped)) [[likely]] {
      StreamWire::stepOverNumber(*stream);
      mark |= kReferred;
      return object;
    }
  }
  return doc->readPtr(stream, label);
}

APortable* AObjDoc::readPtr(AStream* stream, const char* label) {
  const Boolean owned = ioDesc ? ioDesc->TakeOwnedPtr() : 0;
  const ULong number = readNumber(stream, label);
  if (number == 0) return nullptr;
  if (number > ULong(numObjects)) raiseBadStreamData("Object ID out-of-bounds");
  if (!check(objList != nullptr, "The domain's object list was NULL")) return nullptr;
  if (!check(objListMarks != nullptr, "The domain's objListMarks was NULL")) return nullptr;

  APortable* const object = listed.object[number - 1];
  char& mark = listed.mark[number - 1];
  if (mark & kDropped) return nullptr;
  if (!object) {
    if (!dropsUnknowns) +XError("NO_OBJECT_CREATED", 0);
    return nullptr;
  }
  if (owned && (mark & kOwned)) raiseBadStreamData("An object has two owners");
  mark |= owned ? kReferred | kOwned : kReferred;
  return object;
}

/// Version 1 has short numbers where they suffice.
ULong AObjDoc::readNumber(AStream* stream, const char* label) {
  switch (idSize) {
    case 4:
      return stream->ReadULong(label);
    case 2:
      return stream->ReadUShort(label);
    case 1:
      return stream->ReadUChar(label);
    default:
      raiseBadStreamData("Invalid IDSize!");
  }
}

/// After a failure: what an object refers to is that object's to dispose; the rest is nobody's.
void AObjDoc::disposeUnreferred() {
  lookAtLists();
  for (Long at = std::min(numObjects, listSlots); at-- > 0;) {
    APortable* const object = listed.object[at];
    if (!object || (listed.mark[at] & kReferred)) continue;
    listed.object[at] = nullptr;
    succeeds([&] { object->Dispose(); });
  }
}

/// Only now, when no further object can ask for one of them.
void AObjDoc::disposeDropped() {
  if (!dropsUnknowns) return;
  for (Long at = 0; at < numObjects; ++at) {
    if (!(listed.mark[at] & kDropped)) continue;
    std::exchange(listed.object[at], nullptr)->Dispose();
  }
}
