#include "tests/reel/SomeEdl.h"

#include <iterator>

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
  for (auto n = 1 + random() % 20; n > 0; --n) word += oneOf(random, "ABCXYZ0123_.-\xE4");
  for (char& c : word) c = c == '\0' ? 'Q' : c;
  return word;
}

void addComments(std::mt19937& random, EdlEvent& event) {
  for (auto n = random() % 4; n > 0; --n) {
    const std::string word = someWord(random);
    switch (random() % 5) {
      case 0:
        event.comments.push_back("* FROM CLIP NAME:  " + word);
        if (event.clipName.empty()) event.clipName = word;
        break;
      case 1:
        event.comments.push_back("* to clip name: " + word);
        if (event.toClipName.empty()) event.toClipName = word;
        break;
      case 2:
        event.comments.push_back("AUD   3    4");
        break;
      case 3:
        event.comments.push_back("*");
        break;
      default:
        event.comments.push_back("* " + word + "  " + word);
    }
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
    if (random() % 3) {
      list.events.push_back(first);
    } else {
      setSecond(random, first, second);
      list.events.push_back(first);
      list.events.push_back(second);
    }
    if (list.fps == 30 && random() % 3 == 0) drop = !drop;
  }
  return list;
}

std::string described(const EdlText& list) { return listAsJson(list) + writeEdl(list); }

void registerOnce() {
  static const bool done = (registerClasses(), true);
  (void)done;
}

}  // namespace reel::test
