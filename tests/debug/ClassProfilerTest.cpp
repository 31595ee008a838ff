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

std::string profile(short count, short mode) {
  const DebugPrinted printed;
  PrintClassProfile(count, mode);
  return printed.text();
}

const std::string kByNumber =
    "\nSorted By Number\n\nClass                     Size               Objects                    Bytes\n";
const std::string kByBytes =
    "\nSorted By Bytes\n\nClass                            Objects                     Bytes\n";

}  // namespace

// One test, since the profile is the process's.
TEST(ClassProfiler, CountsObjectsByClass) {
  EXPECT_EQ(profile(10, 1), "Class Dictionary empty\n");
  AObject::InstallLogRoutines(LogObjCreated, LogObjDisposed);
  const auto make = [](AObject* object) {
    object->IObject();
    return Owned<AObject>(object);
  };
  make(new Sized<24>);  // not running yet
  StartClassProfiler();
  const Owned<AObject> small = make(new Sized<24>), other = make(new Sized<24>), large = make(new Sized<992>);
  make(new Sized<24>);
  StopClassProfiler();
  make(new Sized<24>);

  const std::string smallRow = "Small                    (  32)          2 (       3/       1)             64 ";
  const std::string largeRow = "Large                    (1000)          1 (       1/       0)           1000 ";
  EXPECT_EQ(profile(10, 1), kByNumber + smallRow + "(64)\n" + largeRow + "(1064)\n");
  EXPECT_EQ(profile(10, 2), kByBytes + largeRow + "(1000)\n" + smallRow + "(1064)\n");
  EXPECT_EQ(profile(1, 2), kByBytes + largeRow + "(1000)\n");
  ResetClassProfiler();
  EXPECT_EQ(profile(10, 2), kByBytes) << "a class without counts prints nothing";
  AObject::InstallLogRoutines(nullptr, nullptr);
}
