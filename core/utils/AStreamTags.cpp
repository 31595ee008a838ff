// Marks and tags of AStream: where objects begin and end, and how what is not known is stepped over.
#include <array>
#include <utility>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/utils/StreamWire.h"

using namespace ky;

namespace {

constexpr const char* kVersionLabel = "version";
constexpr char leastVersion = 1;
constexpr char greatestVersion = 127;

constexpr signed char noLength = -1;       // not to be stepped over
constexpr signed char varyingLength = -2;  // ahead of the bytes

/// How many bytes follow each tag.
constexpr auto payloadLengths = [] {
  std::array<signed char, uint64Tag + 1> lengths{};
  lengths.fill(noLength);
  lengths[beginTag] = lengths[classTag] = 1;
  lengths[endTag] = 0;
  lengths[booleanTag] = lengths[charTag] = lengths[ucharTag] = 1;
  lengths[shortTag] = lengths[ushortTag] = 2;
  lengths[longTag] = lengths[ulongTag] = lengths[char4Tag] = lengths[floatTag] = 4;
  lengths[doubleTag] = lengths[int64Tag] = lengths[uint64Tag] = 8;
  lengths[bytesTag] = lengths[stringTag] = varyingLength;
  return lengths;
}();

void raiseIllegalTag(char tag) { +XError("STRM_UNEXPECTED_TAG", "int GotIllegalTag", int(tag), 0); }

void checkObjectVersion(Long pcid, char version, char min, char max) {
  if (version < min || version > max)
    +XError("STRM_ILLEGAL_OBJECT_VERSION", "Char4 pcid", static_cast<Char4>(pcid), "int version", int(version),
            "int min", int(min), "int max", int(max), 0);
}

void checkMinorVersion(const char* label, char version) {
  if (version < leastVersion)
    +XError("STRM_ILLEGAL_MINOR_VERSION", label, int(version), "int min", int(leastVersion), "int max",
            int(greatestVersion), 0);
}

}  // namespace

void ky::writeVersionByte(void*, AStream* stream, Long, char version) { stream->WriteChar(kVersionLabel, version); }
char ky::readVersionByte(void*, AStream* stream, Long) { return stream->ReadChar(kVersionLabel); }

// ---- single tags

char AStream::CoreWriteTag(char tag) {
  if (!useTags) return noTag;
  if (StreamWire::hasToWrite(*this, 1)) [[likely]] {
    *cursor++ = tag;
    return tag;
  }
  if (traceFunc) StreamWire::traceMark(*this, "", "TagMark", tag);
  coreWrite(this, &tag, 1);
  return tag;
}

char AStream::CoreReadTag(char wanted) {
  if (!useTags) return noTag;
  char tag = noTag;
  if (StreamWire::hasToRead(*this, 1)) [[likely]] {
    tag = *cursor++;
  } else {
    coreRead(this, &tag, 1);
    if (traceFunc) StreamWire::traceMark(*this, "", "TagMark", tag);
  }
  if (tag != wanted && wanted != noTag)
    +XError("STRM_UNEXPECTED_TAG", "int GotTag", int(tag), "int WantedTag", int(wanted), 0);
  return tag;
}

// ---- marks, written

void AStream::WriteClassMark(Long pcid, char version) {
  // As nearly every object writes it: outside a tagged section, and a version byte that the window has room for.
  const std::ptrdiff_t versionAt = useTags;
  char* const at = cursor;
  if (version >= leastVersion && classWriteFunc == writeVersionByte && !inTaggedFields && writeLimit - at > versionAt)
      [[likely]] {
    *at = classTag;  // where there are no tags the version covers it
    at[versionAt] = version;
    cursor = at + versionAt + 1;
    return;
  }
  StreamWire::putClassMark(*this, pcid, version);
}

void StreamWire::putClassMark(AStream& s, Long pcid, char version) {
  checkObjectVersion(pcid, version, leastVersion, greatestVersion);
  if (s.useTags) {
    putTag(s, classTag);
    setTagged(s, false);
  }
  s.classWriteFunc(s.classWriteData, &s, pcid, version);
}

