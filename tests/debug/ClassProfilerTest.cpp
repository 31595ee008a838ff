#include "core/debug/ClassProfiler.h"

#include "tests/support/Printed.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

template <int bytes>
class Sized : public AObject {
 public:
  const char* ClassName() override { return bytes < 100 ? "Small" : "Large"; }
  Long Size() override { return 1; }  // not asked

 protected:
  char data[bytes] = {};
};

}  // namespace

TEST(ClassProfiler, CountsObjectsByClass) {
  AObject::InstallLogRoutines(LogObjCreated, LogObjDisposed);
  const auto make = [](AObject* object) {
    object->IObject();
    return Owned<AObject>(object);
  };
  StartClassProfiler();
  const Owned<AObject> small = make(new Sized<24>), other = make(new Sized<24>), large = make(new Sized<992>);
  make(new Sized<24>);
  StopClassProfiler();
  make(new Sized<24>);

  Printed printed;
  PrintClassProfile(10, 2);
  EXPECT_TRUE(printed.text().ends_with(
      "\nLarge                    (1000)          1 (       1/       0)           1000 (1000)\n"
      "Small                    (  32)          2 (       3/       1)             64 (1064)\n"));
  AObject::InstallLogRoutines(nullptr, nullptr);
}
