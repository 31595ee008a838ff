#include "core/filesys/FileTypes.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "core/math/CUtils.h"
#include "core/objsys/TypedRead.h"

namespace ky {

namespace {

/// Which way a row is read: from the extension to the type, back, or both.
enum Way { kTold = 1, kGiven = 2, kBoth = 3 };

constexpr struct {
  const char* extension;
  Char4 type;
  Way way;
} kRows[] = {
    {".kyb", MakeChar4("ZVob"), kBoth}, {".kyp", MakeChar4("ZVpj"), kBoth},  {".kys", MakeChar4("ZVpf"), kBoth},
    {".kye", MakeChar4("ZVe8"), kBoth}, {".kyc", MakeChar4("ZVsc"), kBoth},  {".wav", MakeChar4("WAVE"), kBoth},
    {".aif", MakeChar4("AIFF"), kBoth}, {".tdf", MakeChar4("Zvdf"), kGiven}, {".tsrc", MakeChar4("Zvsc"), kGiven},
    {".kyx", MakeChar4("ZVpi"), kTold}, {".txt", MakeChar4("TEXT"), kTold},  {".edl", MakeChar4("TEXT"), kTold},
    {".htm", MakeChar4("TEXT"), kTold}, {".omf", MakeChar4("OMFI"), kTold},  {".aaf", MakeChar4("AAFf"), kTold},
    {".pct", MakeChar4("PICT"), kTold}, {".ctl", MakeChar4("FMSf"), kTold},  {".mov", MakeChar4("MooV"), kTold},
};

}  // namespace

std::optional<Char4> typeOfExtension(std::string_view extension) {
  const std::string given(extension);
  for (const auto& row : kRows) {
    if ((row.way & kTold) && CIstrcmp(given.c_str(), row.extension) == 0) return row.type;
  }
  return std::nullopt;
}

const char* extensionOfType(Char4 type) {
  const auto isRow = [type](const auto& row) { return (row.way & kGiven) && row.type == type; };
  const auto* const row = std::ranges::find_if(kRows, isRow);
  return row == std::end(kRows) ? nullptr : row->extension;
}

Char4 DocumentStart::code(std::size_t at, bool isSwapped) const {
  Char4 word;
  std::memcpy(&word, bytes + at, sizeof word);
  return isSwapped ? __builtin_bswap32(word) : word;
}

bool DocumentStart::isSwapped() const {
  if (bytes[0] == 0 && bytes[1] == 6) return true;
  if (bytes[0] != 6 || bytes[1] != 0) raiseBadStreamData("Unexpected domain header");
  return false;
}

/// A second mark, for the fields behind the prologue.
bool DocumentStart::areFieldsSwapped() const {
  const Char4 key = code(51, false);
  if (key != MakeChar4("IIII") && key != MakeChar4("MMMM")) raiseBadStreamData("Unexpected domain swap key");
  return key == MakeChar4("MMMM");
}

Char4 DocumentStart::type() const {
  constexpr unsigned char kFirstWithType = 4;
  if (std::memcmp(bytes + 2, "Domain", 6) != 0 || code(8, isSwapped()) != MakeChar4("OBJD")) return kUnknownFileType;
  if (bytes[21] < kFirstWithType) return MakeChar4("ZVxx");
  return code(63, areFieldsSwapped());
}

}  // namespace ky
