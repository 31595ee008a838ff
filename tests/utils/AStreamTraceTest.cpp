#include "core/math/Rational.h"
#include "core/utils/AStream.h"
#include "tests/support/Printed.h"
#include "tests/support/Test.h"
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

}  // namespace
