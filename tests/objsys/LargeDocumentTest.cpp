// What must hold however many objects there are: the stack does not grow with them, and memory grows by little.
#include <fstream>

#include "tests/filesys/DiskSupport.h"
#include "tests/objsys/Film.h"
#include "tests/support/Status.h"

using namespace ky;
using namespace ky::test;

namespace {

#if defined(KY_SANITIZED)
constexpr std::size_t kCount = 50000;
#else
constexpr std::size_t kCount = 1000000;
#endif

/// A chain without an end is a graph as deep as it has clips.
std::vector<Owned<Clip>> chainOf(std::size_t count) {
  std::vector<Owned<Clip>> chain;
  for (std::size_t i = 0; i < count; ++i) {
    chain.emplace_back(Clip::New("Clip_0000000", Long(i)));
    if (i) chain[i - 1]->next = chain[i].get();
  }
  return chain;
}

}  // namespace

TEST(LargeDocument, AChainOfAMillionNeedsNoMoreStackThanOfTwo) {
  const Limit stack(RLIMIT_STACK, 8 << 20);
  Bytes bytes;
  save(chainOf(kCount)[0].get(), bytes);
  bytes.stream->SetPosition(0);
  Owned<ADomain> doc(ADomain::OpenFromStream(bytes.stream.get(), 0));
  Long expected = 0;
  for (auto* clip = static_cast<Clip*>(doc->CopyOut()); clip; ++expected) {
    ASSERT_EQ(clip->in, expected);
    Clip* const next = clip->next;
    clip->Dispose();
    clip = next;
  }
  EXPECT_EQ(expected, Long(kCount));
}

#if !defined(KY_SANITIZED)  // whose own memory would be measured
TEST(LargeDocument, ASaveTakesTheFileAndSixteenBytesAnObject) {
  registerFilm();
  const auto chain = chainOf(kCount);
  Bytes bytes;
  std::ofstream("/proc/self/clear_refs") << 5 << std::flush;  // the peak starts again from here
  const Int64 before = statusBytes("VmRSS:");
  save(chain[0].get(), bytes);
  const Int64 extra = statusBytes("VmHWM:") - before;
  const Int64 allowed = Int64(bytes.text().size()) + 16 * Int64(kCount);
  constexpr Int64 kSlack = 4 << 20;  // buffers, and what the allocator rounds up
  EXPECT_LE(extra, allowed + kSlack);
}
#endif
