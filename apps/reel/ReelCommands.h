// What the program does: import, list, export.
#pragma once

#include <optional>
#include <string>

#include "apps/reel/CmxEdl.h"

namespace reel {

/// Makes the stored classes known; once, after the library's start.
void registerClasses();

struct ImportOptions {
  unsigned short fps = 0;            // 0: as the list says
  std::optional<std::string> title;  // of kLongestTitle bytes at most
};

/// Reads an edit list and saves it as a document. Lines kept as comments are told on standard error.
///
/// Raises:   support::RefusedInput with "file:line: ..."; what files and documents raise. The document is then as it
///           was before.
void importEdl(const std::string& edl, const std::string& document, const ImportOptions& options);

EdlText loadDocument(const std::string& document);

/// Prints the list.
void listDocument(const std::string& document, bool json);

void exportEdl(const std::string& document, const std::string& edl);

std::string listAsTable(const EdlText& list);
/// One JSON object, indented. Text that is not UTF-8 shows replacement characters.
std::string listAsJson(const EdlText& list);

}  // namespace reel
