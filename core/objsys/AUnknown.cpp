#include "core/objsys/AUnknown.h"

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/lists/AUnknownArray.h"
#include "core/mem/Owned.h"
#include "core/objsys/AIODesc.h"

using namespace ky;

AUnknown* AUnknown::New(Long classID, Long size) {
  Owned<AUnknown> unknown(new AUnknown);
  unknown->origClassID = classID;
  unknown->bagSize = size;
  if (size > 0) unknown->Bag_o_bits = KyNewHandle(size);
  if (gUnknownArray) gUnknownArray->Update(classID);
  return unknown.release();
}

AUnknown::~AUnknown() {
  if (Bag_o_bits) KyDisposeHandle(Bag_o_bits);
}

AObject* AUnknown::Copy() {
  Owned<AUnknown> copy(static_cast<AUnknown*>(AUndoable::Copy()));
  copy->Bag_o_bits = nullptr;
  if (Bag_o_bits) copy->Bag_o_bits = KyCopyHand(Bag_o_bits);
  return copy.release();
}

Long AUnknown::GetOrigClassID() { return origClassID; }

// No class mark and no begin mark: the bag holds the object's own, and goes out bare.
void AUnknown::Put(AStream* stream, AIODesc* desc) {
  AUndoable::Put(stream, desc);
  if (desc->IsForUndo()) stream->WriteLong("BagSize", bagSize);
  if (bagSize > 0) stream->WriteBytes("bits_is_bits", *Bag_o_bits, bagSize);
}

void AUnknown::Get(AStream* stream, AIODesc* desc) {
  AUndoable::Get(stream, desc);
  if (desc->IsForUndo()) bagSize = stream->ReadLong("BagSize");
  if (bagSize <= 0) return;
  if (!Bag_o_bits) {
    Bag_o_bits = KyNewHandle(bagSize);
  } else if (!check(KyGetHandleSize(Bag_o_bits) == bagSize, "KyGetHandleSize(Bag_o_bits) == BagSize")) {
    return;
  }
  stream->ReadBytes("bits_is_bits", *Bag_o_bits, bagSize);
}
