#include "core/os/VersionInfo.h"

#include <cstdio>
#include <string>

using namespace ky;

namespace {

constexpr int kTextLimit = 30;
const ProgramVersion* program = nullptr;

std::string numbers(const ProgramVersion& version) {
  std::string text = std::to_string(version.major) + '.' + std::to_string(version.minor);
  if (version.patch >= 0) text += '.' + std::to_string(version.patch);
  if (version.buildLetter) text += version.buildLetter + std::to_string(version.build);
  return text;
}

std::string worded(const ProgramVersion& version, short form) {
  if (form == 1) return version.fileVersion;
  if (form == 3) return std::string(version.product) + ' ' + numbers(version);
  return numbers(version);
}

}  // namespace

void ky::setProgramVersion(const ProgramVersion* version) { program = version; }

short GetVersionInfo(short* major, short* minor, char* text, short form) {
  if (major) *major = program ? program->major : 0;
  if (minor) *minor = program ? program->minor : 0;
  if (text) std::snprintf(text, kTextLimit + 1, "%s", program ? worded(*program, form).c_str() : "");
  return program != nullptr;
}

char GetVersionBuildType() {
#if defined(NDEBUG)
  return 'R';
#else
  return 'D';
#endif
}

ULong GetBuildTimeStamp() { return KY_BUILD_TIME_STAMP; }
