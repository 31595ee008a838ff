// The document inspector: what an object document holds, whatever its classes.
#include <CLI/CLI.hpp>
#include <string>

#include "apps/kydoc/KydocCommands.h"
#include "apps/support/Program.h"

int main(int argc, char** argv) {
  CLI::App app{
      "Shows and checks object documents, whatever their classes, and lists the volumes that they may lie on.\n\n"
      "Exit status: 0 done, 1 failed, 2 wrong usage, 3 not a sound object document."};
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
    support::addFile(*sub, "FILE", file, "an object document, versions 1 to 4, either byte order");
    if (withJson) sub->add_flag("--json", json, "one JSON object on standard output");
    return sub;
  };
  const CLI::App* infoCommand = command("info", "Show the header", true);
  const CLI::App* dumpCommand = command("dump", "Show the header and every object record", true);
  command("verify", "Check the whole document", false);
  CLI::App* const volumes = app.add_subcommand(
      "volumes", "List the volumes of this machine: size, free space, shareable, file system, root, label");
  volumes->add_flag("--json", json, "one JSON array on standard output");

  return support::runProgram(app, argc, argv, [&] {
    if (volumes->parsed()) return kydoc::volumes(json);
    if (infoCommand->parsed()) return kydoc::info(file, json);
    if (dumpCommand->parsed()) return kydoc::dump(file, json);
    return kydoc::verify(file);
  });
}
