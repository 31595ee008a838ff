#include <core/mem/KyHandles.h>
#include <core/objsys/AObjDoc.h>
#include <core/objsys/TypedRead.h>
#include <core/os/HostStart.h>
#include <core/utils/AUndoable.h>
#include <core/utils/MemStreams.h>

#include <cstdio>

class Clip : public AUndoable {
  KY_PORTABLE(Clip, AUndoable, "CLIP", 1, 1, 1)

 public:
  void Put(AStream* stream, AIODesc* desc) override {
    AUndoable::Put(stream, desc);
    WriteClassMark(stream);
    stream->WriteLong("length", length);
    stream->WriteObjPtr("next", next);
  }
  void Get(AStream* stream, AIODesc* desc) override {
    AUndoable::Get(stream, desc);
    CheckClassMark(stream);
    length = stream->ReadLong("length");
    next = ky::readObjPtrOf<Clip>(stream, "next");
  }
  Long length = 0;
  Clip* next = nullptr;
};

int main() {
  KyStartHost();
  Clip::PCRegister();

  Clip* first = new Clip;
  first->length = 100;
  first->next = new Clip;
  first->next->length = 250;
  first->next->next = first;  // graphs may hold cycles

  AStream* file = AVariMemStream::NewWithEOF(KyNewHandle(256), 0);
  AObjDoc* saved = AObjDoc::New(file, false, Long(MakeChar4("CUTS")));
  saved->CopyIn(first);
  saved->Close();

  file->SetPosition(0);
  ADomain* opened = ADomain::OpenFromStream(file, false);
  Clip* loaded = ky::asReadClass<Clip>(opened->CopyOut());
  opened->Close();
  std::printf("%ld + %ld frames, %s\n", long(loaded->length), long(loaded->next->length),
              loaded->next->next == loaded ? "in a ring" : "in a row");
}
