// Carries an error from the thread that caught it to the thread that is to hear of it.
#pragma once

#include "core/error/XError.h"

/// Threads:  one stores, another takes; the hand-over between them is the owner's business.
class KY_API ExceptionContainer {
 public:
  ExceptionContainer() = default;

  // Slots in order: IsThereAStoredException, GetException, GetExceptionString, DoStoredException, EmptyContainer,
  // StoreExceptionMessage.
  virtual Boolean IsThereAStoredException();
  virtual const char* GetException();
  /// The default line of the stored error; an empty container zeroes the whole buffer.
  virtual void GetExceptionString(char* buffer, Long size);
  /// Raises what is stored, if anything, and is empty afterwards. The raise log hears nothing: the raise was logged
  /// where it happened.
  virtual void DoStoredException();
  virtual void EmptyContainer();
  /// Keeps `error`; one without a code changes nothing.
  ///
  /// Returns:  whether that could be done. It always can here, since a copy shares the stack; an override may fail, and
  ///           is empty then.
  virtual Boolean StoreExceptionMessage(const XError& error);

  virtual ~ExceptionContainer() = default;

  const XError& GetTheException() const { return mError; }
  operator const XError&() const { return mError; }

 private:
  XError mError;
};
