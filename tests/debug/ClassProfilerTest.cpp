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

}  // namespace

// One test, since the profile is the process's.
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

  const std::string smallRow = "Small                    (  32)          2 (       3/       1)             64 ";
  const std::string largeRow = "Large                    (1000)          1 (       1/       0)           1000 ";
  EXPECT_TRUE(profile(10, 1).ends_with("\n" + smallRow + "(64)\n" + largeRow + "(1064)\n"));
  EXPECT_TRUE(profile(10, 2).ends_with("\n" + largeRow + "(1000)\n" + smallRow + "(1064)\n"));
  ResetClassProfiler();
  EXPECT_EQ(profile(10, 2).find("Small"), std::string::npos);
  AObject::InstallLogRoutines(nullptr, nullptr);
}
