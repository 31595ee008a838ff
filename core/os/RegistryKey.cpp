#include "core/os/RegistryKey.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "core/error/SystemErrors.h"
#include "core/error/XError.h"
#include "core/mem/KyMemory.h"
#include "core/threads/Blocking.h"
#include "platform/Clock.h"
#include "platform/Errors.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Host.h"

using namespace ky;
using namespace ky::platform;

namespace {

// The file, line by line:
//
//   [Software\Zorvex\Recorder]
//   "Channels" long 2
//   "Title" string "Take one"
//   "Layout" binary 00ff10

constexpr const char* kMakersKey = "Software\\Zorvex";
constexpr Int64 kLargestFile = 0x1000000;

struct Value {
  KyRegValueType type = REG_VALUE_NONE;
  std::string bytes;  ///< of a number its digits
};
using Values = std::map<std::string, Value>;
using Settings = std::map<std::string, Values>;

constexpr struct {
  KyRegValueType type;
  std::string_view word;
} kTypes[] = {{REG_VALUE_STRING, "string"}, {REG_VALUE_BINARY, "binary"}, {REG_VALUE_LONG, "long"}};

// ---- text of the parts of a line

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c == '\n' ? "\\n" : std::string(1, c);
  }
  return out + '"';
}

/// Takes a quoted text from the front of `line`.
bool takeQuoted(std::string_view* line, std::string* text) {
  if (line->empty() || line->front() != '"') return false;
  for (std::size_t i = 1; i < line->size(); ++i) {
    const char c = (*line)[i];
    if (c == '"') {
      line->remove_prefix(i + 1);
      return true;
    }
    if (c == '\\' && ++i == line->size()) return false;
    const bool isBreak = c == '\\' && (*line)[i] == 'n';
    *text += isBreak ? '\n' : (*line)[i];
  }
  return false;
}

std::string hex(std::string_view bytes) {
  std::string out;
  for (const char c : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
    out += digits;
  }
  return out;
}

bool fromHex(std::string_view text, std::string* bytes) {
  if (text.size() % 2 != 0) return false;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    unsigned byte = 0;
    const auto [end, error] = std::from_chars(&text[i], &text[i] + 2, byte, 16);
    if (error != std::errc() || end != &text[i] + 2) return false;
    *bytes += static_cast<char>(byte);
  }
  return true;
}

bool asLong(std::string_view text, Long* value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return error == std::errc() && end == text.data() + text.size();
}

bool parseValue(std::string_view text, Value* value) {
  Long number = 0;
  switch (value->type) {
    case REG_VALUE_STRING:
      return takeQuoted(&text, &value->bytes) && text.empty();
    case REG_VALUE_BINARY:
      return fromHex(text, &value->bytes);
    default:
      value->bytes = text;
      return asLong(text, &number);
  }
}

void parseLine(std::string_view line, Settings* settings, Values** values) {
  if (line.size() > 2 && line.front() == '[' && line.back() == ']') {
    *values = &(*settings)[std::string(line.substr(1, line.size() - 2))];
    return;
  }
  std::string name;
  if (!*values || !takeQuoted(&line, &name) || line.empty()) return;
  line.remove_prefix(1);
  for (const auto& [type, word] : kTypes) {
    Value value = {type, ""};
    if (!line.starts_with(word) || line.size() <= word.size()) continue;
    if (parseValue(line.substr(word.size() + 1), &value)) (**values)[name] = value;
  }
}

Settings parsed(std::string_view text) {
  Settings settings;
  Values* values = nullptr;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    parseLine(text.substr(0, end), &settings, &values);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return settings;
}

std::string worded(const Settings& settings) {
  std::string text;
  for (const auto& [key, values] : settings) {
    text += '[' + key + "]\n";
    for (const auto& [name, value] : values) {
      text += quoted(name);
      if (value.type == REG_VALUE_STRING) text += " string " + quoted(value.bytes);
      if (value.type == REG_VALUE_BINARY) text += " binary " + hex(value.bytes);
      if (value.type == REG_VALUE_LONG) text += " long " + value.bytes;
      text += '\n';
    }
  }
  return text;
}

// ---- the file

std::string settingsFolder() { return userSettingsFolder() + "/KyCore"; }
std::string settingsPath() { return settingsFolder() + "/settings"; }

/// Returns:  0, also for a file that is not there yet.
int readSettings(Settings* settings) {
  File file;
  const std::string path = settingsPath();
  int error = file.openToRead(path.c_str());
  if (error == kFileNotFound || error == kPathNotFound) return 0;
  Int64 length = 0;
  if (error == 0) error = file.length(&length);
  if (error != 0) return error;
  std::string text(static_cast<std::size_t>(std::min(length, kLargestFile)), '\0');
  std::size_t got = 0;
  error = file.readAt(0, text.data(), text.size(), &got);
  if (error == 0) *settings = parsed(std::string_view(text).substr(0, got));
  return error;
}

