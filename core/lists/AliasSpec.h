// A reference to an object that some other structure holds.
#pragma once

#include "core/base/KyTypes.h"

class AUndoable;
struct aliasSpec_struct;

typedef void (*attachFn)(AUndoable* object, const aliasSpec_struct* spec);
typedef void (*detachFn)(AUndoable* object, const aliasSpec_struct* spec);

/// How to restore such a reference after the object came back, and how to take it away.
struct aliasSpec_struct {
  LongPtr key = 0;         ///< 0 for an empty spec
  LongPtr dataLength = 0;  ///< bytes at `data`, if it is above 0 and `data` is not null
  const void* data = nullptr;
  attachFn attach = nullptr;
  detachFn detach = nullptr;
};
