#include "core/os/RegistryKey.h"

#include "platform/Files.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Test.h"
#include "tests/support/Waits.h"

using namespace ky;
using namespace ky::test;

namespace {

const std::string settings = "KyCore/settings";

/// Settings of their own for a test.
class RegistryKey : public testing::Test {
 protected:
  RegistryKey() { setenv("XDG_CONFIG_HOME", folder.path.c_str(), 1); }
  ~RegistryKey() override {
    DestroyWin32RegKey(key);
    unsetenv("XDG_CONFIG_HOME");
  }

  std::string stringIn(const char* name) const {
    char text[256] = "absent";
    key->GetStringValue(name, text, sizeof text);
    return text;
  }

  const TempFolder folder;
  KyRegistryKey* const key = CreateWin32RegKey("Recorder");
};

}  // namespace

TEST_F(RegistryKey, ValuesComeBackAsTheyWereSet) {
  const std::string awkward = "a \"quoted\" path\\to\n[a line]";
  const unsigned char bytes[] = {0, 0xff, '\n', '"', 0x80};
  key->SetLongValue("least", INT_MIN);
  key->setStringValue(awkward.c_str(), awkward.c_str());
  key->SetBinaryValue("bytes", bytes, sizeof bytes);

  Long number = 0, size = 3;
  EXPECT_TRUE(key->GetLongValue("least", &number));
  EXPECT_EQ(number, INT_MIN);
  EXPECT_EQ(stringIn(awkward.c_str()), awkward);
  unsigned char got[8] = {};
  EXPECT_FALSE(key->GetBinaryValue("bytes", got, &size)) << "too small a buffer";
  EXPECT_EQ(size, 5);
  EXPECT_TRUE(key->GetBinaryValue("bytes", got, &size));
  EXPECT_TRUE(std::equal(got, got + size, bytes, std::end(bytes)));
  EXPECT_FALSE(key->GetLongValue("bytes", &number)) << "of another type";
}

TEST_F(RegistryKey, DamageCostsNoMoreThanItsLine) {
  key->SetLongValue("before", 1);
  folder.write(
      settings,
      "[Software\\Zorvex\\Recorder]\n\"before\" long 1\n\"a\" long 1x\n\"b\" long 99999999999\n\"c\" binary 0g\n"
      "\"d\" binary 012\n\"e\" string \"open\n\"f\" colour 3\nrubbish\n\"g\" long\n[]\n[x\n\"after\" long 2");
  for (char name[] = "a"; *name <= 'g'; ++*name) EXPECT_EQ(key->GetValueType(name), REG_VALUE_NONE) << name;
  Long number = 0;
  EXPECT_TRUE(key->GetLongValue("before", &number) && key->GetLongValue("after", &number));
  EXPECT_EQ(number, 2);

  key->setStringValue("text", "some \\ text");
  key->SetBinaryValue("bytes", "\1\2\3", 3);
  const std::string whole = folder.read(settings);
  std::minstd_rand random(7);
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(random());
    folder.write(settings, i % 2 ? damaged : whole.substr(0, i));
    stringIn("text");
    key->SetLongValue("new", static_cast<Long>(i));
    ASSERT_TRUE(key->GetLongValue("new", &number) && number == static_cast<Long>(i)) << i;
  }
}

TEST_F(RegistryKey, SettersAtTheSameTimeLoseNothing) {
  onThreads(4, [this](int thread) {
    for (int n = thread; n < 40; n += 4) key->SetLongValue(std::to_string(n).c_str(), n);
  });
  for (int n = 0; n < 40; ++n) EXPECT_EQ(key->GetValueType(std::to_string(n).c_str()), REG_VALUE_LONG) << n;
}

TEST_F(RegistryKey, ASetterThatWaitsForAnotherProcessLetsTheOthersRun) {
  key->SetLongValue("x", 1);
  platform::File other;
  const std::string lock = folder / settings + ".lock";
  ASSERT_EQ(other.open(lock.c_str(), platform::Access::readWrite, platform::Disposition::openExisting), 0);
  ASSERT_EQ(other.lock(0, platform::LockKind::exclusive), 0);
  const FramedWaits frames;
  const SleptClock clock([&] {
    EXPECT_GT(FramedWaits::begun, FramedWaits::ended);
    other.close();
  });
  key->SetLongValue("x", 2);
  EXPECT_EQ(SleptClock::slept, 10);
}

TEST_F(RegistryKey, AStoreThatCannotBeWrittenIsAnErrorOfTheSetterAlone) {
  key->SetLongValue("z", 1);
  EXPECT_EQ(codeRaisedBy([&] { key->setStringValue("more than is read", std::string(17'000'000, 'x').c_str()); }),
            "DISK_FULL");
  EXPECT_EQ(key->GetValueType("z"), REG_VALUE_LONG);
  setenv("XDG_CONFIG_HOME", "/dev/null", 1);
  EXPECT_EQ(codeRaisedBy([&] { key->SetLongValue("x", 1); }), "DISK_FILE_NOT_FOUND");
  EXPECT_EQ(key->GetValueType("x"), REG_VALUE_NONE);
}