int writeBeside(const std::string& path, const std::string& beside, const std::string& text) {
  File file;
  int error = file.createNew(beside.c_str());
  if (error == 0) {
    (void)copyAccess(path.c_str(), beside.c_str());
    error = file.write(text.data(), text.size());
  }
  if (error == 0) error = file.flushToDisk();
  const int closing = file.close();
  return error != 0 ? error : closing;
}

void writeSettings(const Settings& settings) {
  std::string path = settingsPath();
  raiseFileErrorIf(followLinks(&path), path.c_str());
  const std::string text = worded(settings);
  // What lies further back would not be read again.
  raiseFileErrorIf(text.size() > kLargestFile ? kDiskFull : 0, path.c_str());
  const std::string beside = nameBeside(path);
  int error = writeBeside(path, beside, text);
  if (error == 0) error = moveEntry(beside.c_str(), path.c_str(), true);
  if (error == 0) error = flushMove(beside.c_str(), path.c_str());
  if (error != 0) (void)removeFile(beside.c_str());
  raiseFileErrorIf(error, path.c_str());
}

/// One process at a time from reading the file to replacing it; the lock ends with the file object.
void lockSettings(File* file) {
  constexpr int kTries = 500;
  const std::string path = settingsPath() + ".lock";
  (void)makeFolder(settingsFolder().c_str());
  raiseFileErrorIf(file->open(path.c_str(), Access::readWrite, Disposition::openOrCreate), path.c_str());
  int error = file->lock(0, LockKind::exclusive);
  for (int i = 0; i < kTries && error == kFileLocked; ++i) {
    sleepFor(10);
    error = file->lock(0, LockKind::exclusive);
  }
  raiseFileErrorIf(error, path.c_str());
}

void setValue(const char* key, const char* name, const Value& value) {
  const Blocking frame;
  File lock;
  lockSettings(&lock);
  Settings settings;
  raiseFileErrorIf(readSettings(&settings), settingsPath().c_str());
  settings[key][name] = value;
  writeSettings(settings);
}

/// Returns:  the value, of the type REG_VALUE_NONE if there is none.
Value findValue(const char* key, const char* name) {
  const Blocking frame;
  Settings settings;
  (void)readSettings(&settings);
  return settings[key][name];
}

}  // namespace

KyRegistryKey::~KyRegistryKey() = default;

KyWin32RegistryKey::KyWin32RegistryKey(const char* wholeName) {
  const std::size_t size = std::strlen(wholeName) + 1;
  path = static_cast<char*>(KyNewPtr(static_cast<Long>(size)));
  std::memcpy(path, wholeName, size);
  // A name must fit in its line between brackets.
  std::replace(path, path + size - 1, '\n', ' ');
}

KyWin32RegistryKey::~KyWin32RegistryKey() { KyDisposePtr(path); }

Boolean KyWin32RegistryKey::GetStringValue(const char* name, char* buffer, Long size) {
  const Value value = findValue(path, name);
  if (value.type != REG_VALUE_STRING || size <= 0) return 0;
  std::snprintf(buffer, static_cast<std::size_t>(size), "%s", value.bytes.c_str());
  return 1;
}

Boolean KyWin32RegistryKey::GetLongValue(const char* name, Long* value) {
  const Value found = findValue(path, name);
  return found.type == REG_VALUE_LONG && asLong(found.bytes, value);
}

Boolean KyWin32RegistryKey::GetBinaryValue(const char* name, void* buffer, Long* size) {
  const Value value = findValue(path, name);
  if (value.type != REG_VALUE_BINARY) return 0;
  const Long room = *size;
  *size = static_cast<Long>(value.bytes.size());
  if (*size > room) return 0;
  std::memcpy(buffer, value.bytes.data(), value.bytes.size());
  return 1;
}

void KyWin32RegistryKey::SetBinaryValue(const char* name, const void* data, Long size) {
  const auto* const bytes = static_cast<const char*>(data);
  setValue(path, name, {REG_VALUE_BINARY, std::string(bytes, bytes + std::max<Long>(size, 0))});
}

void KyWin32RegistryKey::SetLongValue(const char* name, Long value) {
  setValue(path, name, {REG_VALUE_LONG, std::to_string(value)});
}

void KyWin32RegistryKey::setStringValue(const char* name, const char* text) {
  setValue(path, name, {REG_VALUE_STRING, text});
}

KyRegValueType KyWin32RegistryKey::GetValueType(const char* name) { return findValue(path, name).type; }

KyRegistryKey* CreateWin32RegKey(const char* name) {
  char path[1024];
  if (name && *name) {
    std::snprintf(path, sizeof path, "%s\\%s", kMakersKey, name);
  } else {
    std::snprintf(path, sizeof path, "%s", kMakersKey);
  }
  return new KyWin32RegistryKey(path);
}

void DestroyWin32RegKey(KyRegistryKey* key) {
  if (!key) +XError("REG_KEY_PTR_ISNULL", 0);
  delete key;
}
