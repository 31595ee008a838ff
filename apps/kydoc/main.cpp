// The document inspector: what an object document holds, whatever its classes.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apps/kydoc/Inspector.h"
#include "apps/kydoc/VolumeList.h"
#include "apps/support/FileIo.h"
#include "apps/support/Program.h"

namespace {

using kydoc::Header;
using kydoc::Record;
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
              kydoc::codeText(record.classID).c_str(), static_cast<long long>(record.offset), record.body.size());
  constexpr std::size_t kRow = 32;
  for (std::size_t i = 0; i < record.body.size(); i += kRow)
    std::printf("  %6zu  %s\n", i, hex(record.body.subspan(i, std::min(kRow, record.body.size() - i))).c_str());
}

/// Records go out one by one, so that a dump takes no more memory than the largest of them.
void printRecordJson(const Record& record) {
  const Json object = {{"number", record.number},
                       {"classID", kydoc::codeText(record.classID)},
                       {"offset", record.offset},
                       {"length", record.body.size()},
                       {"body", hex(record.body)}};
  std::printf("%s%s", record.number > 1 ? ",\n" : "\n", object.dump().c_str());
}

int refuse(const std::string& file, const kydoc::Fault& fault) {
  std::fflush(stdout);
  std::fprintf(stderr, "kydoc: %s: not a sound object document: %s\n", file.c_str(), faultText(fault).c_str());
  return support::kRefused;
}

int info(const std::string& file, const std::vector<std::uint8_t>& bytes, bool json) {
  const auto show = [json](const Header& header) {
    if (json)
      std::printf("%s\n", headerJson(header).dump(2).c_str());
    else
      printHeader(header);
  };
  const auto [fault, tail] = kydoc::inspectHeader(bytes, show);
  return fault ? refuse(file, *fault) : support::kDone;
}

int dump(const std::string& file, const std::vector<std::uint8_t>& bytes, bool json) {
  // A document with a fault gives no half JSON: it is checked before the first line is printed.
  if (json) {
    if (const auto [fault, tail] = kydoc::inspect(bytes, {}, {}); fault) return refuse(file, *fault);
  }
  const auto header = [json](const Header& h) {
    if (!json) return printHeader(h);
    std::string text = headerJson(h).dump();
    text.back() = ',';
    std::printf("%s\"objects\":[", text.c_str());
  };
  const auto [fault, tail] = kydoc::inspect(bytes, header, json ? printRecordJson : printRecord);
  if (fault) return refuse(file, *fault);
  if (json) std::printf("]}\n");
  return support::kDone;
}

int verify(const std::string& file, const std::vector<std::uint8_t>& bytes) {
  Header header;
  const auto [fault, tail] = kydoc::inspect(bytes, [&](const Header& h) { header = h; }, {});
  if (fault) return refuse(file, *fault);
  std::printf("%s: sound: version %d, %ld objects\n", file.c_str(), header.version,
              static_cast<long>(header.numObjects));
  if (tail > 0)
    std::printf("%s: %lld bytes follow the last object: the tail of a longer older document, which readers ignore\n",
                file.c_str(), static_cast<long long>(tail));
  return support::kDone;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "Shows and checks object documents, whatever their classes, and lists the volumes that they may lie on."};
  app.name("kydoc");
  app.set_version_flag("--version", support::versionText("kydoc"));
  app.require_subcommand(1);
  support::showExamplesFirst(app,
                             "kydoc info cut.kyb             what the document says of itself\n"
                             "kydoc dump cut.kyb --json      header and every object record, as JSON\n"
                             "kydoc verify cut.kyb           check it; tells where and why it is not sound\n"
                             "kydoc volumes                  what room there is on each volume");

  std::string file;
  bool json = false;
  const auto command = [&](const char* name, const char* what, bool withJson) {
    CLI::App* sub = app.add_subcommand(name, what);
    sub->add_option("FILE", file, "an object document, versions 1 to 4, either byte order")->required();
    if (withJson) sub->add_flag("--json", json, "one JSON object on standard output");
    return sub;
  };
  const CLI::App* infoCommand = command("info", "Show the header", true);
  const CLI::App* dumpCommand = command("dump", "Show the header and every object record", true);
  command("verify", "Check the whole document; exit status 0 if sound, 3 if not", false);
  CLI::App* const volumes =
      app.add_subcommand("volumes", "List the volumes of this machine: size, free space, shareable, kind, root, label");
  volumes->add_flag("--json", json, "one JSON array on standard output");

  return support::runProgram(app, argc, argv, [&] {
    if (volumes->parsed()) {
      std::fputs((json ? kydoc::volumesAsJson() : kydoc::volumesAsTable()).c_str(), stdout);
      return int{support::kDone};
    }
    const std::vector<std::uint8_t> bytes = support::readFile(file);
    if (infoCommand->parsed()) return info(file, bytes, json);
    if (dumpCommand->parsed()) return dump(file, bytes, json);
    return verify(file, bytes);
  });
}
