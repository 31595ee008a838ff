#include "core/objsys/ADomain.h"

#include "tests/objsys/Film.h"
#include "tests/support/Test.h"

using namespace ky;
using namespace ky::test;

namespace {

std::string prologueWith(std::size_t at, const char* bytes) {
  std::string text = saved(nullptr);
  text.replace(at, std::strlen(bytes), bytes);
  return text;
}

}  // namespace

TEST(ADomain, OpensByTheKeyAndRefusesAPrologueThatIsNone) {
  registerFilm();
  expectRefusals({{"DOMAIN_BAD_MAGIC", [] { loaded(prologueWith(2, "domain")); }},
                  {"DOMAIN_KEY_UNKNOWN", [] { loaded(prologueWith(8, "XJBO")); }},
                  {"DOMAIN_DUPLICATE_KEY", [] { ADomain::Register(Long(MakeChar4("OBJD")), nullptr); }}});
}
