// Every disk operation and every allocation of the services over files fails once.
#include <map>

#include "core/filesys/Folders.h"
#include "core/lists/CKyList.h"
#include "core/objsys/AFileStream.h"
#include "tests/filesys/DiskSupport.h"
#include "tests/support/failing/NewFailure.h"

using namespace ky;
using namespace ky::test;

namespace {

using OwnedFile = Owned<AFileLocator>;

/// A folder with two files, a folder in it, and the temporary file of a save whose process ended.
class FileFaults : public testing::Test, protected Place {
 protected:
  FileFaults() : Place(quickPlace()) {}

  using Contents = std::map<std::string, std::string>;

  void restore() {
    for (const auto& entry : std::filesystem::directory_iterator(folder.path)) std::filesystem::remove_all(entry);
    std::filesystem::create_directory(folder / "sub");
    folder.write("old", std::string(10, 'o'));
    folder.write("other", std::string(600000, 'x'));
    folder.write("old~1-1", "h");
  }
  /// The files below the folder; a folder has no contents.
  Contents contents() const {
    Contents found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path)) {
      const std::string name = entry.path().lexically_relative(folder.path).string();
      found[name] = entry.is_directory() ? "" : folder.read(name);
    }
    return found;
  }
  static Contents withoutLitter(Contents all) {
    std::erase_if(all, [](const auto& entry) { return entry.first.find('~') != std::string::npos; });
    return all;
  }

  static Boolean visit(ALocator* item, LongPtr) { return item->Exists(); }

  const struct {
    const char* name;
    std::function<void()> run;
  } operations[15] = {
      {"create a file", [this] { file("new")->Create(0); }},
      {"rename", [this] { file("old")->Rename("new", 0); }},
      {"rename over another", [this] { file("old")->Rename("other", 1); }},
      {"rename a folder", [this] { dir("sub")->Rename("new", 0); }},
      {"move", [this] { file("old")->Move(dir("sub").get(), 0); }},
      {"delete a file", [this] { file("old")->Delete(); }},
      {"set a type", [this] { file("old")->SetFileType(MakeChar4("ZVob")); }},
      {"ask for a type", [this] { file("other")->GetFileType(); }},
      {"copy", [this] { OwnedFile(file("other")->CopyAFile(dir("sub").get(), "new", 0)); }},
      {"copy over another", [this] { OwnedFile(file("other")->CopyAFile(dir().get(), "old", 1)); }},
      {"save", [this] { saveLong(file("new").get()); }},
      {"save over another", [this] { saveLong(file("old").get()); }},
      {"walk", [this] { ForEachItemInDir(dir().get(), visit, 0); }},
      {"search", [this] { OwnedFile(KYSearchFile(dir().get(), "none", 0)); }},
      {"read by a stream",
       [this] {
         const Owned<AFileStream> stream(file("other")->OpenStream(kFileRead, 0));
         stream->SetSeqBuf(1000, 0);
         for (int i = 0; i < 500; ++i) stream->ReadULong("v");
       }},
  };
};

}  // namespace

TEST_F(FileFaults, LeaveAllAsItWasOrAsItWasToBe) {
  std::vector<Fault> faults = diskFaults();
  faults.push_back(memoryFault());
  faults.push_back(newFault());
  int met = 0;
  for (const auto& operation : operations) {
    SCOPED_TRACE(operation.name);
    restore();
    const Contents before = withoutLitter(contents());
    operation.run();
    const Contents whole = contents();
    const bool clears = std::string(operation.name).ends_with("over another") && !whole.contains("old~1-1");
    MemoryTotals memory;
    const auto prepare = [&] {
      restore();
      memory = memoryTotals();
    };
    for (const Fault& fault : faults) {
      met += failEachStep(fault, prepare, operation.run, [&](const XError& error) {
        EXPECT_EQ(memoryTotals().numPtrs, memory.numPtrs);
        EXPECT_TRUE(withoutLitter(contents()) == (error.GetCode() ? before : withoutLitter(whole)));
        if (!error.GetCode()) return;
        operation.run();
        EXPECT_TRUE(clears ? contents() == whole : withoutLitter(contents()) == withoutLitter(whole));
      });
    }
  }
  EXPECT_GT(met, 200);
}
