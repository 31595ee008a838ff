#include "core/filesys/FileCreator.h"

#include "core/error/Assert.h"

namespace {
Char4 defaultCreator = 0;
bool isSet = false;
}  // namespace

Char4 GetDefaultFileCreator() {
  ky::check(isSet, "Default File Creator not set");
  return defaultCreator;
}

void SetDefaultFileCreator(Long creator) {
  defaultCreator = Char4(creator);
  isSet = true;
}
