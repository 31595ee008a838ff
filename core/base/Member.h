// The tested down-cast of assertions: check(member(p, AUndoable), "member(p,AUndoable)").
#pragma once

#include "core/base/AObject.h"

namespace ky {

/// Returns:  true if `p` is an object whose class is, or derives from, the one named.
inline bool isMember(AObject* p, const char* className) { return p != nullptr && p->IsInstanceOf(className) != 0; }

}  // namespace ky

/// Tests by name through the virtual table, so that a class of another library passes as well.
#define member(p, Class) ::ky::isMember((p), #Class)
