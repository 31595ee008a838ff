#include "core/lists/AUnknownArray.h"

#include <cstdint>

#include "core/mem/Owned.h"

using namespace ky;

AUnknownArray* AUnknownArray::New() {
  Owned<AUnknownArray> array(new AUnknownArray);
  array->IUnknownArray();
  return array.release();
}

void AUnknownArray::IUnknownArray() { IArray(sizeof(Entry)); }

void AUnknownArray::Update(Long key) {
  const Long place = Offset(key);
  if (place >= 0) {
    ++elements<Entry>(this)[static_cast<std::size_t>(place)].count;
    return;
  }
  const Entry entry{key, 1};
  InsertAtIndex(&entry, INT32_MAX);
}

Long AUnknownArray::Offset(Long key) {
  Long place = 0;
  for (const Entry& entry : elements<Entry>(this)) {
    if (entry.key == key) return place;
    ++place;
  }
  return INT32_MIN;
}
