#include "core/objsys/ADomain.h"

#include <cstring>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/lists/AArray.h"
#include "core/objsys/AIODesc.h"
#include "core/objsys/DomainTrace.h"
#include "core/objsys/TypedRead.h"

using namespace ky;

namespace {

constexpr const char kMagic[] = "Domain";
constexpr short kMagicLength = 6;
constexpr short kSwappedMagicLength = 0x600;

struct Kind {
  LongPtr key;
  ADomain* (*open)(AStream* stream, Boolean deleteDev);
};

AArray* kinds = nullptr;

const Kind* findKind(Long key) {
  if (!kinds) return nullptr;
  for (const Kind& kind : elements<Kind>(kinds))
    if (kind.key == key) return &kind;
  return nullptr;
}

bool readsMagicText(AStream* stream) {
  static constexpr const char* labels[] = {"DomainMagic:D", "DomainMagic:o", "DomainMagic:m",
                                           "DomainMagic:a", "DomainMagic:i", "DomainMagic:n"};
  char text[kMagicLength];
  for (int i = 0; i < kMagicLength; ++i) text[i] = char(stream->ReadUChar(labels[i]));
  return std::memcmp(text, kMagic, sizeof text) == 0;
}

}  // namespace

void ADomain::InitClass() { registerDomainSubsystems(); }

void ADomain::Register(Long key, ADomain* (*open)(AStream* stream, Boolean deleteDev)) {
  if (!kinds) kinds = AArray::New(sizeof(Kind));
  if (findKind(key)) +XError("DOMAIN_DUPLICATE_KEY", "long key", key, 0);
  appendElement(kinds, Kind{key, open});
}

ADomain* ADomain::OpenFromStream(AStream* stream, Boolean deleteDev) {
  // The length of the text doubles as the byte-order mark, whatever was read from the stream before.
  stream->SetSwapBytes(0);
  const short length = stream->ReadShort("DomainMagic:len");
  if (!readsMagicText(stream) || (length != kMagicLength && length != kSwappedMagicLength))
    +XError("DOMAIN_BAD_MAGIC", 0);
  stream->SetSwapBytes(length == kSwappedMagicLength);

  const Long key = Long(stream->ReadChar4("DomainKey"));
  const Kind* const kind = findKind(key);
  if (!kind) +XError("DOMAIN_KEY_UNKNOWN", "long key", key, 0);
  return kind->open(stream, deleteDev);
}

void ADomain::IDomain(AStream* theStream, Boolean theDeleteDev, Boolean isNew) {
  IPortable();
  deleteDev = theDeleteDev;
  stream = theStream;
  contentStartPos = 0;
  ioDesc = nullptr;
  if (!stream) return;
  if (isNew) {
    stream->WriteString("DomainMagic", kMagic);
    stream->WriteChar4("DomainKey", Char4(GetDomainKey()));
    InitDomainNew();
  } else {
    InitDomainOld();
  }
  contentStartPos = stream->GetPosition();
  isPrologueSwapped = stream->IsSwapBytesOn();
}

void ADomain::goToContent() {
  stream->SetPosition(GetContentStartPos());
  stream->SetSwapBytes(isPrologueSwapped);
}

ADomain::~ADomain() {
  if (ioDesc) succeeds([&] { ioDesc->Dispose(); });
}

void ADomain::Dispose() {
  always([this] { closeStream(); }, [this] { APortable::Dispose(); });
}

void ADomain::closeStream() {
  AStream* const former = std::exchange(stream, nullptr);
  if (former && deleteDev) former->Close();
}

void ADomain::Close() { Dispose(); }

void ADomain::Put(AStream*, AIODesc*) { fatal("Domain portability not implemented."); }
void ADomain::Get(AStream*, AIODesc*) { raiseBadStreamData("Domain portability not implemented."); }

Long ADomain::GetDomainKey() {
  SubclassResponsibility();
  return 0;
}
Long ADomain::GetContentStartPos() { return contentStartPos; }
void ADomain::InitDomainNew() {}
void ADomain::InitDomainOld() {}
void ADomain::SetDeleteDev(Boolean theDeleteDev) { deleteDev = theDeleteDev; }
void ADomain::SetIODesc(AIODesc* desc) { ioDesc = desc; }
AIODesc* ADomain::GetIODesc() { return ioDesc; }

void ADomain::SetStream(AStream* theStream, Boolean theDeleteDev) {
  closeStream();
  AIODesc* const desc = ioDesc;
  always([&] { IDomain(theStream, theDeleteDev, 1); }, [&] { SetIODesc(desc); });
}

void ADomain::CopyIn(APortable*) { SubclassResponsibility(); }
APortable* ADomain::CopyOut() {
  SubclassResponsibility();
  return nullptr;
}
