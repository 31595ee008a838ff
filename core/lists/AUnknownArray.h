// Counts by key, for the classes that a document holds and nobody knows.
#pragma once

#include "core/lists/AArray.h"

class KY_API AUnknownArray : public AArray {
  KY_CLASS(AUnknownArray, AArray)

 public:
  struct Entry {
    Long key = 0;
    Long count = 0;
  };

  static AUnknownArray* New();
  void IUnknownArray();

  /// Adds 1 to the key's count; a new key gets the count 1.
  void Update(Long key);
  /// Linear.
  ///
  /// Returns:  the entry's place counted from 0, whatever `indexBase` is; -2147483648 when absent.
  Long Offset(Long key);

 protected:
  AUnknownArray() = default;
};
