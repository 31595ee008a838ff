// One walk over a graph of objects at a time, and what it keeps on the objects.
#pragma once

#include "core/error/Assert.h"
#include "core/objsys/APortable.h"

namespace ky {

/// Stands in the outer entry points of the walks that share the global visit counter; a second walk inside the first
/// would mark the first's objects as its own.
class WalkGuard {
 public:
  WalkGuard() : mine_(check(!walking, "no walk over objects is open")) {
    if (mine_) walking = true;
  }
  ~WalkGuard() {
    if (mine_) walking = false;
  }
  WalkGuard(const WalkGuard&) = delete;
  WalkGuard& operator=(const WalkGuard&) = delete;

 private:
  static inline bool walking = false;

  bool mine_;
};

/// A walk asks each pointer of a graph for these, so they are not asked through the object's table.
struct WalkMarks {
  static bool wasVisited(const APortable& object) { return object.visitID == APortable::globalVisitID; }
  static void markVisited(APortable& object) { object.visitID = APortable::globalVisitID; }
  static Long number(const APortable& object) { return object.domainData; }
  static void setNumber(APortable& object, Long number) { object.domainData = number; }
};

}  // namespace ky
