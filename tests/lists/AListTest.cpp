#include "core/lists/AList.h"

#include "tests/lists/ListSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string visited;
AList* walked;

void visit(void* object) { visited += char(static_cast<Counted*>(object)->value); }

/// A list of the objects a to d, which end with it, and an object that is not in it.
class AListTest : public testing::Test {
 protected:
  AListTest() : list(AList::New()), stranger(Counted::New('x')) {
    walked = list;
    for (Long name = 'a'; name <= 'd'; ++name) list->Append(Counted::New(name));
  }
  ~AListTest() override {
    list->DisposeAll();
    stranger.reset();
    EXPECT_EQ(Counted::alive, 0);
  }

  AObject* item(Long name) {
    const auto isNamed = [](void* object, LongPtr wanted) -> Boolean {
      return static_cast<Counted*>(object)->value == wanted;
    };
    AObject* const found = list->FindItem1(isNamed, name);
    return found ? found : stranger.get();
  }
  std::string order() {
    visited.clear();
    list->DoForEach(visit);
    list->DebugCheck();
    return visited;
  }

  AList* const list;
  Owned<Counted> stranger;
};

}  // namespace

// Each row goes on from the one before.
TEST_F(AListTest, PutsObjectsAmongEachOther) {
  const std::pair<std::function<void()>, const char*> rows[] = {
      {[&] { list->BringFront(item('c')); }, "cabd"},
      {[&] { list->SendBack(item('c')); }, "abdc"},
      {[&] { list->MoveUp(item('c')); }, "abcd"},
      {[&] { list->MoveUp(item('a')); }, "abcd"},
      {[&] { list->MoveDown(item('d')); }, "abcd"},
      {[&] { list->MoveDown(item('c')); }, "abdc"},
      {[&] { list->MoveToIndex(item('c'), 2); }, "acbd"},
      {[&] { list->BringFront(item('x')); }, "acbd"},
      {[&] { list->SendBack(item('x')); }, "acbd"},
      {[&] { list->MoveUp(item('x')); }, "acbd"},
      {[&] { list->MoveDown(item('x')); }, "acbd"},
      {[&] { list->MoveToIndex(item('x'), 1); }, "acbd"},
      {[&] { list->InsertAfter(Counted::New('e'), item('d')); }, "acbde"},
      {[&] { list->InsertAfter(Counted::New('f'), nullptr); }, "afcbde"},
      {[&] { list->Prepend(Counted::New('g')); }, "gafcbde"},
      {[&] { list->InsertAt(Counted::New('h'), 2); }, "ghafcbde"},
  };
  for (const auto& [act, want] : rows) {
    act();
    EXPECT_EQ(order(), want);
  }
  EXPECT_EQ(list->FirstItem(), item('g'));
  EXPECT_EQ(list->LastItem(), item('e'));
  EXPECT_EQ(list->NthItem(0), nullptr);
  EXPECT_EQ(list->NthItem(9), nullptr);
  EXPECT_EQ(list->FindIndex(item('f')), 4);
  EXPECT_EQ(list->Offset(item('f')), 3);
  EXPECT_LT(list->FindIndex(nullptr), 0);
}

TEST_F(AListTest, WalksUnderALockThatAnErrorLiftsToo) {
  const auto raising = [](void*) -> Boolean { return +XError("ERROR_OTHER", 0), false; };
  const auto nested = [](void* object, LongPtr) {
    visit(object);
    walked->FindItem([](void*) -> Boolean { return true; });  // restores the lock that it found
    EXPECT_EQ(checkFailedBy([] { walked->DeleteItem(1); }), "lockChanges == FALSE");
  };
  expectRefusals({
      {"lockChanges == FALSE", [&] { list->DoForEach([](void*) { walked->Add(nullptr); }); }},
      {"ERROR_OTHER", [&] { list->FindItem(raising); }},
  });
  visited.clear();
  list->DoForEach1(nested, 0);
  EXPECT_EQ(visited, "abcd");
  EXPECT_EQ(list->SetLockChanges(false), 0);
}

TEST_F(AListTest, EndsObjectsThatLeaveTheListOrFailAsTheyEnd) {
  static_cast<Counted*>(item('a'))->onDispose = [](void* ended) {
    walked->Remove(static_cast<AObject*>(ended));
    AObject* const third = walked->NthItem(3);
    walked->Remove(third);
    third->Dispose();
  };
  static_cast<Counted*>(item('b'))->onDispose = [](void*) { +XError("ERROR_OTHER", 0); };
  EXPECT_EQ(codeRaisedBy([&] { list->DisposeItems(); }), "ERROR_OTHER");
  EXPECT_EQ(Counted::alive, 1);
  EXPECT_TRUE(list->IsEmpty());
  EXPECT_EQ(list->FirstItem(), nullptr);
  EXPECT_EQ(list->LastItem(), nullptr);
}
