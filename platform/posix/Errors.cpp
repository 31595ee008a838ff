#include "platform/Errors.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ky::platform {

namespace {

// The first row of an errno gives its number, the first row of a number its words.
constexpr struct {
  int number;
  int hostError;
} kTable[] = {
    {kFileNotFound, ENOENT}, {kPathNotFound, ENOTDIR},   {kTooManyOpen, EMFILE},       {kTooManyOpen, ENFILE},
    {kAccessDenied, EACCES}, {kAccessDenied, EPERM},     {kAccessDenied, EROFS},       {kAccessDenied, EISDIR},
    {kCannotSeek, ESPIPE},   {kSharingViolation, EBUSY}, {kSharingViolation, ETXTBSY}, {kFileLocked, EAGAIN},
    {kFileExists, EEXIST},   {kDiskFull, ENOSPC},        {kDiskFull, EDQUOT},          {kInvalidName, ENAMETOOLONG},
    {kInvalidName, EILSEQ},  {kBadSeek, ESPIPE},         {kDirNotEmpty, ENOTEMPTY},    {kAlreadyExists, EEXIST},
    {kDirNotFound, ENOTDIR}, {kDeviceError, EIO},        {kAccessDenied, EBADF},  // open, but not for that
};

// An errno outside the table travels with this bit, which the table's numbers leave free.
constexpr int kPrivate = 0x20000000;

thread_local int lastNumber = 0;

int hostErrorOf(int number) {
  if (number & kPrivate) return number & ~kPrivate;
  for (const auto& row : kTable) {
    if (row.number == number) return row.hostError;
  }
  return -1;
}

// strerror_r comes in two forms; each host has one.
[[maybe_unused]] const char* words(const char* text, const char*) { return text; }
[[maybe_unused]] const char* words(int failed, const char* buffer) { return failed ? "" : buffer; }

}  // namespace

int fileErrorOf(int hostError) {
  for (const auto& row : kTable) {
    if (row.hostError == hostError) return row.number;
  }
  return hostError | kPrivate;
}

int lastFileError() { return lastNumber; }

void setLastFileError(int number) { lastNumber = number; }

void errorText(int number, char* buffer, std::size_t size) {
  if (size == 0) return;
  const int hostError = hostErrorOf(number);
  char text[256] = {};
  if (number == kEndOfFile) {
    std::snprintf(buffer, size, "End of file");
  } else if (number == kInvalidName) {
    // The host's words would tell one reason of several: names are refused here that it would take.
    std::snprintf(buffer, size, "Name too long, or with a character that not every system takes");
  } else if (hostError < 0) {
    std::snprintf(buffer, size, "Error %d", number);
  } else {
    std::snprintf(buffer, size, "%s", words(strerror_r(hostError, text, sizeof text), text));
  }
  char* const end = buffer + std::strlen(buffer);
  *std::remove_if(buffer, end, [](char c) { return c == '\n' || c == '\r'; }) = 0;
}

}  // namespace ky::platform
