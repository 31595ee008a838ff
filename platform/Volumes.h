// The file systems that are mounted on this host.
#pragma once

#include <string>
#include <vector>

#include "core/base/KyTypes.h"

namespace ky::platform {

struct MountedVolume {
  UInt64 device = 0;
  std::string root;  ///< where it lies, without a separator at its end unless that is all
  std::string label;
  std::string fileSystem;
};

/// The file systems that keep files, each once, without those that do not answer. May wait for one on the network.
KY_API std::vector<MountedVolume> mountedVolumes();

/// Units:    bytes; `free` is what this user may still write.
/// Returns:  a number of the file-error table.
KY_API int volumeSpace(const char* root, UInt64* total, UInt64* free);

/// The device that `path` lies on, or will once it is made.
KY_API bool deviceOf(const char* path, UInt64* device);

// Services that a host may lack. Each returns a number of the file-error table.

/// Whether the driver of shared storage runs.
KY_API int sharedStorageService(bool* running);
KY_API int setSharedStorageTransfer(Long bytes);
/// The driver's facts about a volume: block, chunk and limit size, then the least and greatest efficient read and
/// write.
KY_API int sharedStorageFacts(Long volume, Long (*facts)[7]);
KY_API int enumerateNetworkProviders(std::vector<std::string>* names);

}  // namespace ky::platform
