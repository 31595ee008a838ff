// The lines that a persistent class writes to be stored, registered and recognised.
#pragma once

#include "core/objsys/APortable.h"
#include "core/objsys/PClass.h"
#include "core/utils/AStream.h"

/// Gives a persistent class its identity and registration; stands first in the class and leaves it private.
///
///     class Clip : public AUndoable {
///       KY_PORTABLE(Clip, AUndoable, "CLIP", 1, 1, 1)
///
///      public:
///       void Put(AStream* stream, AIODesc* desc) override {
///         AUndoable::Put(stream, desc);
///         WriteClassMark(stream);
///         stream->WriteLong("length", length);
///         stream->WriteObjPtr("next", next);
///       }
///       void Get(AStream* stream, AIODesc* desc) override {
///         AUndoable::Get(stream, desc);
///         CheckClassMark(stream);
///         length = stream->ReadLong("length");
///         next = ky::readObjPtrOf<Clip>(stream, "next");
///       }
///       Long length = 0;
///       Clip* next = nullptr;
///     };
///     ...
///     Clip::PCRegister();  // once, at start-up
///
/// The three numbers are the major version written and the least and greatest read. The class marks are static because
/// each level of a class chain writes and checks its own. A class whose minor versions added fields names them by
/// KY_PORTABLE_EXTENDED and puts them, tagged, behind a `WriteBeginTagMark`; one without such fields writes no begin
/// mark.
#define KY_PORTABLE(Class, Base, pcid, written, minRead, maxRead) \
  KY_PORTABLE_EXTENDED(Class, Base, pcid, written, minRead, maxRead, "NO_EXTENSIONS")

#define KY_PORTABLE_EXTENDED(Class, Base, pcid, written, minRead, maxRead, extension)     \
  KY_PORTABLE_IDENTITY(Class, Base, pcid, written, minRead, maxRead, extension)           \
 public:                                                                                  \
  static Class* RegNew() { return new Class; }                                            \
  static void PCRegister() {                                                              \
    PClassAdd(                                                                            \
        Long(portableID), portableName, +[]() -> APortable* { return Class::RegNew(); }); \
  }                                                                                       \
                                                                                          \
 private:

/// The identity alone, for a class that writes its own `RegNew` and `PCRegister` or that no document creates.
#define KY_PORTABLE_IDENTITY(Class, Base, pcid, written, minRead, maxRead, extension)                       \
  KY_CLASS(Class, Base)                                                                                     \
 public:                                                                                                    \
  static constexpr Char4 portableID = MakeChar4(pcid);                                                      \
  static constexpr const char* portableName = #Class;                                                       \
  ULong GetClassID() const override { return portableID; }                                                  \
  unsigned char GetVersionWritten() const override { return VersionWritten; }                               \
  unsigned char GetMinVersionRead() const override { return MinVersionRead; }                               \
  unsigned char GetMaxVersionRead() const override { return MaxVersionRead; }                               \
  const char* GetExtensionDescription() const override { return extension; }                                \
                                                                                                            \
 private:                                                                                                   \
  static constexpr char VersionWritten = written;                                                           \
  static constexpr char MinVersionRead = minRead;                                                           \
  static constexpr char MaxVersionRead = maxRead;                                                           \
  static void WriteClassMark(AStream* stream) { stream->WriteClassMark(Long(portableID), VersionWritten); } \
  static char ReadClassMark(AStream* stream) { return stream->ReadClassMark(Long(portableID)); }            \
  static char CheckClassMark(AStream* stream) {                                                             \
    return stream->CheckClassMark(Long(portableID), MinVersionRead, MaxVersionRead);                        \
  }
