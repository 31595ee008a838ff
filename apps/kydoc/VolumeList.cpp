#include "apps/kydoc/VolumeList.h"

#include <cstdio>
#include <iterator>
#include <nlohmann/json.hpp>
#include <vector>

#include "core/filesys/Volumes.h"

namespace kydoc {
namespace {

using Json = nlohmann::ordered_json;

struct Volume {
  VolInfo_t info;
  VolSpaceInfo_t space;
  bool isShareable = false;
};

/// What vanishes while it is asked is left out.
std::vector<Volume> allVolumes() {
  AVolumeInitialize();
  std::vector<Volume> volumes;
  unsigned char none = 0;
  for (OSVolID id = AVolumeFirst(&none); !none; id = AVolumeNext(id, &none)) {
    Volume volume;
    if (!AVolumeInfo(id, &volume.info)) continue;
    AVolumeSpace(id, &volume.space);
    volume.isShareable = AVolumeIsShareable(id) != 0;
    volumes.push_back(volume);
  }
  return volumes;
}

unsigned long long bytesOf(ULong kilobytes, ULong extra) { return kilobytes * 1024ull + extra; }

std::string sizeText(unsigned long long bytes) {
  static constexpr const char* units[] = {"KB", "MB", "GB", "TB", "PB"};
  double size = static_cast<double>(bytes) / 1024;
  std::size_t unit = 0;
  for (; size >= 1024 && unit + 1 < std::size(units); ++unit) size /= 1024;
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %s", size, units[unit]);
  return text;
}

const char* kindText(Long kind) {
  switch (kind) {
    case FS_NTFS:
      return "NTFS";
    case FS_FAT32:
      return "FAT32";
    case FS_CDFS:
      return "CDFS";
    case FS_SHARED:
      return "shared";
    default:
      return "other";
  }
}

std::string rowText(const char* total, const char* free, const char* shareable, const char* fileSystem,
                    const char* root) {
  char text[sizeof(VolInfo_t) + 64];
  std::snprintf(text, sizeof text, "%12s  %12s  %-9s  %-12s  %s", total, free, shareable, fileSystem, root);
  return text;
}

}  // namespace

std::string volumesAsTable() {
  std::string text = rowText("total", "free", "shareable", "file system", "root") + "\n";
  for (const Volume& volume : allVolumes()) {
    const VolSpaceInfo_t& space = volume.space;
    text += rowText(sizeText(bytesOf(space.totalKB, space.totalExtra)).c_str(),
                    sizeText(bytesOf(space.freeKB, space.freeExtra)).c_str(), volume.isShareable ? "yes" : "no",
                    volume.info.fileSystem, volume.info.root);
    if (*volume.info.label) text += std::string(" (") + volume.info.label + ")";
    text += "\n";
  }
  return text;
}

std::string volumesAsJson() {
  Json volumes = Json::array();
  for (const Volume& volume : allVolumes()) {
    const VolSpaceInfo_t& space = volume.space;
    volumes.push_back({{"root", volume.info.root},
                       {"label", *volume.info.label ? Json(volume.info.label) : Json(nullptr)},
                       {"fileSystem", volume.info.fileSystem},
                       {"kind", kindText(volume.info.kind)},
                       {"total", bytesOf(space.totalKB, space.totalExtra)},
                       {"free", bytesOf(space.freeKB, space.freeExtra)},
                       {"shareable", volume.isShareable}});
  }
  return volumes.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace kydoc
