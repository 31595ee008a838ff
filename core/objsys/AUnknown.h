// Stands in for an object whose class this program does not know, and keeps its bytes.
#pragma once

#include "core/utils/AUndoable.h"

/// Read from a document as a sealed bag and written back byte for byte under the identifier that it came with. The
/// object numbers inside the bag are those of the document it was read from.
///
/// It is made by `New`; documents hold none under the identifier of this class itself, so that nobody registers it.
class KY_API AUnknown : public AUndoable {
  KY_PORTABLE(AUnknown, AUndoable, "UNKN", 1, 1, 1)

 public:
  /// A stand-in for an object of `classID` with `size` bytes; counted in `gUnknownArray` if that is set.
  static AUnknown* New(Long classID, Long size);

  AObject* Copy() override;
  void Put(AStream* stream, AIODesc* desc) override;
  void Get(AStream* stream, AIODesc* desc) override;

  // Virtual operations behind AUndoable's, in slot order.

  /// The identifier under which the object was read and will be written.
  virtual Long GetOrigClassID();

  void SetBagSize(Long size) { bagSize = size; }

 protected:
  AUnknown() = default;
  ~AUnknown() override;

  Long origClassID = 0;
  Long bagSize = 0;
  char** Bag_o_bits = nullptr;
};
