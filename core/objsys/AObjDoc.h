// Object documents: a header, then a flat list of objects that point at each other by number.
#pragma once

#include "core/objsys/ADomain.h"

class AArray;

/// Unlike for any other document of the process.
struct KyUid {
  ULong high = 0;
  ULong low = 0;
};

/// `high` tells the host, `low` the time in seconds, forced to increase.
KY_API void MakeUid(KyUid* uid);

/// One stream's worth of objects. The layout is told in docs/formats/object-document.md.
///
///     AObjDoc* doc = AObjDoc::New(stream, 0, Long(MakeChar4("REEL")));    // save
///     doc->CopyIn(root);
///     doc->Close();
///
///     ADomain* doc = ADomain::OpenFromStream(stream, 0);                  // load
///     APortable* root = doc->CopyOut();                                   // the caller's
///     doc->Close();
class KY_API AObjDoc : public ADomain {
  KY_CLASS(AObjDoc, ADomain)

 public:
  /// A new document: writes the prologue.
  ///
  /// Raises:   DOMAIN_RAND_STRM_REQUIRED.
  static AObjDoc* New(AStream* stream, Boolean deleteDev, Long fileType);
  /// Files the opener of object documents; calls `ADomain::InitClass`.
  static void InitClass();

  void SetFileType(Long type) { fileType = Char4(type); }
  void SetFileCreator(Long creator) { fileCreator = Char4(creator); }

  /// When on, a load drops objects of unknown classes. Only for documents whose unknowns are leaves: an object read
  /// before the unknown's own record keeps the address of what is dropped.
  static void SetNoUnknowns(Boolean drop);

  /// The class callbacks of a document's stream: one byte of major version per mark.
  static void WriteClassCB(void* domain, AStream* stream, Long pcid, char version);
  static char ReadClassCB(void* domain, AStream* stream, Long pcid);

  Long GetDomainKey() override;
  void InitDomainNew() override;
  void InitDomainOld() override;
  void SetStream(AStream* stream, Boolean deleteDev) override;
  /// Writes the graph that `root` reaches, from the start of the content on. A longer document that stood there keeps
  /// its tail.
  ///
  /// Raises:   what a `Put` or the stream raised, with DOMAIN_COPYIN_FAILED on top; the stream then holds a partial
  ///           file.
  void CopyIn(APortable* root) override;
  /// Reads the document's objects. When it fails, those that no other was read to point at are disposed, and the others
  /// are left to their owners among them.
  ///
  /// Returns:  the root, the caller's; null for a document without objects. Its class is what the document says: see
  ///           `ky::asReadClass`. An object that only a field points at which its reader steps over is nobody's, and
  ///           stays in memory.
  /// Raises:   AOBJDOC_VERSION_MISMATCH with "char version", DOMAIN_BAD_STRM_DATA with "str reason",
  ///           NO_OBJECT_CREATED, PCREG_UNKNOWN_ENCOUNTERED, what a `Get` or the stream raised; DOMAIN_COPYOUT_FAILED
  ///           on top.
  APortable* CopyOut() override;

  // Virtual operations behind ADomain's, in slot order.

  /// The length of the object's body, counted on `stream`.
  virtual Long PrefltObject(AStream* stream, APortable* object);
  virtual void WriteObject(AStream* stream, APortable* object, Long length);
  virtual void CreateObject(AStream* stream, Long number);
  virtual void LoadObject(AStream* stream, Long number);
  /// The normal write: finds and measures all objects breadth-first in a list, then writes each once.
  virtual void SpeedyCopyIn(APortable* root);
  /// The write for short memory: no list, each object put twice, depth-first.
  virtual void SpaceyCopyIn(APortable* root);

 protected:
  AObjDoc() = default;
  ~AObjDoc() override;
  void IObjDoc(AStream* stream, Boolean deleteDev, Boolean isNew, Long fileType);

  char** objListMarks = nullptr;
  AStream* countStream = nullptr;
  Long numObjects = 0;
  Long lastNumObjects = 0;
  char idSize = 0;
  Long numStubs = 0;
  AArray* preflightList = nullptr;
  char version = 0;
  char** objList = nullptr;
  Char4 fileType = 0;
  Char4 fileCreator = 0;
  Char4 byteOrder = 0;
  KyUid uid;

  // Pointer callbacks: of the preflight, the write, the four stages of the low-memory write, and the load.
  static void PrefltCB(void* domain, AStream* stream, const char* label, APortable* object);
  static void WriteCB(void* domain, AStream* stream, const char* label, APortable* object);
  static void AltIDAssignCB(void* domain, AStream* stream, const char* label, APortable* object);
  static void AltCountingCB(void* domain, AStream* stream, const char* label, APortable* object);
  static void AltCtlCB(void* domain, AStream* stream, const char* label, APortable* object);
  static void AltWriteCB(void* domain, AStream* stream, const char* label, APortable* object);
  static APortable* ReadCB(void* domain, AStream* stream, const char* label);

 private:
  static AObjDoc* make(AStream* stream, Boolean deleteDev, Boolean isNew, Long fileType);

  /// Whether what is done for each object is done as told here, which spares asking that for each object.
  bool isOwnKind() const;

  template <class Walk>
  void walkForWrite(APortable* root, Walk&& walk);
  void preflight(APortable* root);
  void measureObjects();
  void writeObjects();
  void startContent(AStream::PtrWriteFunc writePtr);
  void writeHeader();
  void writeCreatorVersion();
  void writeMeasured(APortable* object);
  void endWrite();

  APortable* readObjects();
  Long readHeader();
  void readIdentity();
  void createAndLoad();
  void createObjects();
  void loadObjects();
  void noteIfUnknown(Long number);
  void growLists(Long number);
  ULong readNumber(AStream* stream, const char* label);
  void disposeUnreferred();
  void disposeDropped();
  void endRead();
  void lookAtLists();
  APortable* readPtr(AStream* stream, const char* label);

  // The blocks of both lists, until one is resized or ended, and how many objects can be asked for on the short way.
  struct Listed {
    APortable** object = nullptr;
    char* mark = nullptr;
    ULong count = 0;
  };
  Listed listed;
  Int64 contentEnd = 0;  // of the stream being read
  Long listSlots = 0;    // of both lists
};
