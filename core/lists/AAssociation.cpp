#include "core/lists/AAssociation.h"

#include <cstring>
#include <limits>
#include <utility>

#include "core/error/XError.h"
#include "core/mem/KyMemory.h"
#include "core/mem/Owned.h"

using namespace ky;

AAssociation* AAssociation::New(Long key, const aliasSpec_struct& spec) {
  Owned<AAssociation> association(new AAssociation);
  association->IAssociation(key, spec);
  return association.release();
}

void AAssociation::IAssociation(Long key, const aliasSpec_struct& spec) {
  const LongPtr bytes = bytesOf(spec);
  if (bytes > std::numeric_limits<Long>::max()) +XError("MEM_OUT_OF_MEMORY", 0);
  void* const block = bytes > kInside ? KyNewPtr(static_cast<Long>(bytes)) : nullptr;
  if (bytes > 0) std::memmove(block ? block : iBytes, spec.data, static_cast<std::size_t>(bytes));
  iKey = key;
  iSpec = spec;
  if (void* const before = std::exchange(iBlock, block)) KyDisposePtr(before);
}

AAssociation::~AAssociation() {
  if (iBlock) KyDisposePtr(iBlock);
}

AObject* AAssociation::Copy() {
  Owned<AAssociation> copy(static_cast<AAssociation*>(AObject::Copy()));
  copy->iBlock = nullptr;
  if (iBlock) copy->iBlock = KyCopyPtr(iBlock);
  return copy.release();
}

void AAssociation::GetAlias(Long& key, aliasSpec_struct& spec) const {
  key = iKey;
  spec = iSpec;
  if (bytesOf(iSpec) > 0) spec.data = iBlock ? iBlock : iBytes;
}
