// The pages on the formats: bytes that they show, row by row.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace ky::test {

/// The bytes of the rows "offset  bytes ; what" of a page, in its block of that kind if one is named.
inline std::string bytesOfPage(const std::string& name, const std::string& kind = "") {
  std::ifstream page(std::filesystem::path(KY_TEST_DATA).parent_path().parent_path() / "docs/formats" / name);
  std::string bytes;
  bool inside = kind.empty();
  for (std::string line; std::getline(page, line);) {
    if (!kind.empty() && line.starts_with("```")) inside = line == "```" + kind;
    if (!inside || line.find(';') < 6 || line.find("  ") != 4) continue;
    std::istringstream row(line.substr(6, line.find(';') - 6));
    for (unsigned byte; row >> std::hex >> byte;) bytes += static_cast<char>(byte);
  }
  return bytes;
}

}  // namespace ky::test
