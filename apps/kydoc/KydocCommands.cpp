#include "apps/kydoc/KydocCommands.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <nlohmann/json.hpp>
#include <vector>

#include "apps/kydoc/Inspector.h"
#include "apps/kydoc/VolumeList.h"
#include "apps/support/FileIo.h"
#include "apps/support/Program.h"
#include "apps/support/Progress.h"
#include "core/error/UIHooks.h"
#include "platform/Host.h"

using namespace kydoc;

namespace {

using Json = nlohmann::ordered_json;

template <class T>
Json orNull(const std::optional<T>& value) {
  return value ? Json(*value) : Json(nullptr);
}

Json headerJson(const Header& header) {
  return {{"domain", header.domain},
          {"swapped", header.swapped},
          {"version", header.version},
          {"timestamp", header.timestamp},
          {"numObjects", header.numObjects},
          {"rootObject", orNull(header.rootObject)},
          {"byteOrder", orNull(header.byteOrder)},
          {"uid", {{"high", orNull(header.uidHigh)}, {"low", orNull(header.uidLow)}}},
          {"fileType", orNull(header.fileType)},
          {"fileCreator", orNull(header.fileCreator)},
          {"creatorVersion", orNull(header.creatorVersion)}};
}

std::string hex(std::span<const std::uint8_t> bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

void row(const char* name, const std::string& value) { std::printf("%-16s %s\n", name, value.c_str()); }

void printHeader(const Header& header) {
  const auto text = [](const std::optional<std::string>& value) { return value.value_or("(not in this version)"); };
  row("domain", header.domain);
  row("prologue", header.swapped ? "in the other byte order" : "in this machine's byte order");
  row("version", std::to_string(header.version));
  row("timestamp", header.timestamp);
  row("objects", std::to_string(header.numObjects));
  row("root object", header.rootObject ? std::to_string(*header.rootObject) : "(the last one, in this version)");
  row("byte order", text(header.byteOrder));
  row("uid", header.uidHigh ? std::to_string(*header.uidHigh) + ", " + std::to_string(*header.uidLow) : text({}));
  row("file type", text(header.fileType));
  row("file creator", text(header.fileCreator));
  row("creator version", text(header.creatorVersion));
}

void printRecord(const Record& record) {
  std::printf("\nobject %ld  '%s'  at byte %lld, body of %zu bytes\n", static_cast<long>(record.number),
              codeText(record.classID).c_str(), static_cast<long long>(record.offset), record.body.size());
  constexpr std::size_t kRow = 32;
  for (std::size_t i = 0; i < record.body.size(); i += kRow)
    std::printf("  %6zu  %s\n", i, hex(record.body.subspan(i, std::min(kRow, record.body.size() - i))).c_str());
}

/// Records go out one by one, so that a dump takes no more memory than the largest of them.
void printRecordJson(const Record& record) {
  const Json object = {{"number", record.number},
                       {"classID", codeText(record.classID)},
                       {"offset", record.offset},
                       {"length", record.body.size()},
                       {"body", hex(record.body)}};
  std::printf("%s%s", record.number > 1 ? ",\n" : "\n", object.dump().c_str());
}

/// `use` with a bar that moves as the records pass.
std::function<void(const Record&)> shownIn(const char* what, const std::vector<std::uint8_t>& bytes,
                                           const std::function<void(const Record&)>& use) {
  return [=, size = static_cast<Int64>(bytes.size())](const Record& record) {
    support::showStep(what, record.number, record.offset, size);
    if (use) use(record);
  };
}

int refuse(const std::string& file, const Fault& fault) {
  UIstatClose();
  std::fflush(stdout);
  std::fprintf(stderr, "kydoc: %s: not a sound object document: %s\n", file.c_str(), faultText(fault).c_str());
  return support::kRefused;
}

}  // namespace

int kydoc::info(const std::string& file, bool json) {
  const std::vector<std::uint8_t> bytes = support::readFile(file);
  UIstatClose();
  const auto show = [json](const Header& header) {
    if (json)
      std::printf("%s\n", headerJson(header).dump(2).c_str());
    else
      printHeader(header);
  };
  const auto [fault, tail] = inspectHeader(bytes, show);
  return fault ? refuse(file, *fault) : support::kDone;
}

int kydoc::dump(const std::string& file, bool json) {
  const std::vector<std::uint8_t> bytes = support::readFile(file);
  // A document with a fault gives no half JSON: it is checked before the first line is printed.
  if (json) {
    if (const auto [fault, tail] = inspect(bytes, {}, shownIn("Checking the document", bytes, {})); fault)
      return refuse(file, *fault);
  }
  UIstatClose();
  const auto header = [json](const Header& h) {
    if (!json) return printHeader(h);
    std::string text = headerJson(h).dump();
    text.back() = ',';
    std::printf("%s\"objects\":[", text.c_str());
  };
  // Where the records are to be seen themselves, no bar runs between them.
  std::function<void(const Record&)> record = json ? printRecordJson : printRecord;
  if (!ky::platform::isOutputTerminal()) record = shownIn("Writing the objects", bytes, record);
  const auto [fault, tail] = inspect(bytes, header, record);
  if (fault) return refuse(file, *fault);
  if (json) std::printf("]}\n");
  return support::kDone;
}

int kydoc::verify(const std::string& file) {
  const std::vector<std::uint8_t> bytes = support::readFile(file);
  Header header;
  const auto [fault, tail] = inspect(
      bytes, [&](const Header& h) { header = h; }, shownIn("Checking the document", bytes, {}));
  UIstatClose();
  if (fault) return refuse(file, *fault);
  std::printf("%s: sound: version %d, %ld object%s\n", file.c_str(), header.version,
              static_cast<long>(header.numObjects), header.numObjects == 1 ? "" : "s");
  if (tail > 0)
    std::printf("%s: bytes behind the last object: %lld, the tail of a longer older document, which readers ignore\n",
                file.c_str(), static_cast<long long>(tail));
  return support::kDone;
}

int kydoc::volumes(bool json) {
  std::fputs((json ? volumesAsJson() : volumesAsTable()).c_str(), stdout);
  return support::kDone;
}
