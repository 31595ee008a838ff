#include <gtest/gtest.h>

#include <string>

#include "core/math/Rational.h"
#include "core/utils/AStream.h"
#include "tests/support/Printed.h"
#include "tests/utils/StreamSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

const char* const bytes20 = "0123456789abcdefXYZ!";

void putAll(AStream* s) {
  s->WriteBoolean("flag", 1);
  s->WriteChar(nullptr, -3);
  s->WriteUChar("uchar", 10);
  s->WriteShort("short", -4);
  s->WriteUShort("ushort", 255);
  s->WriteLong("a label of more than sixteen", -5);
  s->WriteULong("ulong", 255);
  s->WriteFloat("float", 1.5f);
  s->WriteDouble("double", -2.25);
  s->WriteInt64("int64", -2);
  s->WriteUInt64("uint64", 0x100000002);
  s->WriteChar4("code", MakeChar4("abcd"));
  s->WriteString("text", "ab \"c\"");
  s->WriteString("none", nullptr);
  s->WriteRational("ratio", Rational(0, 1));
  s->WriteBytes("bytes", bytes20, 20);
  s->WriteBytes("bytes", bytes20, 3);
}

const char* const allLines =
    "   Boolean          flag            : True\n"
    "   char                             : -3\n"
    "   uchar            uchar           : 0x0A\n"
    "   short            short           : -4\n"
    "   ushort           ushort          : 0x00FF\n"
    "   long             a label of more than sixteen: -5\n"
    "   ulong            ulong           : 0x000000FF\n"
    "   float            float           : 1.500000\n"
    "   double           double          : -2.250000\n"
    "   int64            int64           : 0xFFFFFFFF 0xFFFFFFFE\n"
    "   uint64           uint64          : 0x00000001 0x00000002\n"
    "   ulong            code            : 'abcd'\n"
    "   string           text            : \"ab \"c\"\"\n"
    "   string           none            : NULL\n"
    "   Rational         ratio           : 0.000000\n"
    "   bytes            bytes           : 3031 3233 3435 3637 3839 6162 6364 6566\n"
    "                                      5859 5A21 \n"
    "   bytes            bytes           : 3031 32\n";

TEST(AStreamTrace, PrintsALineForEachValueWritten) {
  const Printed out;
  const Owned<AStream> stream(AStream::New());
  stream->SetTraceFunc(Printed::print);
  EXPECT_EQ(stream->IndentTrace(2), 2);
  putAll(stream.get());
  EXPECT_EQ(out.text(), allLines);
}

TEST(AStreamTrace, PrintsTheSameLinesForValuesRead) {
  const Owned<AVariMemStream> stream = streamOf({7, 0, 0, 0, 2, 0, 'a', 'b', 0xFF, 0xFF, 1, 2, 'a', 'b', 'c', 'd'});
  const Printed out;
  stream->SetTraceFunc(Printed::print);
  char text[3];
  stream->ReadLong("long");
  const OwnedHandle handle(stream->ReadStringHandle("text"));
  stream->ReadString("none", text, 3);
  stream->ReadBytes("bytes", text, 2);
  stream->SetSwapBytes(true);
  EXPECT_EQ(stream->ReadChar4("code"), MakeChar4("abcd"));
  EXPECT_EQ(out.text(),
            " long             long            : 7\n"
            " string           text            : \"ab\"\n"
            " string           none            : \"\"\n"
            " bytes            bytes           : 0102 \n"
            " ulong            code            : 'dcba'\n");  // as it came from the wire
}

TEST(AStreamTrace, ShowsMarksTagsSkipsAndSeeks) {
  const Owned<AVariMemStream> stream = streamOf({});
  stream->SetUseTags(true);
  {
    const Printed out;
    stream->SetTraceFunc(Printed::print);
    stream->WriteBeginTagMark(2);
    stream->WriteBytes("b", "ab", 2);
    stream->WriteEndObject();
    EXPECT_EQ(out.text(),
              "                  TagMark         : 1\n"
              "                  Minor Version   : 2\n"
              " bytes                            : 02\n"
              "                  TagMark         : 65\n"
              " bytes len        b               : 2\n"
              " bytes            b               : 6162 \n"
              "                  TagMark         : 3\n");
  }
  const Printed out;
  stream->SetPosition(2);
  stream->SkipToTag(3, false);
  stream->SetHasMinorVersion(false);
  stream->ReadBeginTagMark();
  EXPECT_EQ(out.text(),
            "SetPosition(2)\n"
            "                  TagMark         : 65\n"
            " bytes            Skipping        : 2\n"
            "SetPosition(9)\n"
            "                  TagMark         : 3\n"
            "                  No Tags, Minor Version: 0\n");
}

}  // namespace
