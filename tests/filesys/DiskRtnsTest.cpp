#include "core/filesys/DiskRtns.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>
#include <thread>

#include "core/error/Subsystems.h"
#include "core/error/UnitTestBase.h"
#include "core/mem/KyMemory.h"
#include "platform/Files.h"
#include "tests/support/Printed.h"
#include "tests/support/Raised.h"
#include "tests/support/TempFolder.h"

using namespace ky;
using namespace ky::test;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr const char* staleText = "(*fileHdl)->magic == DISK_MAGIC";
constexpr Long piece = 0xC00000;

fileRec_t** open(const std::string& path, unsigned short flags) { return openFile(path.c_str(), flags, 0, OSVolID()); }

/// An open file, closed with its scope.
class Opened {
 public:
  Opened(const std::string& path, unsigned short flags) : file(open(path, flags)) {}
  ~Opened() { KYCloseFile(file); }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  operator fileRec_t**() const { return file; }

 private:
  fileRec_t** const file;
};

Bytes counted(std::size_t count) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

void write(fileRec_t** file, const Bytes& bytes) {
  KYWriteFile(file, 0, kFromPosition, Long(bytes.size()), bytes.data());
}

class DiskRtns : public testing::Test {
 protected:
  const TempFolder folder;
  const std::string path = folder / "Reel.kyb";
};

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

