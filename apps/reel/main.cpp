// The edit-list program: CMX3600 lists in and out of object documents.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "apps/reel/CmxWords.h"
#include "apps/reel/ReelCommands.h"
#include "apps/support/Program.h"

namespace {

constexpr const char* kDescription =
    "Reads CMX3600 edit lists into object documents, lists them, and writes them back.\n\n"
    "The FCM lines decide whether timecodes are drop-frame, whatever separators they are written with. An FCM line\n"
    "in the middle of a list counts for the events behind it; each event keeps its own way of counting, and the\n"
    "list has that of its first event.\n\n"
    "Exit status: 0 done, 1 failed, 2 wrong usage, 3 refused input.";

constexpr const char* kExamples =
    "reel import examples/feature-reel.edl cut.kyb       save an edit list as a document\n"
    "reel import examples/advert-25.edl ad.kyb --fps 25  a list counted at 25 frames per second\n"
    "cat cut.edl | reel import /dev/stdin cut.kyb        read it from a pipe\n"
    "reel list cut.kyb                                   show its events\n"
    "reel list cut.kyb --json                            the same for programs\n"
    "reel export cut.kyb back.edl                        write an edit list again";

/// These return what is wrong with a value as it was typed, "" for nothing.
std::string isRate(const std::string& text) {
  const bool isNumber = !text.empty() && text.size() < 4 && text.find_first_not_of("0123456789") == std::string::npos;
  if (isNumber && reel::isEdlRate(std::stoi(text))) return "";
  return "one of 24, 25, 30, 48, 50, 60 was expected, not \"" + text + "\"";
}

std::string isTitle(const std::string& text) {
  if (text.size() <= reel::kLongestTitle) return "";
  return "a title of at most " + std::to_string(reel::kLongestTitle) + " bytes was expected, not of " +
         std::to_string(text.size());
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{kDescription};
  app.name("reel");
  app.set_version_flag("--version", support::versionText("reel"));
  app.require_subcommand(1);
  support::showExamplesFirst(app, kExamples);

  std::string in, out;
  reel::ImportOptions options;
  bool json = false;

  CLI::App* const import = app.add_subcommand("import", "Save an edit list as a document");
  support::addFile(*import, "IN.edl", in, "a CMX3600 edit list");
  support::addFile(*import, "OUT.kyb", out, "the document; an older one is replaced once the new one is on the disk");
  import
      ->add_option("--fps", options.fps,
                   "frames per second, one of 24, 25, 30, 48, 50, 60; otherwise what a comment \"* FRAME RATE: n\" at "
                   "the head says, else 30 for a list with FCM: DROP FRAME and 24 for others")
      ->type_name("N")
      ->check(isRate, "");
  import->add_option("--title", options.title, "a title in place of the list's own")->check(isTitle, "");

  CLI::App* const list = app.add_subcommand("list", "Show the events of a document");
  support::addFile(*list, "FILE.kyb", in, "a document");
  list->add_flag("--json", json, "one JSON object on standard output");

  CLI::App* const exporting = app.add_subcommand("export", "Write a document as an edit list");
  support::addFile(*exporting, "FILE.kyb", in, "a document");
  support::addFile(*exporting, "OUT.edl", out,
                   "the edit list; an older one is replaced once the new one is on the disk");

  return support::runProgram(app, argc, argv, [&] {
    reel::registerClasses();
    if (import->parsed()) {
      reel::importEdl(in, out, options);
    } else if (exporting->parsed()) {
      reel::exportEdl(in, out);
    } else {
      reel::listDocument(in, json);
    }
    return int{support::kDone};
  });
}
