#include "apps/kydoc/VolumeList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "core/filesys/Volumes.h"

TEST(VolumeList, HasEveryVolumeWithItsSize) {
  const std::string json = kydoc::volumesAsJson(), table = kydoc::volumesAsTable();
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), AVolumeCount() + 1);
  unsigned char none = 0;
  for (OSVolID id = AVolumeFirst(&none); !none; id = AVolumeNext(id, &none)) {
    VolInfo_t info;
    VolSpaceInfo_t space;
    ASSERT_TRUE(AVolumeInfo(id, &info));
    AVolumeSpace(id, &space);
    const std::size_t at = json.find("\"root\": \"" + std::string(info.root) + "\"");
    const std::string total = std::to_string(space.totalKB * 1024ull + space.totalExtra);
    EXPECT_LT(json.find("\"total\": " + total + ",", at), json.find('}', at)) << info.root;
    EXPECT_NE(table.find(std::string("  ") + info.root), std::string::npos) << table;
  }
}