TEST_F(DiskRtns, OpenNothingWhereMemoryIsShort) {
  const auto descriptors = openDescriptors();
  const MemoryTotals before = memoryTotals();
  int failures = 0;
  for (bool failed = true; failed; failures += failed) {
    const AllocationFailure failure(failures + 1);
    const std::string code = codeRaisedBy([&] { Opened(path, kFileCreate); });
    failed = failure.happened();
    EXPECT_EQ(code, failed ? "MEM_OUT_OF_MEMORY" : "");
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(memoryTotals().numPtrs, before.numPtrs);
  }
  EXPECT_GE(failures, 4);  // the file, its record, and two places in the list
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

/// A file in plain words.
struct Model {
  Bytes bytes;
  Long at = 0;

  Long place(Long offset, int mode) const {
    return offset + (mode == kFromPosition ? at : mode == kFromEnd ? Long(bytes.size()) : 0);
  }
};

class DiskModel : public testing::TestWithParam<unsigned> {};

TEST_P(DiskModel, HoldsForRandomOperations) {
  const TempFolder folder;
  const Opened file(folder / "f", kFileReadWrite), reader(folder / "f", kFileRead);
  Model model;
  std::mt19937 random(GetParam());
  const auto below = [&random](std::size_t n) { return Long(random() % unsigned(n)); };
  for (int i = 0; i < 1500; ++i) {
    const unsigned short mode = static_cast<unsigned short>(1 << below(3));
    const Long offset = mode == kFromStart ? below(400) : below(200) - 100;
    const Long place = model.place(offset, mode), length = 1 + below(90), end = Long(model.bytes.size());
    Bytes data(static_cast<std::size_t>(length));
    std::string wanted = place < 0 ? "DISK_SEEK_ERROR" : "", got;
    switch (below(6)) {
      case 0:
      case 1: {
        for (auto& byte : data) byte = static_cast<std::uint8_t>(random());
        got = codeRaisedBy([&] { KYWriteFile(file, offset, mode, length, data.data()); });
        EXPECT_EQ(KYGetLastWriteCount(), place < 0 ? 0u : ULong(length));
        if (place < 0) break;
        model.bytes.resize(std::size_t(std::max(end, place + length)));
        std::copy(data.begin(), data.end(), model.bytes.begin() + place);
        model.at = place + length;
        break;
      }
      case 2: {
        got = codeRaisedBy([&] { KYReadFile(file, data.data(), offset, mode, length); });
        if (place < 0) break;
        const Long there = std::clamp<Long>(end - place, 0, length);
        if (there < length) wanted = "DISK_EOF";
        data.resize(std::size_t(there));
        EXPECT_TRUE(there == 0 || std::equal(data.begin(), data.end(), model.bytes.begin() + place));
        model.at = place + there;
        break;
      }
      case 3:
        got = codeRaisedBy([&] { KYSetFPos(file, offset, mode); });
        if (place >= 0) model.at = place;
        break;
      case 4:
        wanted = got = "";
        if (below(4) == 0) {
          KYTruncateFile(file, below(300));
          Long at = 0;
          KYGetFPos(file, &at);
          model.at = at;
          model.bytes.resize(std::size_t(at));
        }
        break;
      default:
        wanted = got = "";
        if (below(4) == 0) {
          EXPECT_EQ(KYPreAllocate(file, length), length);
          model.bytes.resize(model.bytes.size() + std::size_t(length));
          model.at = Long(model.bytes.size());
        }
    }
    Long at = 0;
    KYGetFPos(file, &at);
    ASSERT_EQ(got, wanted) << i;
    ASSERT_EQ(at, model.at) << i;
    ASSERT_EQ(KYGetLength(reader), Long(model.bytes.size())) << i;
  }
  EXPECT_EQ(bytesOf(folder / "f"), model.bytes);
}

INSTANTIATE_TEST_SUITE_P(Seeds, DiskModel, testing::Range(1u, 6u));

TEST_F(DiskRtns, DeliverWhatThereIsBeforeTheEnd) {
  writeBytes(path, counted(5));
  const Opened file(path, kFileRead);
  Bytes data(8);
  const XError error = errorRaisedBy([&] { KYReadFile(file, data.data(), -3, kFromEnd, 8); });
  EXPECT_STREQ(error.GetCode(), "DISK_EOF");
  EXPECT_EQ(parm(error, "filename"), path);
  EXPECT_EQ(data, (Bytes{3, 4, 5, 0, 0, 0, 0, 0}));
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
}

TEST_F(DiskRtns, TellTheLengthOfAFileBeyondTwoGigabytes) {
  writeBytes(path, {});
  std::filesystem::resize_file(path, std::uintmax_t{3} << 30);
  const Opened file(path, kFileRead);
  EXPECT_EQ(KYGetLength(file), 0x7FFFFFFF);
  EXPECT_EQ(codeRaisedBy([&] { KYSetFPos(file, 0, kFromEnd); }), "DISK_SEEK_ERROR");
}

TEST_F(DiskRtns, MoveLargeTransfersInPiecesAsFastAsTheVolumeIsSaidToBe) {
  const OSVolID volume(77);
  KySetAdditionalIOLatency(volume, true, 30);
  KySetAdditionalIOLatency(volume, false, 20);
  KySetAdditionalIOLatency(OSVolID(5000), true, 9);
  EXPECT_EQ(KyGetAdditionalIOLatency(OSVolID(5000), true, 1), 0);
  EXPECT_EQ(KyGetAdditionalIOLatency(OSVolID(76), true, 1), 0);
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

TEST_F(DiskRtns, NameAFullDevice) {
  const Opened device("/dev/full", kFileWrite);
  const XError error = errorRaisedBy([&] { write(device, counted(9)); });
  EXPECT_STREQ(error.GetCode(), "DISK_FULL");
  EXPECT_EQ(KYGetLastWriteCount(), 0u);
  int status = 0;
  EXPECT_TRUE(error.GetParm(&status, error.FindLevel("SYS_ERROR"), "status"));
  EXPECT_EQ(status, 112);
}

TEST_F(DiskRtns, ServeReadersOfASharedFileInParallel) {
  writeBytes(path, counted(64 << 10));
  const Opened file(path, kFileRead);
  std::vector<std::jthread> readers;
  std::atomic<int> wrong{0};
  for (unsigned seed = 0; seed < 4; ++seed) {
    readers.emplace_back([&, seed] {
      std::mt19937 random(seed);
      for (int i = 0; i < 2000; ++i) {
        Bytes data(1 + random() % 500);
        const Long at = Long(random() % 60000);
        KYReadFile(file, data.data(), at, kFromStart, Long(data.size()));
        for (std::size_t k = 0; k < data.size(); ++k) wrong += data[k] != std::uint8_t(std::size_t(at) + k + 1);
      }
    });
  }
  readers.clear();
  EXPECT_EQ(wrong, 0);
}

// ---- failures made to order

TEST_F(DiskRtns, FailTheNthOperationOnce) {
  writeBytes(path, counted(5));
  const Opened file(path, kFileReadWrite);
  const struct {
    const char* name;
    void (*force)(int, int);
    std::function<void()> operation;
  } kinds[] = {
      {"read", SetForceDiskReadErr,
       [&] {
         char data = 0;
         KYReadFile(file, &data, 0, kFromStart, 1);
       }},
      {"write", SetForceDiskWriteErr, [&] { KYWriteFile(file, 0, kFromStart, 1, "x"); }},
      {"open", SetForceDiskOpenErr,
       [&] {
         EXPECT_EQ(Opened(path, kFileReadWrite), file);  // shared: asks nobody
         Opened(folder / "new", kFileCreate);
       }},
  };
  const struct {
    int number;
    const char* code;
  } errors[] = {{5, "DISK_ACCESS_DENIED"}, {112, "DISK_FULL"}, {1117, "DISK_IO_ERROR"}};
  const auto descriptors = openDescriptors();
  for (const auto& kind : kinds) {
    for (const auto& wanted : errors) {
      for (int n = 1; n <= 4; ++n) {
        SCOPED_TRACE(kind.name + std::to_string(n));
        kind.force(wanted.number, n);
        for (int i = 1; i < n; ++i) EXPECT_EQ(codeRaisedBy(kind.operation), "");
        const XError error = errorRaisedBy(kind.operation);
        EXPECT_STREQ(error.GetCode(), wanted.code);
        int status = 0;
        EXPECT_TRUE(error.GetParm(&status, error.FindLevel("SYS_ERROR"), "status"));
        EXPECT_EQ(status, wanted.number);
        EXPECT_EQ(codeRaisedBy(kind.operation), "");
      }
    }
  }
  EXPECT_EQ(openDescriptors(), descriptors);
  kinds[0].force(5, 0);
  EXPECT_EQ(codeRaisedBy(kinds[0].operation), "");
  SetForceDiskDeleteErr(5, 2);
  EXPECT_EQ(GetForceDiskDeleteErr(), 0);
  EXPECT_EQ(GetForceDiskDeleteErr(), 5);
  EXPECT_EQ(GetForceDiskDeleteErr(), 0);
  SetForceDiskRenameErr(32, 1);
  EXPECT_EQ(GetForceDiskRenameErr(), 32);
}

// ---- locks

/// A process of its own that holds a lock on `path` until it is told to end.
class LockHolder {
 public:
  explicit LockHolder(const std::string& path) {
    int held[2];
    EXPECT_EQ(pipe(held), 0);
    child = fork();
    if (child == 0) {
      const int file = ::open(path.c_str(), O_RDWR);
      struct flock range = {};
      range.l_type = F_WRLCK;
      range.l_start = 0x7FFFFFF0;
      const bool got = ::fcntl(file, F_OFD_SETLK, &range) == 0;
      if (::write(held[1], got ? "y" : "n", 1) == 1) pause();
      _exit(0);
    }
    char answer = 0;
    EXPECT_EQ(::read(held[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    ::close(held[0]);
    ::close(held[1]);
  }
  void end() {
    if (child > 0) ::kill(child, SIGKILL);
    if (child > 0) ::waitpid(child, nullptr, 0);
    child = 0;
  }
  ~LockHolder() { end(); }

 private:
  pid_t child = 0;
};

LockHolder* holderToEnd = nullptr;

TEST_F(DiskRtns, WaitForALockUntilTheOtherProcessEnds) {
  writeBytes(path, {});
  for (const unsigned short flags : {kFileRead, kFileWrite, kFileReadWrite}) {
    LockHolder holder(path);
    const HookedSleep hooked;
    holderToEnd = &holder;
    HookedSleep::onSleep = [] {
      if (HookedSleep::sleeps == 3) holderToEnd->end();
    };
    const Opened file(path, flags);
    EXPECT_TRUE(KYLockFileExclusive(file));
    EXPECT_EQ(HookedSleep::sleeps, 3);
    EXPECT_EQ(HookedSleep::last, 1000);
    HookedSleep::onSleep = nullptr;

    const Opened second(folder / "../" + folder.path.substr(folder.path.rfind('/') + 1) + "/Reel.kyb", kFileRead);
    EXPECT_TRUE(KYLockFileShared(second));  // shared by all who ask through the library
    EXPECT_EQ(HookedSleep::sleeps, 3);
    platform::File writer;
    ASSERT_EQ(writer.open(path.c_str(), platform::Access::readWrite, platform::Disposition::openExisting), 0);
    EXPECT_EQ(writer.lock(0x7FFFFFF0, platform::LockKind::exclusive), 33);
    KYUnlockFile(second);
    EXPECT_EQ(writer.lock(0x7FFFFFF0, platform::LockKind::exclusive), 33);
    KYUnlockFile(file);
    EXPECT_EQ(writer.lock(0x7FFFFFF0, platform::LockKind::exclusive), 0);
  }
}

TEST_F(DiskRtns, GiveUpOnALockAfterTwoMinutes) {
  writeBytes(path, {});
  const LockHolder holder(path);
  const HookedSleep hooked;
  const Opened file(path, kFileRead);
  EXPECT_EQ(codeRaisedBy([&] { KYLockFileShared(file); }),
            "Failed Lock:\nResource temporarily unavailable\n" + path + "\n");
  EXPECT_EQ(HookedSleep::sleeps, 119);
}

// ---- facts and traces

TEST_F(DiskRtns, TellNameAndTimes) {
  const Opened file(path, kFileCreate);
  char name[16];
  EXPECT_STREQ(KYGetFileName(file, name, sizeof name), "Reel.kyb");
  EXPECT_STREQ(KYGetFileName(file, name, 5), "Reel");
  struct timespec times[2] = {{0, UTIME_OMIT}, {1'000'000'000, 1'234'567}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  Int64 changed = 0;
  KYGetFileModDateTime(file, &changed);
  EXPECT_EQ(changed, (11644473600 + 1'000'000'000) * 10'000'000 + 12'345);
  std::tm made = {}, now = platform::localTime(platform::wallSeconds());
  KYGetFileCreationDateTime(file, &made);
  EXPECT_LT(std::mktime(&now) - std::mktime(&made), 100);
}

TEST_F(DiskRtns, AskTheVolumeForTheSizesThatPay) {
  const Opened file(path, kFileCreate);
  fileRec_t** const shared = openFile((folder / "shared").c_str(), kFileCreate, 0, OSVolID(70));
  const VolumeServices before = volumeServices();
  installVolumeServices({[](OSVolID volume) -> Boolean { return OSVolID::Compare(volume, OSVolID(70)) == 0; },
                         [](OSVolID, ULong, CorvaneInfo_t* info) {
                           *info = {4096, 131072, 0, {131072, 262144}, {131072, 393216}};
                         },
                         nullptr});
  const struct {
    fileRec_t** file;
    Long block, read[3], write[3];
  } cases[] = {{file, 512, {0, 0, 0}, {0x80000, 0x80000, 512}},
               {shared, 4096, {131072, 262144, 131072}, {393216, 393216, 131072}}};
  for (const auto& c : cases) {
    Long min = -1, max = -1, step = -1;
    EXPECT_EQ(KYGetBlockSize(c.file), c.block);
    KYGetEfficientReadSize(c.file, &min, &max, &step);
    EXPECT_TRUE(min == c.read[0] && max == c.read[1] && step == c.read[2]);
    KYGetEfficientWriteSize(c.file, &min, &max, &step);
    EXPECT_TRUE(min == c.write[0] && max == c.write[1] && step == c.write[2]);
  }
  const int subsystem = dbgRegSubSystem("DiskRtnsIOSize");
  dbgSetFlag(subsystem, kDbgPrint);
  const DebugPrinted printed;
  KYGetEfficientReadSize(shared, nullptr, nullptr, nullptr);
  KYGetEfficientWriteSize(file, nullptr, nullptr, nullptr);
  EXPECT_EQ(printed.text(),
            "KyEfficientRead min= 131072, max= 262144, step=131072\n"
            "KyEfficientWrite min= 524288, max= 524288, step= 512\n");
  dbgClearFlag(subsystem, kDbgPrint);
  installVolumeServices(before);
  EXPECT_EQ(KYGetBlockSize(nullptr), 512);
  EXPECT_EQ(checkFailedBy([] { KYGetEfficientReadSize(nullptr, nullptr, nullptr, nullptr); }),
            "fileHdl && (*fileHdl)->magic == DISK_MAGIC");
  KYCloseFile(shared);
}

std::string consoleText;

TEST_F(DiskRtns, TraceWhatTheCommandTurnsOn) {
  const struct {
    const char* option;
    ULong before, after;
    bool helps;
  } cases[] = {{"all", 0, 15, false},          {"NONE", 15, 0, false}, {"o", 8, 9, false},
               {"Write", 1, 3, false},         {"r", 0, 4, false},     {"createAll", 0, 8, false},
               {"NoOpenClose", 15, 14, false}, {"now", 15, 13, false}, {"nor", 15, 11, false},
               {"noc", 15, 7, false},          {"no", 15, 15, true},   {"xyz", 5, 5, true},
               {"help", 5, 5, true},           {nullptr, 5, 5, true},  {"", 5, 5, true}};
  const auto before = UnitTestBase::SetLineSink([](const char* line, int) { consoleText += line; });
  for (const auto& c : cases) {
    SetDiskRtnDbgFlags(c.before);
    consoleText.clear();
    setDiskRtnFlags(c.option);
    EXPECT_EQ(GetDiskRtnDbgFlags(), c.after) << (c.option ? c.option : "none");
    EXPECT_EQ(!consoleText.empty(), c.helps);
  }
  UnitTestBase::SetLineSink(before);
  EXPECT_TRUE(consoleText.starts_with("DiskRtnFlags allows turning on"));
  EXPECT_NE(consoleText.find("\tNoOpenClose (noo) - to turn off"), std::string::npos);

  SetDiskRtnDbgFlags(15);
  const DebugOutput traces;
  fileRec_t** const file = openFile(path.c_str(), 12, 0xA, OSVolID());
  char handle[32];
  std::snprintf(handle, sizeof handle, "FILEHDL:0x%lx ", reinterpret_cast<unsigned long>(file));
  write(file, {65});
  char data = 0;
  KYReadFile(file, &data, 0, kFromStart, 1);
  KYCloseFile(file);
  SetDiskRtnDbgFlags(0);
  const std::string wanted[] = {
      std::string("=CreateFile==") + handle + "realflags:3 shared:3 createdist:2 attributes:0",
      std::string("01--OPENING--") + handle + "FLAGS:0xc PERMS:0xa for " + path,
      std::string(">>>>WRITING>>") + handle + "Offset:000000000 PosMode: 2 length:000000001 [" + path + "]",
      std::string("<<<<READING<<") + handle + "Offset:000000000 PosMode: 1 requestLen:000000001 [" + path + "]",
      std::string("01**CLOSING**") + handle + "FLAGS:0xc PERMS:0xa for " + path};
  for (const std::string& line : wanted) EXPECT_NE(traces.text().find(line), std::string::npos) << line;
}

std::string transfers;

TEST_F(DiskRtns, TellOfEachReadAtBothItsEnds) {
  writeBytes(path, counted(9));
  SetKYReadLogTransferCB([](unsigned long length) -> unsigned char {
    transfers += std::to_string(length) + " ";
    return 1;
  });
  const Opened file(path, kFileRead);
  char data[16];
  KYReadFile(file, data, 0, kFromStart, 7);
  EXPECT_EQ(codeRaisedBy([&] { KYReadFile(file, data, 0, kFromStart, 16); }), "DISK_EOF");
  SetKYReadLogTransferCB(nullptr);
  EXPECT_EQ(transfers, "0 7 0 ");
}

}  // namespace
