#include "platform/Host.h"

#include <unistd.h>

#include <fstream>

namespace ky::platform {

std::string hostIdentifier() {
  std::string id;
  std::ifstream("/etc/machine-id") >> id;
  if (!id.empty()) return id;
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) == 0 && name[0] != 0) return name;
  return "localhost";
}

}  // namespace ky::platform
