#include "apps/reel/ReelCommands.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/reel/EditList.h"
#include "apps/support/FileIo.h"
#include "apps/support/Program.h"
#include "apps/support/Progress.h"
#include "core/error/Guarded.h"
#include "core/error/UIHooks.h"
#include "core/objsys/ObjectSystem.h"

namespace reel {
namespace {

using Json = nlohmann::ordered_json;

/// Output over its own input would take away the only copy.
void refuseSameFile(const std::string& in, const std::string& out) {
  std::error_code unknown;
  if (std::filesystem::equivalent(in, out, unknown))
    throw support::RefusedInput(out + ": this is the input itself; another name was expected for the output");
}

EdlText readEdlFile(const std::string& path, const EdlReadOptions& options) {
  const auto bytes = support::readFile(path);
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  std::vector<std::pair<Long, std::string>> kept;
  EdlText list;
  try {
    list = readEdl(text, options, [&](Long line, const std::string& words) { kept.emplace_back(line, words); });
  } catch (const UnreadableEdl& fault) {
    throw support::RefusedInput(path + ":" + std::to_string(fault.line) + ": " + fault.what());
  }
  if (!kept.empty()) UIstatClose();
  // Only now: of what is no edit list at all, the refusal tells enough.
  for (const auto& [line, words] : kept) {
    std::fprintf(stderr, "reel: %s:%ld: not an edit list line, kept as a comment: %s\n", path.c_str(),
                 static_cast<long>(line), words.c_str());
  }
  return list;
}

/// A comment line as people write it, without its asterisk.
std::string commentText(const std::string& line) {
  return line.starts_with('*') ? edlLine(std::string_view(line).substr(1)) : line;
}

Json orNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

/// A whole number where it is one.
Json speedJson(const std::optional<EdlSpeed>& speed) {
  if (!speed) return nullptr;
  if (speed->fps.isInteger()) return speed->fps.getLong();
  return speed->fps.getDouble();
}

/// The value on lines of their own, those after the first behind `margin`.
std::string jsonText(const Json& value, std::string_view margin) {
  const std::string text = value.dump(2, ' ', false, Json::error_handler_t::replace);
  std::string out;
  for (const char c : text) {
    out += c;
    if (c == '\n') out += margin;
  }
  return out;
}

Json eventJson(const EdlEvent& event) {
  Json comments = Json::array();
  for (const std::string& line : event.comments) comments.push_back(commentText(line));
  return {{"number", event.number},
          {"reel", event.reel},
          {"track", event.track},
          {"transition", event.transition},
          {"transitionFrames", event.transitionFrames},
          {"sourceIn", timecodeText(event.sourceIn)},
          {"sourceOut", timecodeText(event.sourceOut)},
          {"recordIn", timecodeText(event.recordIn)},
          {"recordOut", timecodeText(event.recordOut)},
          {"duration", eventDuration(event)},
          {"clipName", orNull(event.clipName)},
          {"toClipName", orNull(event.toClipName)},
          {"speed", speedJson(event.speed)},
          {"comments", std::move(comments)}};
}

std::string durationText(Long frames, const EdlText& list) {
  const timecodeDesc_t desc = TCCreateDesc(list.drop, list.fps);
  // A whole day is more than a label can tell.
  if (frames == TCConstruct(1, 0, 0, 0, 0, &desc).frames) return "24:00:00:00";
  return timecodeText(TCCreateDur(frames, &desc));
}

std::string countText(const EdlText& list) {
  return std::to_string(list.events.size()) + (list.events.size() == 1 ? " event line" : " event lines");
}

/// The places that a text in UTF-8 takes in a line: every byte but those that go on with a character.
std::size_t widthOf(const std::string& text) {
  const auto begins = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), begins));
}

/// Columns as wide as their widest entry, two blanks between.
class Table {
 public:
  void add(std::vector<std::string> row) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthOf(row[i]));
    rows.push_back(std::move(row));
  }
  std::string text() const {
    std::string out;
    for (const auto& row : rows) {
      std::string line;
      for (std::size_t i = 0; i < row.size(); ++i) {
        line += row[i];
        if (i + 1 < row.size()) line.append(widths[i] + 2 - widthOf(row[i]), ' ');
      }
      out += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return out;
  }

 private:
  std::vector<std::size_t> widths;
  std::vector<std::vector<std::string>> rows;
};

std::string transitionText(const EdlEvent& event) {
  return event.transitionFrames ? event.transition + " " + std::to_string(event.transitionFrames) : event.transition;
}

std::string clipText(const EdlEvent& event) {
  std::string text = event.clipName;
  if (!event.toClipName.empty()) text += (text.empty() ? "-> " : " -> ") + event.toClipName;
  if (event.speed) text += (text.empty() ? "" : ", ") + speedJson(event.speed).dump() + " fps";
  return text;
}

