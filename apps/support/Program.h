// What the programs share: start-up, exit statuses, worded errors.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>

namespace support {

enum ExitStatus { kDone = 0, kFailed = 1, kWrongUsage = 2, kRefused = 3 };

/// Input that a program reads well but cannot accept; its text is the whole message.
class RefusedInput : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// "reel 0.1.0 (KyCoreM2W10)": what --version prints.
std::string versionText(const std::string& program);

/// Puts `examples`, one a line, at the head of --help.
void showExamplesFirst(CLI::App& app, const std::string& examples);

/// Adds a file that a command cannot do without.
void addFile(CLI::App& command, const std::string& name, std::string& file, const std::string& what);

/// Runs `work` on a file; should it raise, the message names the file.
void about(const std::string& file, const std::function<void()>& work);

/// Runs `work` and words whatever ends it early.
///
/// A raised error goes to standard error as "name: CODE: words" and gives `kFailed`; refused input gives `kRefused`.
/// Output that cannot be written is an error too.
///
/// Returns:  the exit status.
int runWork(const std::string& name, const std::function<int()>& work);

/// Starts the library, parses the command line and runs `work` as above, or --help or --version in its place; a wrong
/// command line gives `kWrongUsage`. On a terminal a bar shows how far long work has come.
///
/// Returns:  the exit status.
int runProgram(CLI::App& app, int argc, char** argv, const std::function<int()>& work);

}  // namespace support
