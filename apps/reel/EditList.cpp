#include "apps/reel/EditList.h"

#include <cstring>
#include <utility>

#include "core/mem/KyStringHandles.h"
#include "core/objsys/AObjDoc.h"
#include "core/objsys/TypedRead.h"
#include "core/utils/MemStreams.h"

namespace reel {
namespace {

using ky::Owned;
using ky::OwnedHandle;

constexpr Char4 kFileType = MakeChar4("REEL");

/// Null for an empty text.
char** newText(const std::string& text) { return text.empty() ? nullptr : KyNewSHdl(text.c_str()); }

std::string textIn(char** handle) { return handle ? *handle : ""; }

void disposeText(char**& handle) { OwnedHandle(std::exchange(handle, nullptr)).reset(); }

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

std::vector<std::string> linesIn(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

/// A text of any length; strings of streams end at 32,767 characters.
///
/// Wire:     4-byte length, -1 for no text; the bytes.
void putLongText(AStream* stream, const char* label, char** handle) {
  const Long length = handle ? static_cast<Long>(KySHdlLength(handle)) : -1;
  stream->WriteLong("length", length);
  if (length > 0) stream->WriteBytes(label, *handle, length);
}

void getLongText(AStream* stream, const char* label, char**& text) {
  disposeText(text);
  const Long length = stream->ReadLong("length");
  if (length == -1) return;
  if (length < 0 || length > ky::remaining(stream)) ky::raiseBadStreamData("A text is longer than its document");
  OwnedHandle read = OwnedHandle::ofSize(length + 1);
  stream->ReadBytes(label, read.data(), length);
  read.data()[length] = '\0';
  text = read.release();
}

void getText(AStream* stream, const char* label, char**& text) {
  disposeText(text);
  text = stream->ReadStringHandle(label);
}

}  // namespace

EditEvent* EditEvent::New(const EdlEvent& event) {
  Owned<EditEvent> made(new EditEvent);
  made->IUndoable(1);
  const std::pair<Text, const std::string*> words[] = {{kNumber, &event.number},     {kReel, &event.reel},
                                                       {kTrack, &event.track},       {kTransition, &event.transition},
                                                       {kClipName, &event.clipName}, {kToClipName, &event.toClipName}};
  for (const auto& [which, text] : words) made->texts[which] = newText(*text);
  made->texts[kComments] = newText(joined(event.comments));
  made->transitionFrames = event.transitionFrames;
  made->fps = static_cast<unsigned short>(event.recordIn.desc.fps);
  made->drop = event.recordIn.desc.flags & 1;
  const timecode_t* const given[] = {&event.sourceIn, &event.sourceOut, &event.recordIn, &event.recordOut};
  for (int i = kSourceIn; i <= kRecordOut; ++i) made->times[i] = given[i]->frames;
  if (event.speed) {
    made->hasSpeed = 1;
    made->speed = event.speed->fps;
    made->texts[kSpeedReel] = newText(event.speed->reel);
    made->times[kSpeedAt] = event.speed->at.frames;
  }
  return made.release();
}

EditEvent::~EditEvent() { disposeTexts(); }

void EditEvent::disposeTexts() {
  for (char**& text : texts) disposeText(text);
}

AObject* EditEvent::Copy() { return New(toText()); }

void EditEvent::Put(AStream* stream, AIODesc* desc) {
  AUndoable::Put(stream, desc);
  WriteClassMark(stream);
  for (int i = 0; i < kComments; ++i) stream->WriteStringHandle("text", texts[i]);
  putLongText(stream, "comments", texts[kComments]);
  stream->WriteUShort("fps", fps);
  stream->WriteBoolean("drop", drop);
  for (const Long time : times) stream->WriteLong("time", time);
  stream->WriteLong("transitionFrames", transitionFrames);
  stream->WriteBoolean("hasSpeed", hasSpeed);
  stream->WriteRational("speed", speed);
  stream->WriteObjPtr("list", owner);
  stream->WriteObjPtr("previous", preceding);
  stream->WriteObjPtr("next", following);
}

void EditEvent::Get(AStream* stream, AIODesc* desc) {
  AUndoable::Get(stream, desc);
  CheckClassMark(stream);
  for (int i = 0; i < kComments; ++i) getText(stream, "text", texts[i]);
  getLongText(stream, "comments", texts[kComments]);
  fps = stream->ReadUShort("fps");
  drop = stream->ReadBoolean("drop");
  for (Long& time : times) time = stream->ReadLong("time");
  transitionFrames = stream->ReadLong("transitionFrames");
  hasSpeed = stream->ReadBoolean("hasSpeed");
  stream->ReadRational("speed", &speed);
  owner = ky::readObjPtrOf<EditList>(stream, "list");
  preceding = ky::readObjPtrOf<EditEvent>(stream, "previous");
  following = ky::readOwnedObjPtr<EditEvent>(stream, desc, "next");
}

EdlEvent EditEvent::toText() const {
  EdlEvent event;
  event.number = textIn(texts[kNumber]);
  event.reel = textIn(texts[kReel]);
  event.track = textIn(texts[kTrack]);
  event.transition = textIn(texts[kTransition]);
  event.clipName = textIn(texts[kClipName]);
  event.toClipName = textIn(texts[kToClipName]);
  event.comments = linesIn(textIn(texts[kComments]));
  event.transitionFrames = transitionFrames;
  event.sourceIn = timeOf(kSourceIn);
  event.sourceOut = timeOf(kSourceOut);
  event.recordIn = timeOf(kRecordIn);
  event.recordOut = timeOf(kRecordOut);
  if (hasSpeed) event.speed = EdlSpeed{textIn(texts[kSpeedReel]), speed, timeOf(kSpeedAt)};
  return event;
}

EditList* EditList::New(const EdlText& text) {
  Owned<EditList> list(new EditList);
  list->IUndoable(1);
  list->title = newText(text.title);
  list->comments = newText(joined(text.comments));
  list->fps = text.fps;
  list->drop = text.drop;
  for (const EdlEvent& event : text.events) list->append(EditEvent::New(event));
  return list.release();
}

EditList::~EditList() {
  for (EditEvent* event = firstEvent; event;) std::exchange(event, event->following)->Dispose();
  disposeText(title);
  disposeText(comments);
}

AObject* EditList::Copy() { return New(toText()); }

void EditList::append(EditEvent* event) {
  SaveUndoState();
  if (lastEvent) lastEvent->SaveUndoState();
  event->owner = this;
  event->preceding = lastEvent;
  (lastEvent ? lastEvent->following : firstEvent) = event;
  lastEvent = event;
  ++count;
}

void EditList::Put(AStream* stream, AIODesc* desc) {
  AUndoable::Put(stream, desc);
  WriteClassMark(stream);
  stream->WriteStringHandle("title", title);
  putLongText(stream, "comments", comments);
  stream->WriteUShort("fps", fps);
  stream->WriteBoolean("drop", drop);
  stream->WriteLong("count", count);
  stream->WriteObjPtr("first", firstEvent);
  stream->WriteObjPtr("last", lastEvent);
}

void EditList::Get(AStream* stream, AIODesc* desc) {
  AUndoable::Get(stream, desc);
  CheckClassMark(stream);
  getText(stream, "title", title);
  getLongText(stream, "comments", comments);
  fps = stream->ReadUShort("fps");
  drop = stream->ReadBoolean("drop");
  count = stream->ReadLong("count");
  firstEvent = ky::readOwnedObjPtr<EditEvent>(stream, desc, "first");
  lastEvent = ky::readObjPtrOf<EditEvent>(stream, "last");
  ky::deferCheck(desc, this, verify);
}

/// An event of another list, or one that stands twice, breaks off the walk where it stands, so that it ends.
bool EditList::isWellLinked() const {
  Long walked = 0;
  const EditEvent* before = nullptr;
  for (const EditEvent* event = firstEvent; event; before = event, event = event->following) {
    if (event->owner != this || event->preceding != before || event->fps != fps || ++walked > count) return false;
  }
  return before == lastEvent && walked == count;
}

void EditList::verify(AObject* object) {
  const auto* const list = static_cast<EditList*>(object);
  if (!list->isWellLinked()) ky::raiseBadStreamData("The events of the edit list are not in one chain");
  if (!isSound(list->toText())) ky::raiseBadStreamData("The edit list holds what no edit list can");
}

EdlText EditList::toText() const {
  EdlText text;
  text.title = textIn(title);
  text.comments = linesIn(textIn(comments));
  text.fps = fps;
  text.drop = drop;
  text.events.reserve(static_cast<std::size_t>(count));
  for (const EditEvent* event = firstEvent; event; event = event->following) text.events.push_back(event->toText());
  return text;
}

void writeDocument(EditList* list, AStream* stream) {
  Owned<AObjDoc> document(AObjDoc::New(stream, 0, Long(kFileType)));
  document->CopyIn(list);
  document.release()->Close();
}

std::vector<std::uint8_t> toDocument(EditList* list) {
  const OwnedHandle bytes = OwnedHandle::ofSize(4096);
  const Owned<AVariMemStream> stream(AVariMemStream::NewWithEOF(bytes.get(), 0));
  writeDocument(list, stream.get());
  const char* const data = bytes.data();
  return {data, data + stream->GetLength()};
}

Owned<EditList> fromDocument(std::span<const std::uint8_t> bytes) {
  // The stream only reads; its interface serves writers too.
  auto* const data = const_cast<std::uint8_t*>(bytes.data());
  const auto length = static_cast<Long>(bytes.size());
  std::uint8_t none = 0;
  const Owned<AMemStream> stream(AMemStream::NewFromPtr(data ? data : &none, length, length));
  return readDocument(stream.get());
}

Owned<EditList> readDocument(AStream* stream) {
  const Owned<ADomain> document(ADomain::OpenFromStream(stream, 0));
  Owned<APortable> root(document->CopyOut());
  if (!root) ky::raiseBadStreamData("The document holds no edit list");
  auto* const list = ky::asReadClass<EditList>(root.get());
  root.release();
  return Owned<EditList>(list);
}

}  // namespace reel
