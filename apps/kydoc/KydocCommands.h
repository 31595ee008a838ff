// What the program does: info, dump, verify, volumes. Each returns its exit status.
#pragma once

#include <string>

namespace kydoc {

// Raises:   what reading the file raises. A document that is not sound is told on standard error.

int info(const std::string& file, bool json);
int dump(const std::string& file, bool json);
int verify(const std::string& file);
int volumes(bool json);

}  // namespace kydoc
