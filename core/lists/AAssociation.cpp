#include "core/lists/AAssociation.h"

#include <cstring>
#include <limits>

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
  iKey = key;
  iSpec = spec;
  if (!hasBytes()) return;
  if (spec.dataLength > std::numeric_limits<Long>::max()) +XError("MEM_OUT_OF_MEMORY", 0);
  if (spec.dataLength > kInside) iBlock = KyNewPtr(static_cast<Long>(spec.dataLength));
  std::memcpy(iBlock ? iBlock : iBytes, spec.data, static_cast<std::size_t>(spec.dataLength));
}

AAssociation::~AAssociation() {
  if (iBlock) KyDisposePtr(iBlock);
}

Boolean AAssociation::IsInstanceOf(const char* name) {
  return std::strcmp(name, "AAssociation") == 0 || AObject::IsInstanceOf(name);
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
  if (hasBytes()) spec.data = iBlock ? iBlock : iBytes;
}