/// A save passes the objects twice, to find them and to write them, with a sign of life for every 20th.
void saveDocument(EditList* list, const std::string& document) {
  Int64 signs = 0;
  const support::Progress bar("Writing the document", list->size() / 10, [&] { return ++signs; });
  support::saveFile(document, [&](AStream* stream) { writeDocument(list, stream); });
}

/// Has `save` write the file, and says so: unless it goes to the standard output itself, or into a pipe. What is said
/// is made up ahead of the save, so that no lack of memory comes between a save and its success.
void saveAndTell(const std::string& path, const std::string& words, const std::function<void()>& save) {
  std::error_code unknown;
  const bool isPlain = !std::filesystem::exists(path, unknown) || std::filesystem::is_regular_file(path, unknown);
  save();
  UIstatClose();
  if (isPlain) std::printf("%s: %s\n", path.c_str(), words.c_str());
}

void showListing(const EdlText& list, const EdlEvent& event) {
  const Int64 done = &event - list.events.data();
  support::showStep("Listing the events", done, done, static_cast<Int64>(list.events.size()));
}

}  // namespace

void registerClasses() {
  ObjectSystemClassInit();
  EditList::PCRegister();
  EditEvent::PCRegister();
}

void importEdl(const std::string& edl, const std::string& document, const ImportOptions& options) {
  refuseSameFile(edl, document);
  EdlText list = readEdlFile(edl, {options.fps});
  if (options.title) list.title = edlLine(*options.title);
  const ky::Owned<EditList> stored(EditList::New(list));
  const std::string words = countText(list) + ", " + durationText(listDuration(list), list) + " at " +
                            std::to_string(list.fps) + " frames per second" + (list.drop ? ", drop-frame" : "");
  saveAndTell(document, words, [&] { saveDocument(stored.get(), document); });
}

EdlText loadDocument(const std::string& document) {
  EdlText list;
  const auto load = [&] {
    const ky::Owned<AStream> stream = support::openFile(document);
    // A load passes the file twice: once for the objects, once for what is in them.
    const Int64 length = stream->GetLength();
    Int64 passed = 0, last = 0;
    const support::Progress bar("Reading the document", 2 * length, [&] {
      const Int64 at = stream->GetPosition();
      if (at < last) passed = length;
      return passed + (last = at);
    });
    list = readDocument(stream.get())->toText();
  };
  support::about(document, load);
  return list;
}

void exportEdl(const std::string& document, const std::string& edl) {
  refuseSameFile(document, edl);
  const EdlText list = loadDocument(document);
  const std::string text = writeEdl(list);
  saveAndTell(edl, countText(list),
              [&] { support::saveFile(edl, [&](AStream* stream) { support::writeAll(stream, text); }); });
}

void listDocument(const std::string& document, bool json) {
  const EdlText list = loadDocument(document);
  const std::string text = json ? listAsJson(list) : listAsTable(list);
  UIstatClose();
  std::fputs(text.c_str(), stdout);
}

std::string listAsTable(const EdlText& list) {
  std::string head = list.title.empty() ? "(no title)" : list.title;
  head += ", " + std::to_string(list.fps) + " frames per second" + (list.drop ? ", drop-frame" : "") + "\n\n";
  Table table;
  table.add(
      {"event", "reel", "track", "trans", "source in", "source out", "record in", "record out", "frames", "clip"});
  for (const EdlEvent& event : list.events) {
    showListing(list, event);
    table.add({event.number, event.reel, event.track, transitionText(event), timecodeText(event.sourceIn),
               timecodeText(event.sourceOut), timecodeText(event.recordIn), timecodeText(event.recordOut),
               std::to_string(eventDuration(event)), clipText(event)});
  }
  const Long total = listDuration(list);
  return head + table.text() + "\n" + countText(list) + ", " + std::to_string(total) + " frames, " +
         durationText(total, list) + " in all\n";
}

std::string listAsJson(const EdlText& list) {
  const Json head = {
      {"title", orNull(list.title)}, {"fps", list.fps}, {"drop", list.drop}, {"duration", listDuration(list)}};
  std::string text = jsonText(head, "");
  text.erase(text.rfind("\n}"));
  text += ",\n  \"events\": [";
  // One by one, since the events of a long list as one JSON value would take many times the memory of the list.
  for (const EdlEvent& event : list.events) {
    showListing(list, event);
    text += &event == list.events.data() ? "\n    " : ",\n    ";
    text += jsonText(eventJson(event), "    ");
  }
  return text + "\n  ]\n}\n";
}

}  // namespace reel
