#include "core/error/ErrorReport.h"

#include <map>

#include "core/error/Guarded.h"
#include "core/error/UIHooks.h"
#include "tests/mem/ToyToolbox.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

/// A toolbox with resources.
class Resources : public ToyToolbox {
 public:
  std::map<std::string, std::string> texts;
  std::string systemErrors;
  int held = 0;

  char** namedResource(Char4 type, const char* name) override {
    const auto found = texts.find(name);
    if (type != MakeChar4("STR ") || found == texts.end()) return nullptr;
    return hold(static_cast<char>(found->second.size()) + found->second);
  }
  char** numberedResource(Char4 type, short number) override {
    return type == MakeChar4("TEXT") && number == -15392 ? hold(systemErrors) : nullptr;
  }
  Long resourceSize(char** resource) override {
    return static_cast<Long>(reinterpret_cast<Held*>(resource)->text.size());
  }
  void releaseResource(char** resource) override {
    --held;
    delete reinterpret_cast<Held*>(resource);
  }

 private:
  struct Held {
    char* bytes;
    std::string text;
  };
  char** hold(const std::string& text) {
    ++held;
    auto* const made = new Held{nullptr, text};
    made->bytes = made->text.data();
    return &made->bytes;
  }
};

/// The report on what `raise` raises, from `level` or the top.
std::string report(void (*raise)(), int level = 0, int size = 256) {
  std::string text(static_cast<std::size_t>(size), '#');
  guarded(raise, [&] {
    if (level) {
      EMGetErrorMsgLevel(text.data(), size, level);
    } else {
      EMGetErrorMsg(text.data(), size);
    }
  });
  return text.c_str();
}

void raiseTwoLevels() {
  reraisedAs(
      "DISK_EOF", [] { +XError("SYS_ERROR", "int status", 38, "str msg", "End of file", 0); }, "str filename",
      "reel.bin", 0);
}

void raiseOsErr() { +XError("SYS_ERROR", "int OSErr", -43, 0); }

}  // namespace

TEST(ErrorReport, WithoutTemplatesEachLevelHasItsDefaultLine) {
  EXPECT_EQ(report(raiseTwoLevels), "Exception: DISK_EOF, filename:reel.bin");
  EXPECT_EQ(report(raiseTwoLevels, 1), "Exception: SYS_ERROR, status:38, msg:End of file");
  EXPECT_EQ(report(raiseTwoLevels, 0, 12), "Exception: ");
  char text[8] = "before";
  EMGetErrorMsg(text, sizeof text);
  EXPECT_STREQ(text, "") << "no current error";
  EXPECT_EQ(checkFailedBy([] {
              guarded([] { +XError("CODE"); },
                      [] {
                        char none[8];
                        EMGetErrorMsgLevel(none, sizeof none, 2);
                      });
            }),
            "codePtr != NULL");
}

TEST(ErrorReport, TemplatesFromALookUpOrResourcesSeeTheOutermostParameters) {
  installTemplateLookup([](const char* code) -> const char* {
    return std::string(code) == "DISK_EOF" ? "The file <filename> is too short." : nullptr;
  });
  EXPECT_EQ(report(raiseTwoLevels), "The file reel.bin is too short.");
  installTemplateLookup(nullptr);
  Resources resources;
  resources.texts = {{"DISK_EOF", "<filename> ended."}, {"SYS_ERROR", "<filename>: <status>"}};
  EXPECT_EQ(report(raiseTwoLevels), "reel.bin ended.");
  EXPECT_EQ(report(raiseTwoLevels, 1), "reel.bin: <status>");
  EXPECT_EQ(resources.held, 0);
}

TEST(ErrorReport, OldSystemErrorsAreLookedUpInTheirTable) {
  static int waits;
  const UIrtns before =
      InstallUIrtns([](Boolean, Long) -> Boolean { return ++waits, false; }, nullptr, nullptr, nullptr);
  waits = 0;
  Resources resources;
  resources.texts = {{"SYS_ERROR", "system trouble"}};
  resources.systemErrors = "-42 tmfoErr File too many files open\r-43  fnfErr   no such file\r-44 wPrErr locked\r";
  EXPECT_EQ(report(raiseOsErr), "System Error -43 (no such file)");
  EXPECT_EQ(waits, 2) << "once a line read";
  EXPECT_EQ(report(raiseOsErr, 0, 16), "System Error -4");
  EXPECT_EQ(report(raiseTwoLevels, 1), "system trouble") << "those of the file routines have their template";
  resources.systemErrors = "-42 tmfoErr File";
  EXPECT_EQ(report(raiseOsErr), "system trouble");
  EXPECT_EQ(resources.held, 0);
  InstallUIrtns(before);
}
