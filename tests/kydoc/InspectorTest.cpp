#include "apps/kydoc/Inspector.h"

#include "tests/support/Damage.h"
#include "tests/support/Test.h"

using kydoc::Findings;
using kydoc::Header;
using kydoc::Record;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Lays a document out byte by byte, each value in the given order.
struct Layout {
  Layout& number(std::uint32_t value, int width) {
    for (int i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (big ? width - 1 - i : i)));
    return *this;
  }
  Layout& code(const char (&value)[5]) { return number(MakeChar4(value), 4); }
  Layout& text(const std::string& value) { return number(static_cast<std::uint32_t>(value.size()), 2).raw(value); }
  Layout& raw(const std::string& value) {
    bytes.insert(bytes.end(), value.begin(), value.end());
    return *this;
  }

  const bool big;
  Bytes bytes = {};
};

/// Two objects: 'ABCD' with a body of four bytes (the last the end mark), 'WXYZ' with the end mark alone.
Bytes document(std::uint32_t version = 4, bool big = false) {
  Layout out{big};
  out.text("Domain").code("OBJD").text("AObjDoc").number(version, 1).text("2024/02/29 23:59:58").number(2, 4);
  if (version > 1) out.number(2, 4);
  if (version > 3) {
    big ? out.code("MMMM") : out.code("IIII");
    out.number(7, 4).number(0xFFFFFFFF, 4).code("REEL").code("KYCR");
    out.text("1.2" + std::string(27, ' ')).raw(std::string(16, '\0'));
  }
  out.code("ABCD").number(4, 4).raw(std::string("\x02\x01\x05\x03", 4));
  out.code("WXYZ").number(1, 4).raw("\x03");
  return out.bytes;
}

std::string faultIn(const Bytes& bytes) {
  const Findings findings = kydoc::inspect(
      bytes, [](const Header&) {}, [](const Record&) {});
  return findings.fault ? kydoc::faultText(*findings.fault) : "";
}

constexpr std::pair<std::uint32_t, bool> kForms[] = {{1, true}, {2, true}, {3, true}, {4, true}, {4, false}};

}  // namespace

TEST(Inspector, ReadsEveryVersionInEitherByteOrder) {
  for (const auto& [version, big] : kForms) {
    SCOPED_TRACE(std::to_string(version) + (big ? " big" : " little"));
    Header header;
    std::vector<Record> records;
    const Bytes bytes = document(version, big);
    const Findings findings = kydoc::inspect(
        bytes, [&](const Header& h) { header = h; }, [&](const Record& r) { records.push_back(r); });
    ASSERT_FALSE(findings.fault) << kydoc::faultText(*findings.fault);
    EXPECT_EQ(header.swapped, big);
    EXPECT_EQ(header.version, version);
    EXPECT_EQ(header.timestamp, "2024/02/29 23:59:58");
    EXPECT_EQ(header.uidLow.value_or(0), version < 4 ? 0 : 0xFFFFFFFF);
    EXPECT_EQ(header.creatorVersion.value_or(""), version < 4 ? "" : "1.2");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(kydoc::codeText(records[0].classID), "ABCD");
    EXPECT_EQ(records[1].offset, static_cast<std::int64_t>(bytes.size()) - 9);
  }
}

TEST(Inspector, NamesTheFirstFault) {
  const auto good = document();
  auto longer = good;  // than it was: the tail of an older document is no fault
  longer.insert(longer.end(), 11, 0xEE);
  EXPECT_EQ(kydoc::inspect(longer, {}, {}).tail, 11);
  const auto with = [&](std::size_t at, std::uint8_t value) {
    auto bytes = good;
    bytes[at] = value;
    return bytes;
  };
  const std::pair<Bytes, const char*> cases[] = {
      {longer, ""},
      {with(8, 0), "at byte 8: expected the domain key 'OBJD', found 'OBJ\\x00'"},
      {with(47, 3), "at byte 47: expected a root object of 1 to 2, found 3"},
      {with(123, 200), "at byte 123, object 1 of class 'ABCD': expected a length of 0 to 13 bytes, found 200"},
      {{good.begin(), good.begin() + 100},
       "at byte 71: expected the creator version and the spare words (48 bytes), found only 29 bytes to the end of the "
       "file"},
  };
  for (const auto& [bytes, want] : cases) EXPECT_EQ(faultIn(bytes), want);
}

TEST(Inspector, SurvivesEveryFlippedByteAndNoticesEveryCut) {
  for (const auto& [version, big] : kForms) {
    ky::test::damageEveryByte(document(version, big), [](const Bytes& bytes) { return faultIn(bytes).empty(); });
  }
}
