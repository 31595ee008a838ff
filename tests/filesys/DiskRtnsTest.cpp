#include "core/filesys/DiskRtns.h"

#include "tests/filesys/DiskSupport.h"

using namespace ky;
using namespace ky::test;

namespace {

using DiskRtns = DiskTest;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* staleText = "(*fileHdl)->magic == DISK_MAGIC";
constexpr Long piece = 0xC00000;

// ---- opening and closing

TEST_F(DiskRtns, ShareAnOpenOfTheSamePathAndFlags) {
  writeBytes(path, counted(4));
  fileRec_t** const first = open(path, kFileRead);
  EXPECT_EQ(open(path, kFileRead), first);
  const Opened writer(path, kFileWrite);
  EXPECT_NE(writer, first);
  KYCloseOnce(first);
  EXPECT_EQ(KYGetLength(first), 4);
  KYCloseFile(first);
  EXPECT_EQ(refusalOf([&] { KYGetLength(first); }), staleText);
  EXPECT_EQ(refusalOf([&] { KYCloseFile(first); }), staleText);
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
  const std::pair<std::string, const char*> cases[] = {
      {folder.path, "DISK_ACCESS_DENIED"},
      {path + "/inside", "DISK_FILE_NOT_FOUND"},
      {folder / std::string(300, 'n'), "DISK_INVALID_FILENAME_SYNTAX"},
      {folder.path + std::string(1024 - folder.path.size(), '/'), "DISK_INVALID_FILENAME_SYNTAX"},
      {"", "DISK_FILE_NOT_FOUND"}};
  const auto descriptors = openDescriptors();
  for (const auto& [bad, code] : cases) {
    const XError error = errorRaisedBy([&] { open(bad, kFileReadWrite); });
    EXPECT_STREQ(error.GetCode(), code) << bad;
    EXPECT_TRUE(bad.size() >= 512 || parm(error, "filename") == bad);
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
  stopSharing((folder / "old").c_str());
  writeBytes(inside, counted(9));
  EXPECT_EQ(KYGetLength(Opened(inside, kFileRead)), 9);
  EXPECT_EQ(KYGetLength(before), 3);
  EXPECT_EQ(Opened(beside, kFileRead), other);
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

TEST_F(DiskRtns, RefuseWhatNoFileCanHold) {
  const Opened file(path, kFileReadWrite);
  char data[4];
  EXPECT_EQ(refusalOf([&] { KYReadFile(file, data, 0, kFromStart, 0); }), "curlen>0");
  EXPECT_EQ(refusalOf([&] { KYSetFPos(file, 0, 3); }), "Unexpected posMode");
  EXPECT_EQ(codeRaisedBy([&] { KYWriteFile(file, 0x7FFFFFFE, kFromStart, 2, data); }), "DISK_SEEK_ERROR");
  std::filesystem::resize_file(path, std::uintmax_t{3} << 30);
  EXPECT_EQ(KYGetLength(file), 0x7FFFFFFF);
  EXPECT_EQ(codeRaisedBy([&] { KYSetFPos(file, 0, kFromEnd); }), "DISK_SEEK_ERROR");
}

TEST_F(DiskRtns, MoveLargeTransfersInPiecesAsFastAsTheVolumeIsSaidToBe) {
  const OSVolID volume(77);
  KySetAdditionalIOLatency(volume, true, 30);
  const SleptClock slow;
  fileRec_t** const file = openFile(path.c_str(), kFileReadWrite, 0, volume);
  const Bytes data = counted(std::size_t(piece) * 2 + 5);
  Bytes back(data.size());
  write(file, data);
  EXPECT_EQ(SleptClock::sleeps, 3);
  EXPECT_EQ(SleptClock::slept, 90);
  KYReadFile(file, back.data(), 0, kFromStart, Long(back.size()));
  EXPECT_TRUE(back == data);
  KySetAdditionalIOLatency(volume, true, 0);
  KYCloseFile(file);
}

TEST_F(DiskRtns, CountWhatWasWrittenBeforeAFailure) {
  const Opened file(path, kFileCreate);
  const Bytes data = counted(std::size_t(piece) * 2);
  for (const Long room : {piece, piece + 700}) {
    const Limit limit(RLIMIT_FSIZE, static_cast<rlim_t>(room));
    const XError error = errorRaisedBy([&] { KYWriteFile(file, 0, kFromStart, Long(data.size()), data.data()); });
    EXPECT_STREQ(error.GetCode(), "FILE_OTHER");
    EXPECT_EQ(KYGetLastWriteCount(), ULong(room));
    EXPECT_EQ(KYGetLength(file), room);
  }
}

}  // namespace
