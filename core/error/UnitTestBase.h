// The console's lines: verbosity, a copy in a log file, and counts of what went wrong.
#pragma once

#include "core/base/KyTypes.h"

class KY_API UnitTestBase {
 public:
  typedef void (*LineSink)(const char* line, int level);

  /// Shows `line` if the verbosity is at least `level`, and logs it if the log's level is.
  static void AddComment(const char* line, int level);

  /// Units:    0 shows nothing, 5 everything.
  static void SetVerbose(int level);
  static int GetVerbose();

  /// Logs lines up to `level` in the file `name` in `folder`, which is made if it does not exist.
  ///
  /// Returns:  false if the file cannot be written.
  static Boolean LogOn(const char* name, const char* folder, int level);
  static void LogOff();

  struct Counts {
    int errors = 0;
    int problems = 0;
    int expectedErrors = 0;
    int expectedProblems = 0;
  };

  /// Shows `line` whatever the verbosity, and counts it.
  static void AddError(const char* line);
  static void AddProblem(const char* line);

  /// Tells how many errors and problems a test is to meet.
  static void Expect(int errors, int problems);
  static Counts GetCounts();

  /// Clears all four counts.
  static void Renew();

  /// Takes the lines shown; null stands for the standard output.
  ///
  /// Returns:  the sink that was in force.
  static LineSink SetLineSink(LineSink sink);
};
