// Objects of a document's classes, made without a look at the registry while the class stays the same.
#pragma once

#include "core/objsys/PClass.h"

namespace ky {

/// The class that was asked for last, if its factory makes ordinary objects. Documents hold long runs of one class.
struct ClassRun {
  Long classID = 0;
  APortable* (*factory)() = nullptr;
};
extern ClassRun classRun;

/// NewByClassID() for objects of a document; expects that no other document is being read.
APortable* newOfOtherClass(Long classID, Long size);
inline APortable* newOfClass(Long classID, Long size) {
  if (classID == classRun.classID && classRun.factory) [[likely]]
    return classRun.factory();
  return newOfOtherClass(classID, size);
}

}  // namespace ky
