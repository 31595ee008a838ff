// The base of every object that can be stored, undone or printed.
#pragma once

#include "core/base/AObject.h"

class AAFDomain;
class AIODesc;
class AStream;
class IAAFObject;
class omf2Domain;
class omf2OOBJ;

namespace ky {
struct WalkMarks;
}

/// Gives an object a class identity, three version numbers and the pair `Put` and `Get`; see PortableClass.h for the
/// lines that a class of its own writes.
///
/// Threads:  the visit counter is one for the process, so that only one walk over a graph of objects may run at a time.
class KY_API APortable : public AObject {
  KY_CLASS(APortable, AObject)

 public:
  static constexpr Char4 portableID = 0;
  static constexpr const char* portableName = "APortable";

  /// A flat copy; fails in `GetClassID` for a class that has none.
  AObject* Copy() override;
  /// Through the installed dump hook, else as AObject.
  void Dump(KyPrint print, int indent) override;

  // Virtual operations behind AObject's, in slot order. The first five are supplied by each class.
  virtual ULong GetClassID() const;
  virtual unsigned char GetVersionWritten() const;
  virtual unsigned char GetMinVersionRead() const;
  virtual unsigned char GetMaxVersionRead() const;
  /// Names the attributes that minor versions added, or "NO_EXTENSIONS".
  virtual const char* GetExtensionDescription() const;

  // What a walk keeps on the object. The library's own walks go to the fields without these calls.

  /// Whatever the domain at work wants to remember, in practice the object's number; the next walk overwrites it.
  virtual Long GetDomainData();
  virtual void SetDomainData(Long data);
  /// The object counts as visited until the next `IncrementGlobalVisitID`.
  virtual void MarkVisited();
  virtual Boolean WasVisited();
  /// Takes the other's bytes, class and all (see `HandleBecomeLike`); for callers that may replace the object
  /// wholesale.
  virtual void BecomeLike(APortable* other);
  /// Writes the fields of this class, those of its base first; the base writes none.
  virtual void Put([[maybe_unused]] AStream* stream, [[maybe_unused]] AIODesc* desc) {}
  /// Reads what `Put` wrote; the base resets the object by `IObject`.
  virtual void Get([[maybe_unused]] AStream* stream, [[maybe_unused]] AIODesc* desc) { IObject(); }
  /// `Put` and the end mark.
  virtual void PutObjectToStream(AStream* stream, AIODesc* desc);
  /// `Get`, and the search for the end mark, which steps over what a newer program appended.
  virtual void GetObjectFromStream(AStream* stream, AIODesc* desc);
  // Extension points for interchange domains: null, null, false.
  virtual omf2OOBJ* ConvertToOMF2(omf2Domain* domain);
  virtual IAAFObject* ConvertToAAF(AAFDomain* domain);
  virtual Boolean ConvertFromAAF(AAFDomain* domain, IAAFObject* object);

  /// Starts a walk: no object counts as visited after it.
  static void IncrementGlobalVisitID();
  /// Installs what `Dump` prints through, null for AObject's one line.
  static void InstallDumpRoutine(void (*dump)(APortable* object, KyPrint print, int indent));

 protected:
  APortable() = default;
  ~APortable() override = default;
  void IPortable();

  // By the object's own identifier and versions, so only for a class that nothing is derived from; the static twins
  // that PortableClass.h declares serve the levels of a chain.
  void WriteClassMark(AStream* stream) const;
  char ReadClassMark(AStream* stream) const;
  char CheckClassMark(AStream* stream) const;

  friend struct ky::WalkMarks;

  static Long globalVisitID;

  Long domainData = 0;
  Long visitID = 0;
};

/// Gives `dest` the bytes of `source`, which needs "KySize(dest) >= KySize(source)"; nothing either owns is looked at.
KY_API void HandleBecomeLike(void* dest, void* source);
