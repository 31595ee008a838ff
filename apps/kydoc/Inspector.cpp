#include "apps/kydoc/Inspector.h"

#include <cstdio>
#include <cstring>

#include "core/mem/Owned.h"
#include "core/utils/MemStreams.h"

namespace kydoc {
namespace {

constexpr Char4 kObjectDocument = MakeChar4("OBJD");
constexpr Char4 kBigEndian = MakeChar4("MMMM");
constexpr Char4 kLittleEndian = MakeChar4("IIII");
constexpr Char4 kUnknownClass = MakeChar4("UNKN");
constexpr int kLongestTimestamp = 79;
constexpr int kCreatorVersionLength = 30;
constexpr std::uint8_t kEndOfObject = 3;

std::string printable(const char* text, std::size_t length) {
  std::string shown;
  for (std::size_t i = 0; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    char escape[8];
    std::snprintf(escape, sizeof escape, byte >= 0x20 && byte < 0x7F ? "%c" : "\\x%02X", byte);
    shown += escape;
  }
  return shown;
}

std::string bytesText(std::int64_t count) { return std::to_string(count) + (count == 1 ? " byte" : " bytes"); }

/// Walks the document with the library's own wire reader, and knows at each step what it is about.
class Walk {
 public:
  explicit Walk(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  Findings header(const std::function<void(const Header&)>& onHeader) {
    return upToFault([&] { readHeader(onHeader); });
  }

  Findings whole(const std::function<void(const Header&)>& onHeader,
                 const std::function<void(const Record&)>& onRecord) {
    return upToFault([&] {
      readHeader(onHeader);
      for (Long number = 1; number <= header_.numObjects; ++number) {
        const Record record = readRecord(number);
        if (onRecord) onRecord(record);
      }
    });
  }

 private:
  template <class Steps>
  Findings upToFault(Steps steps) {
    try {
      if (bytes_.empty()) refuse(0, "an object document", "an empty file");
      open();
      steps();
    } catch (const Fault& fault) {
      return {fault, 0};
    }
    return {std::nullopt, rest()};
  }

  /// The stream only reads, so the bytes stay as they are.
  void open() {
    const Long length = static_cast<Long>(bytes_.size());
    stream_.reset(AMemStream::NewFromPtr(const_cast<std::uint8_t*>(bytes_.data()), length, length));
  }

  std::int64_t rest() const { return static_cast<std::int64_t>(bytes_.size()) - stream_->GetPosition(); }

  [[noreturn]] void refuse(std::int64_t offset, std::string expected, std::string found) const {
    throw Fault{offset, number_, class_, std::move(expected), std::move(found)};
  }

  std::int64_t here() const { return stream_->GetPosition(); }

  void need(std::int64_t count, const std::string& what) const {
    if (rest() >= count) return;
    refuse(here(), what + " (" + bytesText(count) + ")",
           rest() == 0 ? "the end of the file" : "only " + bytesText(rest()) + " to the end of the file");
  }

  ULong readULong(const char* what) {
    need(4, what);
    return stream_->ReadULong(what);
  }

  /// A string of at most `longest` bytes behind its two-byte length.
  std::string readText(const char* what, int longest) {
    const std::int64_t at = here();
    need(2, std::string("the length of ") + what);
    const int length = stream_->ReadShort(what);
    if (length < 0 || length > longest)
      refuse(at, std::string(what) + " of 0 to " + std::to_string(longest) + " characters",
             "a length of " + std::to_string(length));
    need(length, what);
    std::string text(static_cast<std::size_t>(length), '\0');
    stream_->Read(text.data(), length);
    return text;
  }

  void expectMagic(const char* magic) {
    const std::int64_t at = here();
    const std::string text = readText("the domain magic", static_cast<int>(std::strlen(magic)));
    if (text != magic) refuse(at + 2, '"' + std::string(magic) + '"', '"' + printable(text.data(), text.size()) + '"');
  }

  void readPrologue() {
    need(2, "the length of the domain magic");
    const int length = static_cast<unsigned short>(stream_->ReadShort("DomainMagic:len"));
    header_.swapped = length == 0x0600;
    if (length != 6 && !header_.swapped)
      refuse(0, "the length of \"Domain\", with which a document begins (6, in either byte order)",
             std::to_string(length));
    stream_->SetSwapBytes(header_.swapped);
    stream_->SetPosition(0);
    expectMagic("Domain");

    const std::int64_t at = here();
    const Char4 key = readULong("the domain key");
    header_.domain = codeText(key);
    if (key != kObjectDocument) refuse(at, "the domain key 'OBJD'", "'" + header_.domain + "'");
    expectMagic("AObjDoc");
  }

  void readHeader(const std::function<void(const Header&)>& onHeader) {
    readHeader();
    if (onHeader) onHeader(header_);
  }

  void readHeader() {
    readPrologue();
    std::int64_t at = here();
    need(1, "the document version");
    header_.version = stream_->ReadChar("DomainVersion");
    if (header_.version < 1 || header_.version > 4)
      refuse(at, "a document version of 1 to 4", std::to_string(header_.version));
    const std::string timestamp = readText("the timestamp", kLongestTimestamp);
    header_.timestamp = printable(timestamp.data(), timestamp.size());

    at = here();
    header_.numObjects = static_cast<Long>(readULong("the number of objects"));
    countAt_ = at;
    if (header_.numObjects < 0) refuse(at, "a number of objects of 0 or more", std::to_string(header_.numObjects));
    if (header_.version > 1) readRoot();
    if (header_.version > 3) readVersion4();
    if (header_.version < 4) stream_->SetSwapBytes(true);
    if (header_.version == 1 && header_.numObjects >= 65536)
      refuse(countAt_, "fewer than 65536 objects in a version 1 document", std::to_string(header_.numObjects));
    if (header_.numObjects > rest() / 8)
      refuse(countAt_, "a number of objects that the file can hold (at most " + std::to_string(rest() / 8) + ")",
             std::to_string(header_.numObjects));
  }

  void readRoot() {
    const std::int64_t at = here();
    header_.rootObject = static_cast<Long>(readULong("the number of the root object"));
    const bool empty = header_.numObjects == 0;
    if (*header_.rootObject < (empty ? 0 : 1) || *header_.rootObject > header_.numObjects)
      refuse(
          at,
          empty ? "root object 0 in an empty document" : "a root object of 1 to " + std::to_string(header_.numObjects),
          std::to_string(*header_.rootObject));
  }

  void readVersion4() {
    const std::int64_t at = here();
    const Char4 order = readULong("the byte order");
    header_.byteOrder = codeText(order);
    if (order != kLittleEndian && order != kBigEndian)
      refuse(at, "the byte order 'IIII' or 'MMMM'", "'" + *header_.byteOrder + "'");
    stream_->SetSwapBytes(order == kBigEndian);
    header_.uidHigh = readULong("uid.high");
    header_.uidLow = readULong("uid.low");
    header_.fileType = codeText(readULong("the file type"));
    header_.fileCreator = codeText(readULong("the file creator"));
    need(48, "the creator version and the spare words");
    header_.creatorVersion = creatorVersion();
    stream_->Skip(48);
  }

  /// Readers step over these bytes, so odd contents are no fault; then there is just no version to show.
  std::optional<std::string> creatorVersion() const {
    const auto text = bytes_.subspan(static_cast<std::size_t>(here()), 2 + kCreatorVersionLength);
    const int length = header_.byteOrder == "MMMM" ? text[0] << 8 | text[1] : text[1] << 8 | text[0];
    if (length != kCreatorVersionLength) return std::nullopt;
    std::string version = printable(reinterpret_cast<const char*>(text.data()) + 2, kCreatorVersionLength);
    version.erase(version.find_last_not_of(' ') + 1);
    return version;
  }

  Record readRecord(Long number) {
    Record record;
    record.number = number_ = number;
    record.offset = here();
    class_.clear();
    record.classID = readULong("the class of the object");
    class_ = codeText(record.classID);
    if (record.classID == kUnknownClass)
      refuse(record.offset, "the class of a stored object", "'UNKN', which only stands in for a class while loaded");

    const std::int64_t lengthAt = here();
    const Long length = static_cast<Long>(readULong("the length of the object"));
    if (length < 0 || length > rest())
      refuse(lengthAt, "a length of 0 to " + bytesText(rest()), std::to_string(length));
    record.body = bytes_.subspan(static_cast<std::size_t>(here()), static_cast<std::size_t>(length));
    if (header_.version > 2 && (length == 0 || record.body.back() != kEndOfObject)) {
      const std::string found = length == 0 ? "an empty body" : "byte " + std::to_string(record.body.back());
      refuse(here() + length - (length > 0), "the end mark (byte 3) as the last byte of the object", found);
    }
    stream_->Skip(length);
    return record;
  }

  std::span<const std::uint8_t> bytes_;
  ky::Owned<AMemStream> stream_;
  Header header_;
  std::int64_t countAt_ = 0;
  Long number_ = 0;
  std::string class_;
};

}  // namespace

std::string codeText(Char4 code) {
  const char text[4] = {static_cast<char>(code >> 24), static_cast<char>(code >> 16), static_cast<char>(code >> 8),
                        static_cast<char>(code)};
  return printable(text, sizeof text);
}

std::string faultText(const Fault& fault) {
  std::string text = "at byte " + std::to_string(fault.offset);
  if (fault.number > 0) text += ", object " + std::to_string(fault.number);
  if (!fault.classID.empty()) text += " of class '" + fault.classID + "'";
  return text + ": expected " + fault.expected + ", found " + fault.found;
}

Findings inspect(std::span<const std::uint8_t> bytes, const std::function<void(const Header&)>& onHeader,
                 const std::function<void(const Record&)>& onRecord) {
  return Walk(bytes).whole(onHeader, onRecord);
}

Findings inspectHeader(std::span<const std::uint8_t> bytes, const std::function<void(const Header&)>& onHeader) {
  return Walk(bytes).header(onHeader);
}

}  // namespace kydoc
