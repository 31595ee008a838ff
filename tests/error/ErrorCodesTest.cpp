#include "core/error/ErrorCodes.h"

#include <set>
#include <sstream>

#include "core/base/TypeTable.h"
#include "tests/support/Test.h"

// Whoever fills a template by these labels must find each parameter under its type.
TEST(ErrorCodes, AreToldOnceWithLabelsThatNameATypeAndAParameter) {
  std::set<std::string> seen;
  for (const auto& [code, parameters] : ky::errorCodes()) {
    SCOPED_TRACE(code);
    EXPECT_TRUE(seen.insert(code).second);
    std::istringstream labels(parameters);
    for (std::string label; std::getline(labels >> std::ws, label, ',');) {
      unsigned char tid = 0;
      const std::string behind = MBFind(label.c_str(), &tid);
      EXPECT_NE(tid, TIDunknown) << label;
      EXPECT_TRUE(behind.size() > 1 && behind[0] == ' ') << label;
    }
  }
}
