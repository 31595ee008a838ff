// The registry that turns class identifiers of documents into objects.
#pragma once

#include "core/base/KyTypes.h"

class APortable;
class AUnknownArray;

/// Files a class under its identifier; `factory` makes an empty instance, null is for a class that has none of its own
/// and so is unknown where a document names it.
///
/// Borrows:  `className` for good.
/// Threads:  all classes are filed before a second thread asks for one.
/// Raises:   PCREG_DUPLICATE_CLASSID with "str classStr" and "long classID".
KY_API void PClassAdd(Long pcid, const char* className, APortable* (*factory)());

/// Files the class of `classID` under a retired identifier too: it is read under either and written under its own.
///
/// Raises:   PCREG_UNKNOWN_CLASSID, PCREG_DUPLICATE_CLASSID, each with "long classID".
KY_API void PClassAddAlias(Long aliasID, Long classID);

/// Raises:   PCREG_UNKNOWN_CLASSID with "long classID".
KY_API const char* FindClassName(Long classID);

/// Returns:  the identifier of the class of that name, never an alias; 0 if there is none.
KY_API Long FindPCID(const char* name);

/// The identifier under which an object is written: an `AUnknown` keeps the one that it was read under.
KY_API Long GetWriteClassID(APortable* object);

/// Makes an empty object of the class, or for one that is not registered, or has no factory, an `AUnknown` of `size`
/// bytes.
///
/// Raises:   PCREG_UNKNOWN_ENCOUNTERED for the identifier of AUnknown itself, which no document may hold; what the
///           factory raises.
KY_API APortable* NewByClassID(Long classID, Long size);

/// Installs what is told each identifier that was not registered, null for nobody.
KY_API void SetHandleUnknownsCB(void (*handleUnknown)(Long classID));

/// Counts the unknown classes met by kind, once a client sets it; null at first.
extern KY_API AUnknownArray* gUnknownArray;
