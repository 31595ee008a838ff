#include "core/filesys/Volumes.h"

#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "core/filesys/CoreWinLocators.h"
#include "tests/support/Printed.h"
#include "tests/support/Test.h"
#include "tests/support/Waits.h"

using namespace ky;
using namespace ky::test;

TEST(Volumes, TheListHoldsEachMountedDeviceOnceWithItsFacts) {
  {
    const FramedWaits frames;
    AVolumeInitialize();
    EXPECT_EQ(FramedWaits::begun, 1) << "a volume that does not answer keeps only its asker waiting";
  }
  std::set<dev_t> devices;
  unsigned char err = 0;
  for (OSVolID at = AVolumeFirst(&err); !err; at = AVolumeNext(at, &err)) {
    VolInfo_t info;
    ASSERT_TRUE(AVolumeInfo(at, &info));
    SCOPED_TRACE(info.root);
    struct stat facts;
    ASSERT_EQ(stat(info.root, &facts), 0);
    EXPECT_TRUE(devices.insert(facts.st_dev).second);
    EXPECT_EQ(OSVolID::Compare(AVolumeID(info.root, nullptr), at), 0);
    char name[kVolumeFullNameSize];
    AVolumeName(at, name);
    EXPECT_NE(std::string(name).find(info.root), std::string::npos);
    VolSpaceInfo_t space;
    ASSERT_TRUE(AVolumeSpace(at, &space));
    EXPECT_EQ(UInt64{space.totalKB} * 1024 + space.totalExtra, std::filesystem::space(info.root).capacity);
    EXPECT_FALSE(AVolumeIsShareable(at));
  }
  EXPECT_EQ(devices.size(), std::size_t(AVolumeCount()));
  struct stat root;
  stat("/", &root);
  EXPECT_EQ(devices.count(root.st_dev), 1u);
}

TEST(Volumes, AnUnknownVolumeHasNoFacts) {
  const OSVolID unknown;
  VolInfo_t info;
  VolSpaceInfo_t space;
  char text[kVolumeFullNameSize] = "x";
  EXPECT_FALSE(AVolumeInfo(unknown, &info) || AVolumeSpace(unknown, &space) || AVolumeName(unknown, text));
  const Owned<CoreWinFileLocator> toBeMade(CoreWinFileLocator::New("/tmp", "not there at all"));
  EXPECT_EQ(OSVolID::Compare(toBeMade->GetOSVolID(), AVolumeID("/tmp", nullptr)), 0);
}

TEST(Volumes, EmulatedSharedStorageFollowsFromItsSize) {
  const OSVolID volume = AVolumeID("/", nullptr);
  CorvaneInfo_t info;
  CorvaneEmulation(131072 * 4);
  EXPECT_TRUE(IsCorvaneFS(volume) && AVolumeIsShareable(OSVolID()));
  GetCorvaneInfo(volume, 3, &info);
  EXPECT_EQ(info.chunkSize, 131072);
  EXPECT_EQ(info.limitSize, 131072 * 8);
  EXPECT_EQ(info.efficientRead.min, 131072 * 4);
  CorvaneEmulation(0x2000000);
  GetCorvaneInfo(volume, 3, &info);
  EXPECT_EQ(info.limitSize, 0x4000000);
  EXPECT_EQ(info.efficientWrite.max, 0x1000000) << "and no more";
  CorvaneEmulation(131073);
  EXPECT_EQ(refusalOf([&] { GetCorvaneInfo(volume, 3, &info); }), "(outInfo->efficientRead.min % chunkSize) == 0");
  CorvaneEmulation(0);
}

TEST(Volumes, SharedStorageThatIsNotThereTellsWhatWasAskedOfIt) {
  const OSVolID volume = AVolumeID("/", nullptr);
  CorvaneInfo_t info;
  Printed printed;
  EXPECT_FALSE(IsCorvaneFS(volume) || IsCorvaneFSInstalled(true));
  EXPECT_TRUE(printed.text().starts_with("Error: 'SCManager':\n"));
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[&] { GetCorvaneInfo(volume, 3, &info); }, "GetCorvaneInfo can't CORVANE_IOCTL_GET_PERF_DATA_V1 on ioRefNum"},
      {[&] { GetCorvaneInfo(volume, ULong(-1), &info); }, "GetCorvaneInfo given bad ioRefNum"},
      {[] { SetCorvaneMaxTransfer(1); }, "\\\\.\\zorvexfs"}};
  for (const auto& [ask, said] : cases) EXPECT_EQ(parm(errorRaisedBy(ask), "filename"), said);
}
