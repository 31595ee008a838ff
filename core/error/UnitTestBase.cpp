#include "core/error/UnitTestBase.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <utility>

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

struct Console {
  std::mutex gate;
  UnitTestBase::LineSink sink = nullptr;
  int verbosity = 4;
  std::unique_ptr<std::FILE, CloseFile> log;
  int logLevel = 0;
  UnitTestBase::Counts counts;
};

// Lives as long as the process: lines may come from threads that outlast the static objects.
Console& console() {
  static auto* const shared = new Console;
  return *shared;
}

void writeTo(std::FILE* file, const char* line) {
  std::fputs(line, file);
  std::fflush(file);
}

}  // namespace

void UnitTestBase::AddComment(const char* line, int level) {
  Console& it = console();
  LineSink sink = nullptr;
  {
    const std::lock_guard hold(it.gate);
    if (it.log && level <= it.logLevel) writeTo(it.log.get(), line);
    if (level > it.verbosity) return;
    sink = it.sink;
    if (!sink) writeTo(stdout, line);
  }
  if (sink) sink(line, level);
}

void UnitTestBase::SetVerbose(int level) {
  const std::lock_guard hold(console().gate);
  console().verbosity = level;
}

int UnitTestBase::GetVerbose() {
  const std::lock_guard hold(console().gate);
  return console().verbosity;
}

Boolean UnitTestBase::LogOn(const char* name, const char* folder, int level) {
  const std::filesystem::path path = std::filesystem::path(folder) / name;
  std::error_code ignored;
  std::filesystem::create_directories(path.parent_path(), ignored);
  std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.string().c_str(), "a"));
  if (!file) return false;
  const std::lock_guard hold(console().gate);
  console().log = std::move(file);
  console().logLevel = level;
  return true;
}

void UnitTestBase::LogOff() {
  const std::lock_guard hold(console().gate);
  console().log.reset();
}

void UnitTestBase::AddError(const char* line) {
  {
    const std::lock_guard hold(console().gate);
    ++console().counts.errors;
  }
  AddComment(line, 0);
}

void UnitTestBase::AddProblem(const char* line) {
  {
    const std::lock_guard hold(console().gate);
    ++console().counts.problems;
  }
  AddComment(line, 0);
}

void UnitTestBase::Expect(int errors, int problems) {
  const std::lock_guard hold(console().gate);
  console().counts.expectedErrors = errors;
  console().counts.expectedProblems = problems;
}

UnitTestBase::Counts UnitTestBase::GetCounts() {
  const std::lock_guard hold(console().gate);
  return console().counts;
}

void UnitTestBase::Renew() {
  const std::lock_guard hold(console().gate);
  console().counts = {};
}

UnitTestBase::LineSink UnitTestBase::SetLineSink(LineSink sink) {
  const std::lock_guard hold(console().gate);
  return std::exchange(console().sink, sink);
}
