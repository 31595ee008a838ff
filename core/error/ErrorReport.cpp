#include "core/error/ErrorReport.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/error/Assert.h"
#include "core/error/Guarded.h"
#include "core/error/UIHooks.h"
#include "core/mem/Toolbox.h"

using namespace ky;

namespace {

constexpr std::size_t kLongestTemplate = 256;
constexpr std::size_t kLongestName = 255;
constexpr short kSystemErrorTexts = -15392;

// A resource's bytes, given back at the end of the scope.
class Resource {
 public:
  Resource(Toolbox& from, char** bytes) : mFrom(from), mBytes(bytes) {}
  ~Resource() {
    if (mBytes) mFrom.releaseResource(mBytes);
  }
  Resource(const Resource&) = delete;
  Resource& operator=(const Resource&) = delete;

  std::string copy() const {
    if (!mBytes || mFrom.resourceError() != 0) return {};
    return {*mBytes, static_cast<std::size_t>(std::max<Long>(mFrom.resourceSize(mBytes), 0))};
  }

 private:
  Toolbox& mFrom;
  char** mBytes;
};

// The message template of a code. Returns: false if there is none.
bool findTemplate(const char* code, std::string& text) {
  Toolbox* const box = toolbox();
  if (!box) {
    const char* const found = lookUpTemplate(code);
    if (!found) return false;
    text.assign(found, strnlen(found, kLongestTemplate));
    return true;
  }
  const Resource resource(*box, box->namedResource(MakeChar4("STR "), code));
  const std::string bytes = resource.copy();
  if (bytes.empty()) return false;
  text = bytes.substr(1, static_cast<unsigned char>(bytes[0]));
  return true;
}

// The rest of a line behind its first two words.
std::string behindTwoWords(const std::string& line) {
  std::size_t at = 0;
  for (int word = 0; word < 2; ++word) {
    at = line.find_first_not_of(' ', at);
    if (at != std::string::npos) at = line.find(' ', at);
  }
  at = line.find_first_not_of(' ', at);
  return at == std::string::npos ? std::string() : line.substr(at);
}

// Finds the line that begins with `number` in the application's table of system errors, whose lines end in returns.
bool findSystemText(const std::string& table, int number, std::string& text) {
  for (std::size_t at = 0; at < table.size();) {
    DisplayWait(0, -1);
    const std::size_t end = std::min(table.find('\r', at), table.size());
    const std::string line = table.substr(at, end - at);
    char* behind = nullptr;
    const long found = std::strtol(line.c_str(), &behind, 10);
    if (behind != line.c_str() && found == number) {
      text = behindTwoWords(line);
      return true;
    }
    at = end + 1;
  }
  return false;
}

// Words an old-style system error, which carries "OSErr"; those of the file routines carry "status" and have templates.
bool wordSystemError(char* buffer, int size) {
  bool worded = false;
  guarded(
      [&] {
        union {
          short number;
          char room[512];
        } parm = {};
        Toolbox* const box = toolbox();
        if (!ESGetParm(parm.room, ESFindLevel("SYS_ERROR"), "OSErr") || !box) return;
        const Resource resource(*box, box->numberedResource(MakeChar4("TEXT"), kSystemErrorTexts));
        std::string text;
        if (!findSystemText(resource.copy(), parm.number, text)) return;
        std::snprintf(buffer, static_cast<std::size_t>(size), "System Error %d (%s)", parm.number, text.c_str());
        worded = true;
      },
      [&] { worded = false; });
  return worded;
}

void word(char* buffer, int size, const char* codePtr, int level) {
  *buffer = 0;
  if (!check(codePtr != nullptr, "codePtr != NULL")) return;
  const std::string code(codePtr, strnlen(codePtr, kLongestName));
  std::string text;
  const bool found = findTemplate(code.c_str(), text);
  if (code == "SYS_ERROR" && wordSystemError(buffer, size)) return;
  if (found) {
    // A template sees the outermost parameters, even that of an inner level.
    ESExpandString(buffer, size, text.c_str());
  } else {
    ESExpandString(buffer, size, nullptr, level);
  }
}

}  // namespace

void EMGetErrorMsg(char* buffer, int size) {
  if (size < 1) return;
  *buffer = 0;
  if (!ESStackEmpty()) word(buffer, size, ESGetCode(), ESGetTopLevel());
}

void EMGetErrorMsgLevel(char* buffer, int size, int level) {
  if (size < 1) return;
  *buffer = 0;
  if (!ESStackEmpty()) word(buffer, size, ESGetLevelCode(level), level);
}
