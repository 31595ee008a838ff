// Documents that are saved to files and loaded from them, with each transfer failing once.
#include <gtest/gtest.h>

#include "core/mem/KyMemory.h"
#include "core/objsys/AFileStream.h"
#include "tests/objsys/Film.h"
#include "tests/support/Raised.h"
#include "tests/support/TempFolder.h"

using namespace ky;
using namespace ky::test;

namespace {

/// Larger than the buffers of a save and a load, so that each takes several transfers.
Owned<Reel> longFilm() {
  const std::string text(32000, 'n');
  std::vector<AUndoable*> reels;
  for (int i = 0; i < 4; ++i) {
    std::vector<AUndoable*> clips;
    for (Long k = 0; k < Reel::kMost; ++k) clips.push_back(Clip::New(text.c_str(), k));
    reels.push_back(Reel::New(clips));
  }
  return Owned<Reel>(Reel::New(reels));
}

class DocumentOnDisk : public testing::Test {
 protected:
  DocumentOnDisk() { registerFilm(); }

  AFileStream* open(unsigned short flags) const {
    return AFileStream::New(openFile(path.c_str(), flags, 0, OSVolID()), true, nullptr);
  }
  void save(APortable* root) const {
    Owned<AFileStream> stream(open(kFileCreate | kFileReadWrite));
    const Owned<AObjDoc> doc(AObjDoc::New(stream.get(), false, Long(kFilmType)));
    doc->CopyIn(root);
  }
  Owned<Reel> load() const {
    Owned<AFileStream> stream(open(kFileRead));
    const Owned<ADomain> doc(ADomain::OpenFromStream(stream.get(), false));
    return Owned<Reel>(static_cast<Reel*>(doc->CopyOut()));
  }
  std::string onDisk() const {
    const std::vector<std::uint8_t> bytes = bytesOf(path);
    return {bytes.begin(), bytes.end()};
  }

  const TempFolder folder;
  const std::string path = folder / "Film.kyb";
};

TEST_F(DocumentOnDisk, RaisesWhereverATransferFailsAndLeaksNothing) {
  const Owned<Reel> film = longFilm();
  save(film.get());
  const struct {
    const char* name;
    void (*force)(int code, int count);
    int number;
    const char* code;
    int atLeast;
  } cases[] = {{"write", SetForceDiskWriteErr, 112, "DISK_FULL", 4},
               {"read", SetForceDiskReadErr, 1117, "DISK_IO_ERROR", 3},
               {"open", SetForceDiskOpenErr, 5, "DISK_ACCESS_DENIED", 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto descriptors = openDescriptors();
    const Long alive = Clip::alive;
    for (int n = 1;; ++n) {
      const MemoryTotals before = memoryTotals();
      c.force(c.number, n);
      const XError error = errorRaisedBy([&] { *c.name == 'r' ? void(load()) : save(film.get()); });
      c.force(0, 0);
      EXPECT_EQ(Clip::alive, alive);
      EXPECT_EQ(openDescriptors(), descriptors);
      EXPECT_EQ(memoryTotals().numPtrs, before.numPtrs) << n;
      if (!error.GetCode()) {
        EXPECT_GT(n, c.atLeast);
        break;
      }
      EXPECT_TRUE(error.FindCode(c.code)) << error.GetCode() << n;
    }
  }
  EXPECT_EQ(load()->count, 4);
}

}  // namespace
