// Edit lists as objects that documents hold: events in a chain, each knowing its list and its neighbours.
//
//   EditList::PCRegister();  // once
//   EditEvent::PCRegister();
//   Owned<EditList> list(EditList::New(readEdl(text, {}, {})));
//   EdlText again = list->toText();
#pragma once

#include <cstdint>
#include <span>

#include "apps/reel/CmxEdl.h"
#include "core/mem/Owned.h"
#include "core/objsys/PortableClass.h"
#include "core/utils/AUndoable.h"

namespace reel {

class EditList;

/// One event: its labels as frame counts, with the way in which it counts them.
class EditEvent : public AUndoable {
  KY_PORTABLE(EditEvent, AUndoable, "EVNT", 1, 1, 1)

 public:
  static EditEvent* New(const EdlEvent& event);

  /// Owns its texts. The copy stands alone, in no list.
  AObject* Copy() override;
  void Put(AStream* stream, AIODesc* desc) override;
  void Get(AStream* stream, AIODesc* desc) override;

  EdlEvent toText() const;

  EditList* list() const { return owner; }
  EditEvent* next() const { return following; }
  EditEvent* previous() const { return preceding; }

 protected:
  EditEvent() = default;
  ~EditEvent() override;

 private:
  friend class EditList;

  enum Text { kNumber, kReel, kTrack, kTransition, kClipName, kToClipName, kSpeedReel, kComments, kTexts };
  enum Time { kSourceIn, kSourceOut, kRecordIn, kRecordOut, kSpeedAt, kTimes };

  timecode_t timeOf(Time which) const { return {TCCreateDesc(drop, fps), times[which]}; }
  void disposeTexts();

  char** texts[kTexts] = {};  // null where absent; comments are lines
  Long transitionFrames = 0;
  Long times[kTimes] = {};
  unsigned short fps = 24;
  Boolean drop = 0;
  Boolean hasSpeed = 0;
  Rational speed;

  EditList* owner = nullptr;
  EditEvent* following = nullptr;
  EditEvent* preceding = nullptr;
};

/// Owns its events.
class EditList : public AUndoable {
  KY_PORTABLE(EditList, AUndoable, "EDIT", 1, 1, 1)

 public:
  static EditList* New(const EdlText& text);

  /// Copies the events too.
  AObject* Copy() override;
  void Put(AStream* stream, AIODesc* desc) override;
  void Get(AStream* stream, AIODesc* desc) override;

  EdlText toText() const;

  EditEvent* first() const { return firstEvent; }
  EditEvent* last() const { return lastEvent; }
  Long size() const { return count; }

  /// Puts an event behind the last one; the list owns it from then on.
  void append(EditEvent* event);

 protected:
  EditList() = default;
  ~EditList() override;

 private:
  static void verify(AObject* object);
  bool isWellLinked() const;

  char** title = nullptr;
  char** comments = nullptr;
  unsigned short fps = 24;
  Boolean drop = 0;
  Long count = 0;
  EditEvent* firstEvent = nullptr;
  EditEvent* lastEvent = nullptr;
};

/// Writes an object document that holds the list.
void writeDocument(EditList* list, AStream* stream);

/// The bytes of such a document.
std::vector<std::uint8_t> toDocument(EditList* list);

/// Raises:   what the document's reader raises, DOMAIN_BAD_STRM_DATA for a document of something else.
ky::Owned<EditList> readDocument(AStream* stream);
ky::Owned<EditList> fromDocument(std::span<const std::uint8_t> bytes);

}  // namespace reel
