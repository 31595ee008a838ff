// The console's comment lines: verbosity, and a copy in a log file.
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

  /// Clears the counts of errors and problems, those met and those expected.
  static void Renew();

  /// Takes the lines shown; null stands for the standard output.
  ///
  /// Returns:  the sink that was in force.
  static LineSink SetLineSink(LineSink sink);
};
