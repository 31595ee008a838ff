#include "apps/kydoc/VolumeList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "core/filesys/Volumes.h"

TEST(VolumeList, HasEveryVolumeWithItsSizes) {
  const std::string json = kydoc::volumesAsJson(), table = kydoc::volumesAsTable();
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), AVolumeCount() + 1);
  unsigned char none = 0;
  int seen = 0;
  for (OSVolID id = AVolumeFirst(&none); !none; id = AVolumeNext(id, &none)) {
    VolInfo_t info;
    VolSpaceInfo_t space;
    ASSERT_TRUE(AVolumeInfo(id, &info));
    AVolumeSpace(id, &space);
    const std::size_t at = json.find("\"root\": \"" + std::string(info.root) + "\"");
    ASSERT_NE(at, std::string::npos) << info.root;
    const std::string entry = json.substr(at, json.find('}', at) - at);
    const std::string total = std::to_string(space.totalKB * 1024ull + space.totalExtra);
    EXPECT_NE(entry.find("\"total\": " + total + ","), std::string::npos) << entry;
    EXPECT_NE(entry.find("\"fileSystem\": \"" + std::string(info.fileSystem) + "\""), std::string::npos) << entry;
    EXPECT_NE(table.find(std::string("  ") + info.root), std::string::npos) << table;
    ++seen;
  }
  EXPECT_GT(seen, 0);
}
