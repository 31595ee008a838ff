#include "apps/reel/CmxWords.h"

#include <algorithm>

#include "apps/reel/CmxEdl.h"

namespace reel {
namespace {

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

/// V and A, each with up to two digits, in a row.
bool isTrackSet(std::string_view part) {
  if (part.empty()) return false;
  while (!part.empty()) {
    if (part[0] != 'V' && part[0] != 'A') return false;
    const std::size_t next = std::min(part.find_first_not_of("0123456789", 1), part.size());
    if (next > 3) return false;
    part.remove_prefix(next);
  }
  return true;
}

}  // namespace

bool isDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

Long valueOf(std::string_view digits) {
  Long value = 0;
  for (const char c : digits) value = value * 10 + (c - '0');
  return value;
}

std::string uppered(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), upper);
  return out;
}

bool isBlank(char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool takeWord(std::string_view& text, std::string_view word) {
  if (text.size() < word.size() || uppered(text.substr(0, word.size())) != word) return false;
  text = trimmed(text.substr(word.size()));
  return true;
}

std::string edlLine(std::string_view text) {
  std::string line(trimmed(text));
  std::replace_if(line.begin(), line.end(), isBlank, ' ');
  return line;
}

std::vector<std::string_view> wordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  while (!(line = trimmed(line)).empty()) {
    const auto end = std::find_if(line.begin(), line.end(), isBlank) - line.begin();
    words.push_back(line.substr(0, static_cast<std::size_t>(end)));
    line.remove_prefix(static_cast<std::size_t>(end));
  }
  return words;
}

bool hasTimecodeShape(std::string_view word) {
  if (word.size() != 11) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    const bool separator = i % 3 == 2;
    if (separator ? word[i] != ':' && word[i] != ';' : word[i] < '0' || word[i] > '9') return false;
  }
  return true;
}

bool isEventLine(const std::vector<std::string_view>& words) {
  if (words.empty() || !isDigits(words[0])) return false;
  if (words[0].size() >= 3 && words[0].size() <= 6) return true;
  return std::any_of(words.begin(), words.end(), hasTimecodeShape);
}

unsigned short rateInLine(std::string_view line) {
  line = trimmed(line);
  if (line.starts_with('*')) line = trimmed(line.substr(1));
  if (!takeWord(line, kRateComment) || !isDigits(line) || line.size() > 3) return 0;
  const Long fps = valueOf(line);
  return isEdlRate(fps) ? static_cast<unsigned short>(fps) : 0;
}

bool isTrack(std::string_view track) {
  if (track.size() > kLongestTrack) return false;
  for (;;) {
    const std::size_t slash = std::min(track.find('/'), track.size());
    const std::string part = uppered(track.substr(0, slash));
    if (part != "B" && part != "NONE" && !isTrackSet(part)) return false;
    if (slash == track.size()) return true;
    track.remove_prefix(slash + 1);
  }
}

bool isWipe(std::string_view kind) {
  return kind.size() > 1 && kind.size() <= 4 && kind[0] == 'W' && isDigits(kind.substr(1));
}

bool isTransition(const std::string& kind) {
  return kind == "C" || kind == "D" || isWipe(kind) || kind == "K" || kind == "KB" || kind == "KO";
}

bool isAudioLine(const std::vector<std::string_view>& words) {
  return words.size() > 1 && uppered(words[0]) == "AUD" &&
         std::all_of(words.begin() + 1, words.end(), [](std::string_view w) { return isDigits(w) && w.size() <= 2; });
}

}  // namespace reel
