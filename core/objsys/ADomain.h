// Places that an object graph can be put into and taken out of, and the prologue their files share.
#pragma once

#include "core/objsys/PortableClass.h"

/// *CopyIn* is into the domain (a save), *CopyOut* out of it (a load).
///
/// Threads:  one thread at a time for the whole process while a walk runs, since walks share the visit counter.
class KY_API ADomain : public APortable {
  KY_PORTABLE(ADomain, APortable, "DOMN", 1, 1, 1)

 public:
  /// Files the opener of a kind of domain under the key that its files carry.
  ///
  /// Raises:   DOMAIN_DUPLICATE_KEY with "long key".
  static void Register(Long key, ADomain* (*open)(AStream* stream, Boolean deleteDev));

  /// Reads the prologue at the stream's position, sets the stream's byte order by it, and opens the kind of domain
  /// found.
  ///
  /// Raises:   DOMAIN_BAD_MAGIC; DOMAIN_KEY_UNKNOWN with "long key"; what the kind's opener raises.
  /// Owns:     the domain takes `stream` if `deleteDev`; while this raises, the stream stays the caller's.
  static ADomain* OpenFromStream(AStream* stream, Boolean deleteDev);

  /// Registers the debug subsystems "Domain" and "DomainData".
  static void InitClass();

  /// Ends the domain's parts, the stream too if it is the domain's; what closing the stream raises comes out at the
  /// end.
  void Dispose() override;
  /// A domain is not itself stored: `Put` is fatal, and a file that says it holds one raises DOMAIN_BAD_STRM_DATA.
  void Put(AStream* stream, AIODesc* desc) override;
  void Get(AStream* stream, AIODesc* desc) override;

  // Virtual operations behind APortable's, in slot order.
  virtual Long GetDomainKey();
  virtual Long GetContentStartPos();
  virtual void InitDomainNew();
  virtual void InitDomainOld();
  virtual void SetDeleteDev(Boolean deleteDev);
  /// Owns:     `desc`, until another is set; the former one is the caller's then.
  virtual void SetIODesc(AIODesc* desc);
  virtual AIODesc* GetIODesc();
  /// `Dispose`.
  virtual void Close();
  /// Closes the former stream if it is the domain's, and starts a new domain on this one.
  ///
  /// Raises:   what closing the former stream raises, before this one is taken; what the prologue raises, behind that.
  virtual void SetStream(AStream* stream, Boolean deleteDev);
  virtual void CopyIn(APortable* root);
  virtual APortable* CopyOut();

 protected:
  ADomain() = default;
  ~ADomain() override;
  /// Writes the prologue (`isNew`) or reads what follows it; a null stream is for later.
  void IDomain(AStream* stream, Boolean deleteDev, Boolean isNew);

  /// Stands behind the prologue, in its byte order: a walk before may have left the stream in that of the bodies.
  void goToContent();

  Boolean deleteDev = 0;
  Long contentStartPos = 0;
  AIODesc* ioDesc = nullptr;
  AStream* stream = nullptr;

 private:
  void closeStream();

  Boolean isPrologueSwapped = 0;
};
