#include "core/mem/Toolbox.h"

#include <atomic>

namespace ky {

namespace {

constinit std::atomic<Toolbox*> installed{nullptr};
constinit std::atomic<TemplateLookup> templates{nullptr};

// Unloading the library is the toolbox's end too.
__attribute__((destructor)) void endToolbox() {
  if (Toolbox* const toolbox = installed.exchange(nullptr)) toolbox->finalRoutine();
}

}  // namespace

Toolbox* installToolbox(Toolbox* toolbox) { return installed.exchange(toolbox); }

Toolbox* toolbox() { return installed.load(std::memory_order_acquire); }

void installTemplateLookup(TemplateLookup lookup) { templates = lookup; }

const char* lookUpTemplate(const char* code) {
  const TemplateLookup lookup = templates;
  return lookup ? lookup(code) : nullptr;
}

}  // namespace ky
