#include "core/lists/AList.h"

#include "tests/lists/ListSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string visited;
AList* walked;

void visit(void* object) { visited += char(static_cast<Counted*>(object)->value); }

/// A list of the objects a to d, which end with it.
class AListTest : public testing::Test {
 protected:
  AListTest() : list(AList::New()) {
    walked = list;
    for (Long name = 'a'; name <= 'd'; ++name) list->Append(Counted::New(name));
  }
  ~AListTest() override {
    list->DisposeAll();
    EXPECT_EQ(Counted::alive, 0);
  }

  AObject* item(Long name) {
    const auto isNamed = [](void* object, LongPtr wanted) -> Boolean {
      return static_cast<Counted*>(object)->value == wanted;
    };
    return list->FindItem1(isNamed, name);
  }
  std::string order() {
    visited.clear();
    list->DoForEach(visit);
    list->DebugCheck();
    return visited;
  }

  AList* const list;
};

}  // namespace

// Each row goes on from the one before.
TEST_F(AListTest, PutsObjectsAmongEachOther) {
  const std::pair<std::function<void()>, const char*> rows[] = {
      {[&] { list->BringFront(item('c')); }, "cabd"},
      {[&] { list->SendBack(item('c')); }, "abdc"},
      {[&] { list->MoveUp(item('c')); }, "abcd"},
      {[&] { list->MoveUp(item('a')), list->MoveDown(item('d')); }, "abcd"},
      {[&] { list->MoveDown(item('c')); }, "abdc"},
      {[&] { list->MoveToIndex(item('c'), 2); }, "acbd"},
      {[&] { list->InsertAfter(Counted::New('e'), item('d')); }, "acbde"},
      {[&] { list->InsertAfter(Counted::New('f'), nullptr); }, "afcbde"},
      {[&] { list->Prepend(Counted::New('g')); }, "gafcbde"},
      {[&] { list->InsertAt(Counted::New('h'), 2); }, "ghafcbde"},
  };
  for (const auto& [act, want] : rows) {
    act();
    EXPECT_EQ(order(), want);
  }
  EXPECT_TRUE(!list->NthItem(0) && !list->NthItem(9));
  EXPECT_EQ(list->FindIndex(item('f')), 4);
  EXPECT_LT(list->FindIndex(nullptr), 0);
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
  EXPECT_TRUE(list->IsEmpty());
}
