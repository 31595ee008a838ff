#include "apps/support/Program.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "apps/support/Progress.h"
#include "core/error/CurrentError.h"
#include "core/error/Fatal.h"
#include "core/error/Guarded.h"
#include "core/error/SystemErrors.h"
#include "core/error/UIHooks.h"
#include "core/error/XError.h"
#include "core/filesys/Paths.h"
#include "core/os/HostStart.h"
#include "platform/Folders.h"
#include "platform/Host.h"

namespace support {
namespace {

/// The words for the codes that a user of the programs can meet; parameters stand in angle brackets.
const char* messageFor(const char* code) {
  static const struct {
    const char* code;
    const char* words;
  } messages[] = {
      {"AOBJDOC_BAD_MAGIC", "this is a document, but not an object document"},
      {"AOBJDOC_VERSION_MISMATCH", "this document was written by a newer program (its version is not known here)"},
      {"CORE_INTEGER_TOO_BIG", "<intName> is <intVal>, and <maxIntVal> is the largest allowed"},
      {"DISK_ACCESS_DENIED", "access to \"<filename>\" is denied"},
      {"DISK_DIR_NOT_EMPTY", "the folder \"<filename>\" is not empty"},
      {"DISK_DIR_NOT_FOUND", "there is no folder \"<filename>\""},
      {"DISK_EOF", "the file \"<filename>\" ends too early"},
      {"DISK_FILE_ALREADY_EXISTS", "\"<filename>\" exists already"},
      {"DISK_FILE_LOCKED", "\"<filename>\" is locked by another program"},
      {"DISK_FILE_NOT_FOUND", "there is no file \"<filename>\""},
      {"DISK_FULL", "there is no room left on the disk for \"<filename>\""},
      {"DISK_INVALID_FILENAME_SYNTAX",
       "\"<filename>\" cannot be a file's name: it is too long, or holds a character that not every system takes"},
      {"DISK_IO_ERROR", "the disk failed while working on \"<filename>\""},
      {"DISK_SEEK_ERROR", "\"<filename>\" is 2 GB or longer, or a pipe or device where a file on a disk is needed"},
      {"DISK_SHARING_VIOLATION", "\"<filename>\" is in use by another program"},
      {"DISK_TOO_MANY_OPEN", "too many files are open to open \"<filename>\""},
      {"DISK_WRITE_ERROR", "<filename> could not be written: <msg>"},
      {"DOMAIN_BAD_MAGIC", "this is not an object document"},
      {"DOMAIN_BAD_STRM_DATA", "the document is damaged: <reason>"},
      {"DOMAIN_COPYIN_FAILED", "the document could not be written"},
      {"DOMAIN_COPYOUT_FAILED", "the document could not be read"},
      {"DOMAIN_KEY_UNKNOWN", "this is a document of a kind that is not known here"},
      {"FATAL_ERROR", "the program found itself in a state that must not be (<msg>, <file>, line <line>)"},
      {"FILE_OTHER", "\"<filename>\" could not be used"},
      {"MEM_OUT_OF_MEMORY", "there is not enough memory"},
      {"NO_OBJECT_CREATED", "the document is damaged: it refers to an object that could not be made"},
      {"STRM_BAD_POSITION", "the document is damaged: it refers to a place outside itself"},
      {"STRM_BUF_SMALL", "the document is damaged: it holds a text that is longer than <buflen> bytes"},
      {"STRM_EOF", "the document ends too early"},
      {"STRM_ILLEGAL_MINOR_VERSION",
       "an object of the document has minor version <minorVersion>; known here are <min> to <max>"},
      {"STRM_ILLEGAL_OBJECT_VERSION",
       "an object of class '<pcid>' has version <version>; known here are <min> to <max>"},
      {"STRM_INCORRECT_LENGTH", "the document is damaged: it holds a length that cannot be"},
      {"STRM_UNEXPECTED_TAG", "the document is damaged: an object's fields do not begin or end where they should"},
      {"SYS_ERROR", "<msg>"},
      {"std::exception", "<what>"},
  };
  for (const auto& message : messages)
    if (std::strcmp(message.code, code) == 0) return message.words;
  return nullptr;
}

/// A broken invariant becomes an error like any other, so that it is worded and the old file stays whole.
unsigned char raiseFatal(const char* text, const char* file, int line) {
  FatalErrXRaise(text, file, line);
  return true;
}

/// The file that the error at hand is about, if it does not say so itself.
std::string subject;

/// The code of a level. A lack of memory that the standard library raised is one like any other.
const char* codeAt(const XError& error, int level) {
  char what[32];
  const char* const code = error.GetLevelCode(level);
  if (!code) return "ERROR_OTHER";
  const bool isForeign = std::strcmp(code, "std::exception") == 0;
  const bool tells = isForeign && error.GetParmAsString(what, sizeof what, level, "what");
  return tells && std::strcmp(what, "std::bad_alloc") == 0 ? "MEM_OUT_OF_MEMORY" : code;
}

/// A system denies access to a folder in place of a file as it does to a file of somebody else.
const char* messageAt(const XError& error, int level) {
  const char* const code = codeAt(error, level);
  char file[ky::kPathSize];
  ky::platform::EntryFacts facts;
  if (std::strcmp(code, "DISK_ACCESS_DENIED") == 0 && error.GetParmAsString(file, sizeof file, level, "filename") &&
      ky::platform::entryFacts(file, &facts) == 0 && facts.isFolder)
    return "\"<filename>\" is a folder; a file was expected";
  return messageFor(code);
}

/// Every level of the error, the newest first: what was attempted, then what failed beneath it. What the system says
/// of a file is left out where the level above has it in words of its own.
std::string words(const XError& error) {
  const StSetCurrentException current(&error);
  std::string text;
  const char* above = nullptr;
  for (int level = ESGetTopLevel(); level > 0; --level) {
    const char* const code = codeAt(error, level);
    const bool isEcho = above && std::strcmp(code, "SYS_ERROR") == 0 && std::strcmp(above, "FILE_OTHER") != 0;
    above = code;
    if (isEcho) continue;
    char message[512] = "";
    error.ExpandString(message, sizeof message, messageAt(error, level), level);
    text += (text.empty() ? "" : ": ") + std::string(message);
  }
  if (text.empty()) text = "no details are known";
  return subject.empty() || text.find(subject) != std::string::npos ? text : subject + ": " + text;
}

/// What is wrong with a command line that names no command.
std::string wordsOfNoCommand(const CLI::App& app, const std::vector<std::string>& typed) {
  std::string text;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    text += (text.empty() ? "one of " : ", ") + command->get_name();
  text += " was expected";
  return typed.empty() ? text : text + ", not \"" + typed.front() + "\"";
}

/// The parser's own words, but where they count what was typed in place of naming it.
std::string wordsOfMisuse(const CLI::App& app, const CLI::ParseError& wrong) {
  std::vector<std::string> typed = app.remaining(true);
  std::erase(typed, "--");  // ends the options, wherever it stands
  if (app.get_subcommands().empty()) return wordsOfNoCommand(app, typed);
  const std::string text = wrong.what();
  if (dynamic_cast<const CLI::ExtrasError*>(&wrong))
    return '"' + (typed.empty() ? "--" : typed.front()) + "\" was not expected";
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&wrong))
    return text.substr(0, text.find(':')) + ": one value was expected";
  return text;
}

