#include "core/error/RefCountObject.h"

RefCountObject::~RefCountObject() = default;

void RefCountObject::RemoveReference() {
  if (mRefCount.fetch_sub(1, std::memory_order_acq_rel) <= 1) delete this;
}
