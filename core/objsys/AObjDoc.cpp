#include "core/objsys/AObjDoc.h"

#include <atomic>
#include <cstring>
#include <typeinfo>
#include <utility>

#include "core/error/Guarded.h"
#include "core/filesys/FileCreator.h"
#include "core/lists/AArray.h"
#include "core/mem/KyHandles.h"
#include "core/objsys/AIODesc.h"
#include "core/os/AHwOsInfo.h"
#include "platform/Clock.h"

using namespace ky;

namespace {

constexpr Char4 kDomainKey = MakeChar4("OBJD");
constexpr Char4 kLittleEndian = MakeChar4("IIII");
constexpr const char kMagic[] = "AObjDoc";

void requireRandom(AStream* stream) {
  if (stream && !stream->IsRandom()) +XError("DOMAIN_RAND_STRM_REQUIRED", 0);
}

}  // namespace

void MakeUid(KyUid* uid) {
  static std::atomic<ULong> last = 0;
  const auto now = ULong(platform::wallSeconds());
  ULong before = last;
  const auto next = [&] { return now > before ? now : before + 1; };
  while (!last.compare_exchange_weak(before, next())) {
  }
  *uid = {hostNumber(), next()};
}

AObjDoc* AObjDoc::make(AStream* stream, Boolean deleteDev, Boolean isNew, Long fileType) {
  auto* doc = new AObjDoc;
  // A document that never was must leave the stream to its caller.
  guardedReraise([&] { doc->IObjDoc(stream, deleteDev, isNew, fileType); },
                 [&] {
                   doc->deleteDev = 0;
                   doc->Dispose();
                 });
  return doc;
}

AObjDoc* AObjDoc::New(AStream* stream, Boolean deleteDev, Long fileType) {
  return make(stream, deleteDev, 1, fileType);
}

void AObjDoc::InitClass() {
  ADomain::InitClass();
  ADomain::Register(Long(kDomainKey),
                    [](AStream* stream, Boolean deleteDev) -> ADomain* { return make(stream, deleteDev, 0, 0); });
}

void AObjDoc::IObjDoc(AStream* theStream, Boolean theDeleteDev, Boolean isNew, Long theFileType) {
  requireRandom(theStream);
  byteOrder = kLittleEndian;
  fileType = Char4(theFileType);
  fileCreator = GetDefaultFileCreator();
  MakeUid(&uid);
  IDomain(theStream, theDeleteDev, isNew);
  SetIODesc(AStoreDesc::New());
  numObjects = 0;
  lastNumObjects = 0;
  idSize = 0;
  numStubs = 0;
}

AObjDoc::~AObjDoc() {
  succeeds([&] { endWrite(); });
  succeeds([&] { endRead(); });
}

bool AObjDoc::isOwnKind() const { return typeid(*this) == typeid(AObjDoc); }

void AObjDoc::endWrite() {
  if (countStream) std::exchange(countStream, nullptr)->Dispose();
  if (preflightList) std::exchange(preflightList, nullptr)->Dispose();
}

void AObjDoc::endRead() {
  listed = {};
  if (objList) KyDisposeHandle(std::exchange(objList, nullptr));
  if (objListMarks) KyDisposeHandle(std::exchange(objListMarks, nullptr));
}

Long AObjDoc::GetDomainKey() { return Long(kDomainKey); }

void AObjDoc::InitDomainNew() { stream->WriteString("DomainMagic", kMagic); }

void AObjDoc::InitDomainOld() {
  char text[80];
  const char* const magic = stream->ReadString("DomainMagic", text, sizeof text);
  if (!magic || std::strcmp(magic, kMagic) != 0) +XError("AOBJDOC_BAD_MAGIC", 0);
}

void AObjDoc::SetStream(AStream* theStream, Boolean theDeleteDev) {
  requireRandom(theStream);
  ADomain::SetStream(theStream, theDeleteDev);
}

void AObjDoc::WriteClassCB(void* domain, AStream* stream, Long pcid, char version) {
  writeVersionByte(domain, stream, pcid, version);
}
char AObjDoc::ReadClassCB(void* domain, AStream* stream, Long pcid) { return readVersionByte(domain, stream, pcid); }