void flushOutput() {
  errno = 0;
  if (std::fflush(stdout) != 0 || std::ferror(stdout))
    +XError("DISK_WRITE_ERROR", "str filename", "standard output", "str msg", std::strerror(errno), 0);
}

void startLibrary(const std::string& program) {
  static const std::string name = program;
  static ky::ProgramVersion version{KY_VERSION_MAJOR, KY_VERSION_MINOR, KY_VERSION_PATCH};
  version.product = version.internalName = name.c_str();
  version.fileVersion = KY_VERSION;
  KyHostSettings settings;
  settings.fatalHandler = raiseFatal;
  settings.version = &version;
  if (ky::platform::errorTerminalWidth() > 0) settings.uiRoutines = progressRoutines();
  KyStartHost(settings);
}

}  // namespace

std::string versionText(const std::string& program) { return program + " " KY_VERSION " (KyCoreM2W10)"; }

void showExamplesFirst(CLI::App& app, const std::string& examples) {
  std::string indented = "Examples:\n  ";
  for (const char c : examples) indented += c == '\n' ? "\n  " : std::string(1, c);
  app.description(indented + "\n\n" + app.get_description() + "\n");
}

void addFile(CLI::App& command, const std::string& name, std::string& file, const std::string& what) {
  const auto isName = [](const std::string& text) { return text.empty() ? "a file name was expected, not \"\"" : ""; };
  command.add_option(name, file, what)->required()->check(isName, "");
}

void about(const std::string& file, const std::function<void()>& work) {
  ky::guardedReraise(work, [&] { subject = file; });
}

int runWork(const std::string& name, const std::function<int()>& work) {
  int status = kFailed;
  subject.clear();
  const auto refusable = [&] {
    try {
      status = work();
    } catch (const RefusedInput& refused) {
      UIstatClose();
      std::fprintf(stderr, "%s: %s\n", name.c_str(), refused.what());
      status = kRefused;
    }
    UIstatClose();
    flushOutput();
  };
  ky::guarded(refusable, [&](XError& caught) {
    UIstatClose();
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s: %s\n", name.c_str(), codeAt(caught, caught.GetTopLevel()), words(caught).c_str());
    status = kFailed;
  });
  return status;
}

int runProgram(CLI::App& app, int argc, char** argv, const std::function<int()>& work) {
  const std::string name = app.get_name();
  startLibrary(name);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {
    return runWork(name, [&] {
      std::ostringstream answer;
      const int status = app.exit(asked, answer);
      std::fputs(answer.str().c_str(), stdout);
      return status;
    });
  } catch (const CLI::ParseError& wrong) {
    const auto commands = app.get_subcommands();
    const std::string help = commands.empty() ? " --help for examples and options"
                                              : " " + commands.front()->get_name() + " --help for its options";
    std::fprintf(stderr, "%s: %s\nRun %s%s.\n", name.c_str(), wordsOfMisuse(app, wrong).c_str(), name.c_str(),
                 help.c_str());
    return kWrongUsage;
  }
  return runWork(name, work);
}

}  // namespace support
