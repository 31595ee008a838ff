#include "core/objsys/ObjectSystem.h"

#include "core/filesys/CoreWinLocators.h"
#include "core/objsys/AObjDoc.h"
#include "core/utils/AUndoable.h"
#include "core/utils/Crc.h"

void ObjectSystemClassInit() {
  // The registries refuse a second registration, so a second call must not reach them.
  static bool done = false;
  if (done) return;
  done = true;
  AObjDoc::InitClass();
  crcInit();
  AUndoable::PCRegister();
  ADomain::PCRegister();
  CoreWinDirLocator::PCRegister();
  CoreWinFileLocator::PCRegister();
}

void UndoSystemClassInit() {}
