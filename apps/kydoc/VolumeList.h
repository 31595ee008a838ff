// What the program tells of the volumes of this host.
#pragma once

#include <string>

namespace kydoc {

std::string volumesAsTable();
/// One JSON array, indented; sizes in bytes.
std::string volumesAsJson();

}  // namespace kydoc
