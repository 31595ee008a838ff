// Object documents read without their classes: the header, the records, and the first fault.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "core/base/KyTypes.h"

namespace kydoc {

/// What the document says of itself. A field that the document's version does not have is absent.
struct Header {
  std::string domain;    ///< the key of the domain kind, "OBJD"
  bool swapped = false;  ///< the prologue was written in the other byte order than this machine's
  int version = 0;
  std::string timestamp;
  Long numObjects = 0;
  std::optional<Long> rootObject;
  std::optional<std::string> byteOrder;
  std::optional<ULong> uidHigh;
  std::optional<ULong> uidLow;
  std::optional<std::string> fileType;
  std::optional<std::string> fileCreator;
  std::optional<std::string> creatorVersion;
};

/// One object record; `body` refers into the bytes that were inspected.
struct Record {
  Long number = 0;  ///< from 1, in file order
  Char4 classID = 0;
  std::int64_t offset = 0;  ///< of the record's first byte
  std::span<const std::uint8_t> body;
};

/// The first thing in a document that no reader may accept.
struct Fault {
  std::int64_t offset = 0;
  Long number = 0;      ///< the object whose record it is, 0 in the header
  std::string classID;  ///< of that object, empty if unknown
  std::string expected;
  std::string found;
};

/// A four-character code as text; bytes that do not print appear as \xNN.
std::string codeText(Char4 code);

/// Where and why, in one line for people.
std::string faultText(const Fault& fault);

/// What an inspection came to.
struct Findings {
  std::optional<Fault> fault;
  /// Bytes behind the last record of a sound document. A longer old document keeps its tail, so they are no fault.
  std::int64_t tail = 0;
};

/// Reads the header and hands every record to `onRecord` in file order, up to the first fault. Either may be empty.
///
/// `onHeader` is called once, when the whole header has been read, before any record. Takes no memory that grows with
/// the document.
Findings inspect(std::span<const std::uint8_t> bytes, const std::function<void(const Header&)>& onHeader,
                 const std::function<void(const Record&)>& onRecord);

/// Reads the header alone.
Findings inspectHeader(std::span<const std::uint8_t> bytes, const std::function<void(const Header&)>& onHeader);

}  // namespace kydoc
