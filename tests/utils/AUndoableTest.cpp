#include "core/utils/AUndoable.h"

#include "core/objsys/AIODesc.h"
#include "core/objsys/AUndoMgr.h"
#include "tests/objsys/Film.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string notes;

/// Notes what it is told, and keeps the storage of what ends if asked to.
class NotingMgr : public AUndoMgr {
 public:
  void ObjectCreating(AUndoable*) override { notes += "creating "; }
  void ObjectChanging(AUndoable*) override { notes += "changing "; }
  Boolean ObjectDestructing(AUndoable* object) override {
    notes += "destructing ";
    if (fails) +XError("MEM_OUT_OF_MEMORY", 0);
    if (keeps) kept = object;
    return keeps;
  }
  bool keeps = false, fails = false;
  void* kept = nullptr;
};

/// A manager for the length of a test.
class AUndoableTest : public testing::Test {
 protected:
  AUndoableTest() {
    AUndoMgr::SetUndoMgr(manager.get());
    notes.clear();
  }
  std::string noted() { return std::exchange(notes, ""); }

  Owned<NotingMgr> manager{new NotingMgr};
};

}  // namespace

TEST_F(AUndoableTest, TellsTheManagerOfItsLife) {
  Owned<Clip> clip(Clip::New("c"));
  clip->SaveUndoState();
  EXPECT_EQ(noted(), "");
  clip->SetUndoability(1, 1);
  clip->SetUndoability(1, 1);
  clip->SaveUndoState();
  EXPECT_EQ(noted(), "creating changing ");
  clip->SetUndoability(0, 0);
  clip->SaveUndoState();
  clip->SetUndoability(1, 0);
  EXPECT_EQ(noted(), "changing changing ");
  clip.reset();
  EXPECT_EQ(noted(), "destructing ");
}

TEST_F(AUndoableTest, UndoKeepsTheWordAndADocumentDoesNot) {
  registerFilm();
  Owned<AUndoable> object(AUndoable::RegNew());
  object->SetLastSave(9);
  object->SetUndoableFlag(UNDOABLE_NEW);
  Bytes bytes;
  Owned<AUndoDesc> undo(AUndoDesc::New());
  object->Put(bytes.stream.get(), undo.get());
  EXPECT_EQ(bytes.text(), std::string("\x09\x00\x00\x40", 4));
  Owned<AUndoable> copy(static_cast<AUndoable*>(object->Copy()));
  EXPECT_EQ(copy->GetLastSave(), 0);
  bytes.stream->SetPosition(0);
  copy->Get(bytes.stream.get(), undo.get());
  EXPECT_EQ(copy->GetLastSave(), 9);
  EXPECT_TRUE(copy->IsUndoableFlagSet(UNDOABLE_NEW));
}

TEST_F(AUndoableTest, StorageOutlivesTheDestructorForAManagerThatKeepsIt) {
  Clip* const clip = Clip::New("c");
  manager->keeps = true;
  clip->Dispose();
  EXPECT_EQ(manager->kept, clip);
  EXPECT_EQ(DeferredObject, nullptr);
  manager->keeps = false;
  AObject::operator delete(manager->kept);

  manager->fails = true;
  const NothingStays memory;
  Clip::New("c")->Dispose();
  EXPECT_EQ(DeferredObject, nullptr);
}
