// The words of a CMX3600 line: what may stand in each place. For reading and writing alike.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/base/KyTypes.h"

namespace reel {

inline constexpr std::size_t kLongestLine = 4096;
inline constexpr std::size_t kLongestReel = 255;
inline constexpr std::size_t kLongestTrack = 255;
inline constexpr std::string_view kTitleWord = "TITLE:";
inline constexpr std::size_t kLongestTitle = kLongestLine - kTitleWord.size() - 1;
inline constexpr std::string_view kRateComment = "FRAME RATE:";

bool isDigits(std::string_view text);

/// The value of up to nine digits.
Long valueOf(std::string_view digits);

std::string uppered(std::string_view text);

bool isBlank(char c);
std::string_view trimmed(std::string_view text);

/// Takes `word`, in upper case, off the front of `text`, whatever its case there.
bool takeWord(std::string_view& text, std::string_view word);

std::vector<std::string_view> wordsOf(std::string_view line);

bool hasTimecodeShape(std::string_view word);

/// A first word of digits is an event number, unless it is too short or too long for one and no timecode follows.
bool isEventLine(const std::vector<std::string_view>& words);

/// The rate that a line names, with or without an asterisk; 0 if it is another line or another rate.
unsigned short rateInLine(std::string_view line);

/// V, A, A2, AA, VA1A2, B, NONE, and several of them with slashes between.
bool isTrack(std::string_view track);

bool isWipe(std::string_view kind);
bool isTransition(const std::string& kind);

/// The line that sends the event's sound to further channels.
bool isAudioLine(const std::vector<std::string_view>& words);

}  // namespace reel
