#include "core/utils/AUndoable.h"

#include "core/lists/AliasSpec.h"
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
  NotingMgr() = default;
  void ObjectCreating(AUndoable*) override { notes += "creating "; }
  void ObjectChanging(AUndoable*) override { notes += "changing "; }
  Boolean ObjectAssociating(AUndoable*, const aliasSpec_struct&) override { return notes += "associating ", 0; }
  Boolean ObjectDisassociating(AUndoable*, const aliasSpec_struct&) override {
    return notes += "disassociating ", takesOver;
  }
  Boolean ObjectDestructing(AUndoable* object) override {
    notes += "destructing ";
    if (fails) +XError("MEM_OUT_OF_MEMORY", 0);
    if (keeps) kept = object;
    return keeps;
  }
  bool takesOver = false, keeps = false, fails = false;
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

void attach(AUndoable*, const aliasSpec_struct*) { notes += "attach "; }
void detach(AUndoable*, const aliasSpec_struct*) { notes += "detach "; }

}  // namespace

TEST_F(AUndoableTest, TellsTheManagerOfItsLife) {
  Owned<Clip> clip(Clip::New("c"));
  clip->SaveUndoState();
  EXPECT_EQ(noted(), "");
  clip->SetUndoability(1, 1);
  clip->SetUndoability(1, 1);
  clip->SaveUndoState();
  EXPECT_TRUE(clip->IsUndoEnabled());
  EXPECT_EQ(noted(), "creating changing ");
  clip->SetUndoability(0, 0);
  clip->SetUndoability(0, 0);
  clip->SaveUndoState();
  EXPECT_FALSE(clip->IsUndoEnabled());
  clip->SetUndoability(1, 0);
  EXPECT_EQ(noted(), "changing changing ");
  clip.reset();
  EXPECT_EQ(noted(), "destructing ");
}

TEST_F(AUndoableTest, UndoKeepsTheWordAndADocumentDoesNot) {
  registerFilm();
  Owned<AUndoable> object(AUndoable::RegNew());
  object->SetLifeID(7);
  object->SetLastSave(9);
  object->SetUndoableFlag(UNDOABLE_NEW);
  Bytes bytes;
  Owned<AUndoDesc> undo(AUndoDesc::New());
  object->Put(bytes.stream.get(), undo.get());
  EXPECT_EQ(bytes.text(), std::string("\x09\x00\x00\x40", 4));

  Owned<AUndoable> copy(static_cast<AUndoable*>(object->Copy()));
  EXPECT_EQ(copy->GetLifeID(), 0);
  EXPECT_EQ(copy->GetLastSave(), 0);
  bytes.stream->SetPosition(0);
  copy->Get(bytes.stream.get(), undo.get());
  EXPECT_EQ(copy->GetLastSave(), 9);
  EXPECT_TRUE(copy->IsUndoableFlagSet(UNDOABLE_NEW));

  Owned<AStoreDesc> store(AStoreDesc::New());
  object->Get(bytes.stream.get(), store.get());
  EXPECT_EQ(object->GetLifeID(), 0);
  EXPECT_FALSE(object->IsUndoableFlagSet(UNDOABLE_NEW));
}

TEST_F(AUndoableTest, AliasesAreTiedAtOnceAndUntiedByWhoeverTakesCharge) {
  Owned<Clip> clip(Clip::New("c"));
  aliasSpec_struct spec;
  clip->AttachAlias(spec);
  clip->DetachAlias(spec);
  EXPECT_EQ(noted(), "");
  spec = {1, 0, nullptr, attach, detach};
  clip->AttachAlias(spec);
  clip->DetachAlias(spec);
  EXPECT_EQ(noted(), "attach detach ");
  clip->SetUndoability(1, 1);
  noted();
  clip->AttachAlias(spec);
  clip->DetachAlias(spec);
  EXPECT_EQ(noted(), "associating attach disassociating detach ");
  manager->takesOver = true;
  clip->DetachAlias(spec);
  EXPECT_EQ(noted(), "disassociating ");
}

TEST_F(AUndoableTest, StorageOutlivesTheDestructorForAManagerThatKeepsIt) {
  class Tied : public Clip {
   public:
    Tied() = default;
    void Unplug() override { notes += "unplug "; }
  };
  Clip* const clip = new Tied;
  manager->keeps = true;
  clip->Dispose();
  EXPECT_EQ(noted(), "unplug destructing ");
  EXPECT_EQ(manager->kept, clip);
  EXPECT_EQ(DeferredObject, nullptr);
  manager->keeps = false;
  Owned<Clip> other(Clip::New("o"));
  EXPECT_NE(static_cast<void*>(other.get()), manager->kept);
  AObject::operator delete(manager->kept);

  manager->fails = true;
  const NothingStays memory;
  Clip::New("c")->Dispose();
  EXPECT_EQ(DeferredObject, nullptr);
}
