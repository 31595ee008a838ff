#include "core/error/DumpTable.h"

#include <algorithm>
#include <cstring>

#include "core/error/Guarded.h"
#include "core/math/CUtils.h"

using namespace ky;

namespace {

constexpr int kMaxSections = 50;

struct Section {
  const char* name = nullptr;
  DmpProc proc = nullptr;
  Boolean brief = false;
};

Section sSections[kMaxSections];
int sNumSections = 0;
char sPrefix[256];

Section* sectionsEnd() { return sSections + sNumSections; }

void dumpSection(KyPrint print, const Section& section) {
  constexpr int kRuleWidth = 62;
  char rule[kRuleWidth + 1];
  std::memset(rule, '_', kRuleWidth);
  rule[kRuleWidth] = 0;
  const int width = std::max(0, kRuleWidth - static_cast<int>(std::strlen(section.name)));
  print("________ %s %.*s\n", section.name, width, rule);
  guarded([&] { section.proc(print); },
          [&](XError& caught) { print("\n*** dump halted by exception: %s\n", caught.GetCode()); });
  print("\n");
}

}  // namespace

void DmpInstall(DmpProc proc, const char* name, Boolean brief) {
  if (sNumSections == kMaxSections) +XError("DMP_TABLE_FULL", 0);
  sSections[sNumSections++] = {name, proc, brief};
}

void DmpRemove(DmpProc proc) {
  Section* const found = std::find_if(sSections, sectionsEnd(), [&](const Section& s) { return s.proc == proc; });
  if (found == sectionsEnd()) return;
  std::move(found + 1, sectionsEnd(), found);
  --sNumSections;
}

void DmpDump(KyPrint print, Boolean briefOnly) {
  for (int i = 0; i < sNumSections; ++i) {
    const Section section = sSections[i];
    if (!briefOnly || section.brief) dumpSection(print, section);
  }
}

void DmpDumpOne(KyPrint print, const char* name) {
  const auto named = [&](const Section& section) { return std::strcmp(section.name, name) == 0; };
  const Section* const found = std::find_if(sSections, sectionsEnd(), named);
  if (found != sectionsEnd()) dumpSection(print, Section(*found));
}

void DmpListSections(KyPrint print) {
  for (const Section* section = sSections; section != sectionsEnd(); ++section) print("    %s\n", section->name);
}

void DmpSetPrefix(const char* prefix) { strncpyz(sPrefix, prefix, sizeof sPrefix); }

const char* ky::dumpPrefix() { return sPrefix; }