void AStream::WriteBeginTagMark(char minorVersion) {
  checkMinorVersion("int TagMark, MinorVersion", minorVersion);
  if (useTags) {
    StreamWire::setTagged(*this, true);
    StreamWire::putTag(*this, beginTag);
  }
  if (traceFunc) StreamWire::traceMark(*this, "", "Minor Version", minorVersion);
  // Written whether or not a minor version is expected on reading: leaving it out is for data older than it.
  Write(&minorVersion, 1);
}

void AStream::WriteEndObject() {
  if (!useTags) return;
  StreamWire::putTag(*this, endTag);
  StreamWire::setTagged(*this, false);
}

// ---- marks, read

char AStream::ReadClassMark(Long pcid) {
  if (useTags) {
    StreamWire::skipTo(*this, classTag, false);
    StreamWire::setTagged(*this, false);
  }
  if (classReadFunc == readVersionByte && StreamWire::hasToRead(*this, 1)) return *cursor++;
  return classReadFunc(classReadData, this, pcid);
}

char AStream::CheckClassMark(Long pcid, char min, char max) {
  // As nearly every object has it: the mark next in the window, outside a tagged section, and a version that will do.
  const std::ptrdiff_t versionAt = useTags;
  const char* const at = cursor;
  if (classReadFunc == readVersionByte && !pendingTag && !inTaggedFields && readLimit - at > versionAt) [[likely]] {
    const char version = at[versionAt];
    const bool marked = *at == classTag || versionAt == 0;
    if (marked && version >= min && version <= max) [[likely]] {
      cursor += versionAt + 1;
      return version;
    }
  }
  return StreamWire::checkClassMark(*this, pcid, min, max);
}

char StreamWire::checkClassMark(AStream& s, Long pcid, char min, char max) {
  const char version = s.AStream::ReadClassMark(pcid);
  checkObjectVersion(pcid, version, min, max);
  return version;
}

char AStream::ReadBeginTagMark() {
  if (!hasMinorVersion) {
    if (traceFunc) StreamWire::traceMark(*this, "", "No Tags, Minor Version", 0);
    return 0;
  }
  if (useTags) {
    StreamWire::setTagged(*this, true);
    const char tag = StreamWire::skipTo(*this, beginTag, true);
    if (tag == endTag || tag == classTag) {  // no tagged section here; the next search finds the edge again
      pendingTag = tag;
      StreamWire::setTagged(*this, false);
      return 0;
    }
    if (tag != beginTag) +XError("STRM_UNEXPECTED_TAG", "int GotBadMinorTag", int(tag), 0);
  }
  char minorVersion = 0;
  Read(&minorVersion, 1);
  if (traceFunc) StreamWire::traceMark(*this, "", "Minor Version", minorVersion);
  checkMinorVersion("int minorVersion", minorVersion);
  return minorVersion;
}

void AStream::ReadEndObject() {
  if (!useTags) return;
  StreamWire::skipTo(*this, endTag, false);
  StreamWire::setTagged(*this, false);
}

// ---- stepping over

/// Raises for what cannot be stepped over; that a null string is among it shows as the tag -1, which its length would
/// read as.
Long StreamWire::lengthToSkip(AStream& s, char tag) {
  const Long fixed = tag >= beginTag && tag <= uint64Tag ? payloadLengths[static_cast<std::size_t>(tag)] : noLength;
  if (fixed == noLength) raiseIllegalTag(tag);
  if (fixed != varyingLength) return fixed;
  Long length = 0;
  if (tag == bytesTag) {
    length = getBare<Long>(s);
  } else if (tag == stringTag) {
    length = getBare<short>(s);
  } else {
    fatal("Program Error. Got illegal length for tag.");
  }
  if (length < 0) raiseIllegalTag(-1);
  return length;
}

char AStream::SkipToTag(char wanted, Boolean stopAtObjectEdge) {
  if (!useTags) return noTag;
  if (std::exchange(pendingTag, char{noTag}) == wanted) return wanted;
  for (;;) {
    const char tag = CoreReadTag(noTag);
    if (tag == wanted) return tag;
    if (stopAtObjectEdge && (tag == classTag || tag == endTag)) return tag;
    const Long length = StreamWire::lengthToSkip(*this, tag);
    if (traceFunc) StreamWire::traceMark(*this, "bytes", "Skipping", length);
    Skip(length);
  }
}
