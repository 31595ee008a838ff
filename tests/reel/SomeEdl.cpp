#include "tests/reel/SomeEdl.h"

#include "apps/reel/ReelCommands.h"

namespace reel::test {
namespace {

template <class Range>
auto oneOf(std::mt19937& random, const Range& range) {
  return std::data(range)[random() % std::size(range)];
}

timecode_t someTime(std::mt19937& random, const timecodeDesc_t& desc) {
  const timecode_t day = TCConstruct(1, 0, 0, 0, 0, &desc);
  return {desc, static_cast<Long>(random() % static_cast<ULong>(day.frames))};
}

std::string someWord(std::mt19937& random) {
  std::string word;
  for (auto n = 1 + random() % 20; n > 0; --n) word += oneOf(random, std::string_view("ABCXYZ0123_.-\xE4"));
  return word;
}

void addComments(std::mt19937& random, EdlEvent& event) {
  for (auto n = random() % 4; n > 0; --n) {
    const std::string word = someWord(random);
    const std::string lines[] = {"* FROM CLIP NAME:  " + word, "* to clip name: " + word, "AUD   3    4", "*",
                                 "* " + word + "  " + word};
    const auto kind = random() % std::size(lines);
    event.comments.push_back(lines[kind]);
    if (kind == 0 && event.clipName.empty()) event.clipName = word;
    if (kind == 1 && event.toClipName.empty()) event.toClipName = word;
  }
}

EdlEvent someEvent(std::mt19937& random, const std::string& number, const timecodeDesc_t& desc) {
  static const char* const tracks[] = {"V", "A", "A2", "AA", "AA/V", "NONE", "B", "A2/V"};
  EdlEvent event;
  event.number = number;
  event.reel = someWord(random);
  event.track = oneOf(random, tracks);
  event.transition = "C";
  for (timecode_t* tc : {&event.sourceIn, &event.sourceOut, &event.recordIn, &event.recordOut})
    *tc = someTime(random, desc);
  if (random() % 3 == 0) {
    static const Long scales[] = {1, 10, 100, 1000, 10000};
    const Long value = static_cast<Long>(random() % 2000001) - 1000000;
    event.speed = EdlSpeed{event.reel, Rational(value, oneOf(random, scales)), someTime(random, desc)};
    if (std::abs(event.speed->fps.getDouble()) >= 100000) event.speed->fps = Rational(0);
  }
  addComments(random, event);
  return event;
}

void setSecond(std::mt19937& random, EdlEvent& first, EdlEvent& second) {
  static const char* const kinds[] = {"D", "W001", "W42", "K", "KO"};
  second.transition = oneOf(random, kinds);
  second.transitionFrames = static_cast<Long>(random() % 1000);
  if (second.transition[0] == 'K') first.transition = "KB";
}

}  // namespace

EdlText someEdl(std::mt19937& random) {
  EdlText list;
  list.fps = oneOf(random, kEdlRates);
  list.drop = list.fps == 30 && random() % 2;
  if (random() % 4) list.title = "CUT " + someWord(random);
  if (random() % 4 == 0) list.comments.push_back("* " + someWord(random));
  bool drop = list.drop;
  for (auto n = 1 + random() % 12; n > 0; --n) {
    const timecodeDesc_t desc = TCCreateDesc(drop, list.fps);
    std::string number = std::to_string(list.events.size());
    if (const std::size_t width = 3 + random() % 4; number.size() < width) number.insert(0, width - number.size(), '0');
    EdlEvent first = someEvent(random, number, desc), second = someEvent(random, number, desc);
    const bool isPair = random() % 3 == 0;
    if (isPair) setSecond(random, first, second);
    list.events.push_back(first);
    if (isPair) list.events.push_back(second);
    if (list.fps == 30 && random() % 3 == 0) drop = !drop;
  }
  return list;
}

std::string cuts(int events) {
  std::string text = "TITLE: T\n";
  while (events-- > 0) text += "001 AX V C 00:00:10:00 00:00:12:00 01:00:00:00 01:00:02:00\n";
  return text;
}

std::string described(const EdlText& list) { return listAsJson(list) + writeEdl(list); }

void registerOnce() {
  static const bool done = (registerClasses(), true);
  (void)done;
}

}  // namespace reel::test
