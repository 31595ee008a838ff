// A stream whose whole purpose is its trace: every value written becomes a line of text.
#pragma once

#include "core/utils/AStream.h"

/// Prints what is written to it, counting the bytes it would take. The print function stays for good.
class KY_API APrintStream : public AStream {
  KY_CLASS(APrintStream, AStream)

 public:
  static APrintStream* New(KyPrint print, int indent = 0);

  /// Prints the object's address and its domain data, or "NULL".
  void WriteObjPtr(const char* label, APortable* object) override;
  /// Not supported.
  void SetTraceFunc(KyPrint print) override;
  /// Not supported: see Indent.
  int IndentTrace(int delta) override;

  // Virtual operation behind AStream's.

  /// Returns:  the new indent.
  virtual int Indent(int delta);

 protected:
  APrintStream() = default;
  ~APrintStream() override = default;
  void IPrintStream(KyPrint print, int indent);
};
