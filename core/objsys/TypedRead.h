// Reading object pointers from a document with the class, and the owner, that the reader needs.
#pragma once

#include <typeinfo>

#include "core/objsys/AIODesc.h"
#include "core/objsys/APortable.h"
#include "core/utils/AStream.h"

namespace ky {

/// Raises DOMAIN_BAD_STRM_DATA with "str reason" `sentence`: what was read cannot be right.
[[noreturn]] KY_API void raiseBadStreamData(const char* sentence);

/// Raises DOMAIN_BAD_STRM_DATA unless `object` is an instance of the class of that name.
KY_API void requireReadClass(APortable* object, const char* className);

/// `object` if it is null or an instance of the class: nearly always of it itself, which a look at its type tells
/// without a call; else its identifier tells faster than its name.
///
/// Raises:   DOMAIN_BAD_STRM_DATA.
template <class T>
T* asReadClass(APortable* object) {
  if (object) {
    const APortable& it = *object;
    const bool isItself = &typeid(it) == &typeid(T);
    if (!isItself && it.GetClassID() != T::portableID) [[unlikely]]
      requireReadClass(object, T::portableName);
  }
  return static_cast<T*>(object);
}

/// Reads a pointer that is only followed. A field that a client's class may fill is read as the base that the field is
/// declared with, so that an AUnknown can stand in for a class that this program lacks.
///
/// Raises:   DOMAIN_BAD_STRM_DATA for an object of another class.
template <class T>
[[gnu::always_inline]] inline T* readObjPtrOf(AStream* stream, const char* label) {
  return asReadClass<T>(stream->ReadObjPtr(label));
}

/// Reads a pointer to an object that the reader will dispose: no other may own it, and it may not be the root.
///
/// Raises:   DOMAIN_BAD_STRM_DATA for a second owner or an object of another class.
template <class T>
T* readOwnedObjPtr(AStream* stream, AIODesc* desc, const char* label) {
  if (desc) desc->AnnounceOwnedPtr(1);
  APortable* object = stream->ReadObjPtr(label);
  if (desc) desc->AnnounceOwnedPtr(0);
  return asReadClass<T>(object);
}

}  // namespace ky
