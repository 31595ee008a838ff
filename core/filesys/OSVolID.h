// A volume's identity, and what the file layer asks of whoever knows the volumes.
#pragma once

#include "core/base/KyTypes.h"

/// One volume of this host. The number behind it is given anew in each process: nothing to store.
class KY_API OSVolID {
 public:
  OSVolID() = default;
  explicit OSVolID(Long number) : value(number) {}

  /// Takes or gives the number, a `Long`; -1 is no known volume.
  void Set(const void* number);
  void Get(void* number) const;

  /// Returns:  `buffer`, with where the volume lies in the tree of files, cut to `size`; "" for an unknown one.
  char* GetAsString(char* buffer, int size) const;

  /// Returns:  below 0, 0 or above 0, as strcmp does.
  static int Compare(const OSVolID& a, const OSVolID& b);

 private:
  Long value = -1;
};

/// How a volume on shared storage likes to be used.
///
/// Units:    bytes.
struct CorvaneInfo_t {
  struct Sizes {
    Long min = 0;
    Long max = 0;
  };

  Long blockSize = 0;
  Long chunkSize = 0;  ///< the block size that pays
  Long limitSize = 0;
  Sizes efficientRead;
  Sizes efficientWrite;
};

namespace ky {

/// Who knows the volumes; null at load, when no volume is shared and none has a name.
struct VolumeServices {
  Boolean (*isShared)(OSVolID volume) = nullptr;
  /// `ioRefNum` is the number by which the host knows an open file of the volume.
  void (*transferSizes)(OSVolID volume, ULong ioRefNum, CorvaneInfo_t* out) = nullptr;
  void (*mountPath)(OSVolID volume, char* buffer, int size) = nullptr;
};

/// Threads:  start-up only; no lock.
KY_API void installVolumeServices(const VolumeServices& services);
KY_API const VolumeServices& volumeServices();

}  // namespace ky
