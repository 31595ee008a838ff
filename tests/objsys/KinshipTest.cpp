// Classes know their names and those of their bases: typed reads of documents and streams go by them.
#include <sstream>

#include "core/lists/AAssociation.h"
#include "core/lists/AHashTable.h"
#include "core/lists/AOrderedArray.h"
#include "core/lists/ASimpleList.h"
#include "core/lists/ASortedArray.h"
#include "core/lists/AUnknownArray.h"
#include "core/lists/CKyList.h"
#include "core/lists/CStringDict.h"
#include "core/lists/RangeArray.h"
#include "core/objsys/AUndoMgr.h"
#include "core/objsys/AUnknown.h"
#include "core/utils/ABlockMemStream.h"
#include "core/utils/ACrcStream.h"
#include "core/utils/APrintStream.h"
#include "core/utils/ASectionStream.h"
#include "core/utils/BufferStream.h"
#include "tests/objsys/Film.h"
#include "tests/support/Printed.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

TEST(Kinship, EveryClassIsAnInstanceOfItselfAndItsBasesAlone) {
  registerFilm();
  const OwnedHandle handle = OwnedHandle::ofSize(8);
  const Owned<AStream> parent(AStream::New());
  const auto order = [](const void*, const void*, void*) { return 0; };
  const std::pair<AObject*, const char*> rows[] = {
      {AAssociation::New(0, {}), "AAssociation AObject"},
      {AArray2::New(elementProc<Long>), "AArray2 AArray ACollection AObject"},
      {AHashTable::New(1, 1, 4, nullptr, nullptr, HTNoDuplicates), "AHashTable ACollection AObject"},
      {AOrderedArray::New(4, typeLong), "AOrderedArray AArray ACollection AObject"},
      {ASimpleList::New(1, 1), "ASimpleList AObject"},
      {ASortedArray::New(elementProc<Long>, order, nullptr, order, nullptr), "ASortedArray AArray2 AObject"},
      {AUnknownArray::New(), "AUnknownArray AArray AObject"},
      {CKyList::New(), "CKyList AList ACluster AArray AObject"},
      {new CStringDict, "CStringDict CDictionary ACollection AObject"},
      {RangeArray::New(0, 0), "RangeArray AArray AObject"},
      {AUnknown::New(1, 0), "AUnknown AUndoable APortable AObject"},
      {AUndoDesc::New(), "AUndoDesc AIODesc AObject"},
      {AStoreDesc::New(), "AStoreDesc AIODesc AObject"},
      {AVariMemStream::New(handle.get()), "AVariMemStream AMemStream AStream AObject"},
      {ADynamicMemStream::New(handle.get()), "ADynamicMemStream AStream AObject"},
      {ABlockMemStream::New(1, 1), "ABlockMemStream AStream AObject"},
      {ACrcStream::New(), "ACrcStream AStream AObject"},
      {APrintStream::New(Printed::print, 0), "APrintStream AStream AObject"},
      {ASectionStream::New(0, nullptr, nullptr, parent.get(), 0, 0, 0), "ASectionStream AStream AObject"},
      {new BufferStream(1, 1, false), "BufferStream AStream AObject"},
  };
  for (const auto& [made, names] : rows) {
    const Owned<AObject> object(made);
    std::istringstream words(names);
    std::string name;
    for (words >> name; words; words >> name) EXPECT_TRUE(object->IsInstanceOf(name.c_str())) << names;
    EXPECT_EQ(std::string(names).find(object->ClassName()), 0u) << names;
    EXPECT_FALSE(object->IsInstanceOf("Nobody")) << names;
  }
}
