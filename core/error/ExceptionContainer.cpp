#include "core/error/ExceptionContainer.h"

#include <cstring>

Boolean ExceptionContainer::IsThereAStoredException() { return GetException() != nullptr; }

const char* ExceptionContainer::GetException() { return mError.GetCode(); }

void ExceptionContainer::GetExceptionString(char* buffer, Long size) {
  if (IsThereAStoredException()) {
    mError.ExpandString(buffer, size, nullptr);
  } else if (size > 0) {
    std::memset(buffer, 0, static_cast<std::size_t>(size));
  }
}

void ExceptionContainer::DoStoredException() {
  if (!IsThereAStoredException()) return;
  XError taken = mError;
  EmptyContainer();
  throw taken;
}

void ExceptionContainer::EmptyContainer() { mError = XError(); }

Boolean ExceptionContainer::StoreExceptionMessage(const XError& error) {
  if (error.GetCode()) mError = error;
  return true;
}
