#include "core/filesys/DiskRtns.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <random>

#include "tests/filesys/DiskSupport.h"
#include "tests/support/Raised.h"

using namespace ky;
using namespace ky::test;

namespace {

class DiskRtns : public DiskTest {};

constexpr const char* staleText = "(*fileHdl)->magic == DISK_MAGIC";
constexpr Long piece = 0xC00000;

// ---- opening and closing

TEST_F(DiskRtns, ShareAnOpenOfTheSamePathAndFlags) {
  writeBytes(path, counted(4));
  fileRec_t** const first = open(path, kFileRead);
  EXPECT_EQ(open(path, kFileRead), first);
  const Opened unbuffered(path, kFileRead | kFileNoBuffering), writer(path, kFileWrite);
  EXPECT_NE(unbuffered, first);
  EXPECT_NE(writer, first);
  EXPECT_EQ(codeRaisedBy([&] { open(folder / "reel.kyb", kFileRead); }), "DISK_FILE_NOT_FOUND");

  KYCloseOnce(first);
  EXPECT_EQ(KYGetLength(first), 4);
  KYCloseFile(first);
  char data = 0;
  const std::function<void()> uses[] = {
      [&] { KYReadFile(first, &data, 0, kFromStart, 1); }, [&] { KYWriteFile(first, 0, kFromStart, 1, &data); },
      [&] { KYGetLength(first); }, [&] { KYLockFileShared(first); }, [&] { KYCloseFile(first); }};
  for (const auto& use : uses) EXPECT_EQ(checkFailedBy(use), staleText);
  EXPECT_EQ(checkFailedBy([] { KYCloseFile(nullptr); }), "fileHdl != NULL");
}

TEST_F(DiskRtns, MakeKeepOrReplaceTheFileAsTheFlagsSay) {
  const struct {
    unsigned short flags;
    const char* ifMissing;
    Long kept;
    bool reads, writes;
  } cases[] = {
      {1, "DISK_FILE_NOT_FOUND", 3, true, false},
      {2, "", 3, false, true},
      {4, "", 3, true, true},
      {8, "", 0, false, true},
      {9, "", 0, true, true},
      {10, "", 0, false, true},
      {12, "", 0, true, true},
      {20, "", 3, true, true},
      {3, "DISK_FILE_NOT_FOUND", 3, true, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.flags);
    std::filesystem::remove(path);
    EXPECT_EQ(codeRaisedBy([&] { Opened(path, c.flags); }), c.ifMissing);
    writeBytes(path, counted(3));
    const Opened file(path, c.flags);
    EXPECT_EQ(KYGetLength(file), c.kept);
    char data = 0;
    EXPECT_EQ(codeRaisedBy([&] { write(file, {7, 8, 9}); }).empty(), c.writes);
    EXPECT_EQ(codeRaisedBy([&] { KYReadFile(file, &data, 0, kFromStart, 1); }).empty(), c.reads);
  }
}

TEST_F(DiskRtns, SayWhatIsWrongWithAPathAndLoseNothing) {
  writeBytes(path, counted(3));
  std::filesystem::create_directory(folder / "takes");
  const struct {
    std::string path;
    const char* code;
  } cases[] = {
      {folder / "takes", "DISK_ACCESS_DENIED"},
      {path + "/inside", "DISK_FILE_NOT_FOUND"},
      {folder / "none/inside", "DISK_FILE_NOT_FOUND"},
      {folder / std::string(300, 'n'), "DISK_INVALID_FILENAME_SYNTAX"},
      {folder.path + std::string(1024 - folder.path.size(), '/'), "DISK_INVALID_FILENAME_SYNTAX"},
      {"", "DISK_FILE_NOT_FOUND"},
  };
  const auto descriptors = openDescriptors();
  for (const auto& c : cases) {
    for (const unsigned short flags : {1, 2, 8}) {
      const XError error = errorRaisedBy([&] { open(c.path, flags); });
      EXPECT_STREQ(error.GetCode(), c.code) << c.path << flags;
      EXPECT_TRUE(c.path.size() >= 512 || parm(error, "filename") == c.path);
      EXPECT_TRUE(error.FindCode("SYS_ERROR"));
    }
  }
  EXPECT_EQ(openDescriptors(), descriptors);
  const std::string longest = folder.path + std::string(1023 - folder.path.size() - 9, '/') + "/Reel.kyb";
  EXPECT_EQ(KYGetLength(Opened(longest, kFileRead)), 3);
}

TEST_F(DiskRtns, OpenAnewWhatWasTakenOutOfSharing) {
  std::filesystem::create_directory(folder / "old");
  std::filesystem::create_directory(folder / "older");
  const std::string inside = folder / "old/a", beside = folder / "older/a";
  writeBytes(inside, counted(3));
  writeBytes(beside, counted(3));
  const Opened before(inside, kFileRead), other(beside, kFileRead);
  std::filesystem::remove(inside);
  EXPECT_EQ(KYGetLength(Opened(inside, kFileRead)), 3);
  stopSharing((folder / "old").c_str());
  writeBytes(inside, counted(9));
  const Opened after(inside, kFileRead), again(inside, kFileRead);
  EXPECT_EQ(KYGetLength(after), 9);
  EXPECT_EQ(again, after);
  EXPECT_EQ(KYGetLength(before), 3);
  EXPECT_EQ(Opened(beside, kFileRead), other);
}

TEST_F(DiskRtns, CloseAllFilesHoweverOftenTheyAreOpen) {
  const auto descriptors = openDescriptors();
  fileRec_t** const files[] = {open(path, 2), open(path, 2), open(path, 4), open(folder / "b", 8)};
  KYCloseAllFiles();
  EXPECT_EQ(openDescriptors(), descriptors);
  for (fileRec_t** const file : files) EXPECT_EQ(checkFailedBy([&] { KYGetLength(file); }), staleText);
}

// ---- transfers

TEST_F(DiskRtns, MoveTheBytesThatTheirModeSays) {
  const Opened file(path, kFileReadWrite), reader(path, kFileRead);
  Bytes model;
  Long at = 0, found = 0;
  std::mt19937 random(5);
  const auto below = [&random](int n) { return Long(random() % unsigned(n)); };
  for (int i = 0; i < 5000; ++i) {
    const auto mode = static_cast<unsigned short>(1 << below(3));
    const Long end = Long(model.size()), length = 1 + below(90), kind = below(5);
    const Long offset = mode == kFromStart ? below(400) : below(200) - 100;
    const Long place = offset + (mode == kFromPosition ? at : mode == kFromEnd ? end : 0);
    Bytes data(static_cast<std::size_t>(length), static_cast<std::uint8_t>(i));
    const std::string code = codeRaisedBy([&] {
      if (kind < 2) KYWriteFile(file, offset, mode, length, data.data());
      if (kind == 2 || kind == 3) KYReadFile(file, data.data(), offset, mode, length);
      if (kind == 4) KYSetFPos(file, offset, mode);
    });
    if (place < 0) {
      ASSERT_EQ(code, "DISK_SEEK_ERROR") << i;
    } else if (kind < 2) {
      model.resize(std::size_t(std::max(end, place + length)));
      std::copy(data.begin(), data.end(), model.begin() + place);
      at = place + length;
      ASSERT_EQ(KYGetLastWriteCount(), ULong(length));
    } else {
      const Long there = kind == 4 ? 0 : std::clamp<Long>(end - place, 0, length);
      ASSERT_EQ(code, kind != 4 && there < length ? "DISK_EOF" : "") << i;
      ASSERT_TRUE(there == 0 || std::equal(data.begin(), data.begin() + there, model.begin() + place)) << i;
      at = place + there;
    }
    if (i % 20 == 19) {
      i % 40 == 19 ? KYTruncateFile(file, at = below(300)) : void(KYPreAllocate(file, length));
      if (i % 40 != 19) at = Long(model.size()) + length;
      model.resize(std::size_t(at));
    }
    KYGetFPos(file, &found);
    ASSERT_EQ(found, at) << i;
    ASSERT_EQ(KYGetLength(reader), Long(model.size())) << i;
  }
  EXPECT_EQ(bytesOf(path), model);
}

TEST_F(DiskRtns, RefuseWrongArguments) {
  const Opened file(path, kFileReadWrite);
  write(file, counted(5));
  char data[4];
  EXPECT_EQ(checkFailedBy([&] { KYReadFile(file, data, 0, kFromStart, 0); }), "curlen>0");
  EXPECT_EQ(checkFailedBy([&] { KYReadFile(file, nullptr, 0, kFromStart, 1); }), "data != NULL");
  EXPECT_EQ(checkFailedBy([&] { KYWriteFile(file, -1, kFromStart, 1, data); }), "offset >= 0");
  EXPECT_EQ(checkFailedBy([&] { KYSetFPos(file, 0, 3); }), "Unexpected posMode");
  EXPECT_EQ(codeRaisedBy([&] { KYReadFile(file, data, 0x7FFFFFFE, kFromStart, 2); }), "DISK_SEEK_ERROR");
  EXPECT_EQ(codeRaisedBy([&] { KYWriteFile(file, 0x7FFFFFFE, kFromStart, 2, data); }), "DISK_SEEK_ERROR");
  EXPECT_EQ(codeRaisedBy([&] { KYWriteFile(file, 2, kFromStart, 0, data); }), "");
  EXPECT_EQ(KYGetLength(file), 5);
  std::filesystem::resize_file(path, std::uintmax_t{3} << 30);
  EXPECT_EQ(KYGetLength(file), 0x7FFFFFFF);
  EXPECT_EQ(codeRaisedBy([&] { KYSetFPos(file, 0, kFromEnd); }), "DISK_SEEK_ERROR");
}

TEST_F(DiskRtns, MoveLargeTransfersInPiecesAsFastAsTheVolumeIsSaidToBe) {
  const OSVolID volume(77);
  KySetAdditionalIOLatency(volume, true, 30);
  KySetAdditionalIOLatency(volume, false, 20);
  KySetAdditionalIOLatency(OSVolID(5000), true, 9);
  for (const Long other : {5000, 76}) EXPECT_EQ(KyGetAdditionalIOLatency(OSVolID(other), true, 1), 0);
  const HookedSleep slow;
  fileRec_t** const file = openFile(path.c_str(), kFileReadWrite, 0, volume);
  const Bytes data = counted(std::size_t(piece) * 2 + 5);
  Bytes back(data.size());
  write(file, data);
  EXPECT_EQ(HookedSleep::sleeps, 3);
  EXPECT_EQ(HookedSleep::last, 30);
  KYReadFile(file, back.data(), 0, kFromStart, Long(back.size()));
  EXPECT_EQ(HookedSleep::sleeps, 6);
  EXPECT_EQ(HookedSleep::last, 20);
  EXPECT_TRUE(back == data);
  KySetAdditionalIOLatency(volume, true, 0);
  KySetAdditionalIOLatency(volume, false, 0);
  KYCloseFile(file);
}

/// Lets files of this process grow to so many bytes at most.
class SizeLimit {
 public:
  explicit SizeLimit(rlim_t bytes) : signalBefore(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit = {bytes, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~SizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, signalBefore);
  }

 private:
  rlimit before;
  void (*const signalBefore)(int);
};

TEST_F(DiskRtns, CountWhatWasWrittenBeforeAFailure) {
  const Opened file(path, kFileCreate);
  const Bytes data = counted(std::size_t(piece) * 2);
  for (const Long room : {piece, piece + 700}) {
    const SizeLimit limit(static_cast<rlim_t>(room));
    const XError error = errorRaisedBy([&] { KYWriteFile(file, 0, kFromStart, Long(data.size()), data.data()); });
    EXPECT_STREQ(error.GetCode(), "FILE_OTHER");
    EXPECT_EQ(KYGetLastWriteCount(), ULong(room));
    EXPECT_EQ(KYGetLength(file), room);
  }
}

}  // namespace
