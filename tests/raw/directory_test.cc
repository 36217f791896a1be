// Raw handles, creation and erasure of directories, member files and progress.

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>

#include "raw/member_files.h"
#include "tervalon/raw_history.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::raw {
namespace {

using testing::Bytes;
using ::testing::ElementsAre;
using testing::FaultyFileSystem;
using testing::FileCall;

using DirectoryTest = testing::RawTest;

TEST_F(DirectoryTest, TwentyHandlesAndTheirReuse) {
  MakeRun({}, {});
  for (int32_t expected = 0; expected < RAW_MAX_HANDLES; ++expected) {
    ASSERT_EQ(RawReadOpen(Path().c_str(), &handle_), RAW_OK);
    EXPECT_EQ(handle_, expected);
  }
  EXPECT_EQ(RawReadOpen(Path().c_str(), &handle_), RAW_NO_FREE_HANDLE);
  testing::WriteText(Path("_HEADER.TXT"), "kept");
  EXPECT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_NO_FREE_HANDLE);
  EXPECT_EQ(testing::ReadText(Path("_HEADER.TXT")), "kept");

  EXPECT_EQ(RawReadClose(7), RAW_OK);
  EXPECT_EQ(RawReadClose(7), RAW_HANDLE_NOT_OPEN);
  ASSERT_EQ(RawReadOpen(Path().c_str(), &handle_), RAW_OK);
  EXPECT_EQ(handle_, 7);
}

TEST_F(DirectoryTest, EveryExportRefusesBadHandles) {
  RawFunctionRecord record = testing::ScanningRecord(3);
  RawScanDescription description = {};
  char path[TV_PATH_SIZE];
  int32_t scan = 0;
  const std::vector<std::function<int32_t(int32_t)>> calls = {
      [&](int32_t h) { return RawReadClose(h); },
      [&](int32_t h) { return RawCreateClose(h); },
      [&](int32_t h) { return RawHandleGetClusterName(h, path); },
      [&](int32_t h) { return RawCreateFunctions(h, 1, &record); },
      [&](int32_t h) { return RawAppendFunction(h, &record, nullptr); },
      [&](int32_t h) { return RawReadFuncInfo(h, 1, &record, nullptr); },
      [&](int32_t h) { return RawReadFuncInit(h, 1, 0, &record, nullptr); },
      [&](int32_t h) { return RawReadFuncEnd(h, 1, 0); },
      [&](int32_t h) {
        int16_t function = 0;
        return RawReadProcFunction(h, 1, &function, &record);
      },
      [&](int32_t h) { return RawReadTimeScan(h, 1, 0, &record, 1, &scan); },
      [&](int32_t h) { return testing::Read(h, 1, 0, 1).error; },
      [&](int32_t h) { return RawReadChrom(h, 1, 0, 1, 1, nullptr, nullptr, 1); },
      [&](int32_t h) { return RawReadChromTraces(h, 1, 0, 1, 1, 0, nullptr, nullptr, nullptr); },
      [&](int32_t h) { return RawCreateScanFile(h, 1, 0, 0); },
      [&](int32_t h) {
        return RawCreateScansEx(h, 1, 0, 3, &description, nullptr, nullptr, nullptr, 0);
      },
      [&](int32_t h) {
        return RawCreateScans(h, 1, 0, 3, 0, 0, 0, 0, nullptr, nullptr, nullptr, 0);
      },
      [&](int32_t h) { return RawCreateScansFlush(h, 1, 0); },
      [&](int32_t h) { return RawCreateScansEnd(h, 1, 0); },
  };
  for (size_t i = 0; i < calls.size(); ++i) {
    SCOPED_TRACE(i);
    for (const int32_t handle : {-1, RAW_MAX_HANDLES, INT32_MAX, INT32_MIN}) {
      EXPECT_EQ(calls[i](handle), RAW_HANDLE_OUT_OF_RANGE);
    }
    EXPECT_EQ(calls[i](3), RAW_HANDLE_NOT_OPEN);
  }
}

TEST_F(DirectoryTest, ExistsOpenAndName) {
  testing::WriteText(temp_.Path("PLAIN"), "");
  MakeRun({}, {});
  EXPECT_EQ(RawFileExists(Path().c_str()), 16);
  EXPECT_EQ(RawFileExists(temp_.Path("PLAIN").c_str()), 0);
  EXPECT_EQ(RawFileExists(temp_.Path("NOTHING").c_str()), 0);
  EXPECT_EQ(RawFileExists(nullptr), 0);
  EXPECT_EQ(RawReadOpen(temp_.Path("PLAIN").c_str(), &handle_), RAW_DIRECTORY_ABSENT);
  EXPECT_EQ(RawReadOpen(temp_.Path("NOTHING").c_str(), &handle_), RAW_DIRECTORY_ABSENT);
  EXPECT_EQ(RawReadOpen(nullptr, &handle_), RAW_DIRECTORY_ABSENT);

  OpenRun(0);
  char name[TV_PATH_SIZE];
  EXPECT_EQ(RawHandleGetClusterName(handle_, name), RAW_OK);
  EXPECT_EQ(name, Path());
}

TEST_F(DirectoryTest, EraseAndCreateOverWhatIsThere) {
  EXPECT_EQ(RawFileErase(Path().c_str()), RAW_DIRECTORY_VANISHED);
  MakeRun({testing::ScanningRecord(3)}, {{testing::NumberedScan(1, 10)}});
  testing::WriteText(Path("notes.txt"), "of another program");
  ASSERT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_OK);
  EXPECT_TRUE(std::filesystem::is_empty(testing::Native(Path())));
  EXPECT_EQ(RawCreateClose(handle_), RAW_OK);

  std::filesystem::create_directory(testing::Native(Path("SUB")));
  testing::WriteText(Path("SUB\\inside"), "kept");
  testing::WriteText(Path("_HEADER.TXT"), "erased");
  EXPECT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_DIRECTORY_NOT_REMOVED);
  EXPECT_EQ(RawReadClose(0), RAW_HANDLE_NOT_OPEN);
  EXPECT_FALSE(testing::Exists(Path("_HEADER.TXT")));
  EXPECT_EQ(RawFileErase(Path().c_str()), RAW_DIRECTORY_NOT_REMOVED);
  EXPECT_EQ(testing::ReadText(Path("SUB\\inside")), "kept");

  // A directory that cannot be made leaves the handle to the caller.
  testing::WriteText(temp_.Path("PLAIN"), "");
  EXPECT_EQ(RawCreateOpen(temp_.Path("PLAIN").c_str(), &handle_), RAW_DIRECTORY_NOT_CREATED);
  EXPECT_EQ(RawReadClose(handle_), RAW_OK);
}

TEST_F(DirectoryTest, FaultsOfErasingAndClosing) {
  MakeRun({testing::ScanningRecord(3)}, {{testing::NumberedScan(1, 10)}});
  FaultyFileSystem& files = UseFaultyFiles();
  files.On(FileCall::kRemove).FailNth(2);
  EXPECT_EQ(RawFileErase(Path().c_str()), RAW_FILE_NOT_DELETED);
  EXPECT_EQ(files.Calls(FileCall::kRemove), 3) << "goes on, but for its lock, after a failure";
  EXPECT_EQ(RawFileExists(Path().c_str()), 16);

  OpenRun(0);
  files.On(FileCall::kTouch).FailNth(1);
  EXPECT_EQ(RawCreateClose(handle_), RAW_TIME_STAMP_FAILED);
  EXPECT_EQ(RawCreateClose(handle_), RAW_HANDLE_NOT_OPEN) << "the handle is released first";

  ASSERT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_OK);
  std::filesystem::remove_all(testing::Native(Path()));
  EXPECT_EQ(RawCreateClose(handle_), RAW_DIRECTORY_VANISHED);
}

TEST_F(DirectoryTest, OneAcquisitionAtATime) {
  ASSERT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_OK);
  testing::WriteText(Path("_HEADER.TXT"), "kept");
  int32_t second = 7;
  EXPECT_EQ(RawCreateOpen(Path().c_str(), &second), RAW_LOCK_FAILED);
  EXPECT_EQ(second, -1);
  EXPECT_EQ(RawFileErase(Path().c_str()), RAW_LOCK_FAILED);
  EXPECT_EQ(RawRepairDirectory(Path().c_str(), nullptr, nullptr, nullptr), RAW_LOCK_FAILED);
  EXPECT_EQ(testing::ReadText(Path("_HEADER.TXT")), "kept");
  ASSERT_EQ(RawReadOpen(Path().c_str(), &second), RAW_OK) << "readers are free to look";
  EXPECT_EQ(RawReadClose(second), RAW_OK);

  EXPECT_EQ(RawCreateClose(handle_), RAW_OK);
  ASSERT_EQ(RawCreateOpen(Path().c_str(), &second), RAW_OK);
  EXPECT_EQ(RawReadClose(second), RAW_OK) << "an acquisition that is given up";
  EXPECT_EQ(RawFileErase(Path().c_str()), RAW_OK);
  EXPECT_TRUE(std::filesystem::is_empty(testing::Native(temp_.Path("")))) << "a lock file is left";
}

#if !defined(_WIN32)  // where names that differ in case are one name, and links are rare

TEST_F(DirectoryTest, ReadersFindOtherCaseAndCreatorsDoNot) {
  MakeRun({testing::ScanningRecord(3)}, {});
  const std::string other = temp_.Path("run.Raw");
  std::filesystem::rename(testing::Native(Path("_FUNCTNS.INF")),
                          testing::Native(Path("_functns.inf")));
  std::filesystem::rename(testing::Native(Path()), testing::Native(other));
  const auto members = [&] {
    const std::filesystem::directory_iterator entries(testing::Native(other));
    return std::distance(begin(entries), end(entries));
  };

  FaultyFileSystem& files = UseFaultyFiles();
  ASSERT_NO_FATAL_FAILURE(OpenRun());
  const int64_t lists = files.Calls(FileCall::kList);
  RawHistoryHeader history;
  EXPECT_EQ(RawReadProcInfo(handle_, &history, nullptr), RAW_OK);
  EXPECT_EQ(files.Calls(FileCall::kList), lists);
  int16_t function = 0;
  EXPECT_EQ(RawAppendFunction(handle_, &record_, &function), RAW_OK);
  EXPECT_EQ(function, 2);
  EXPECT_EQ(RawCreateFunctions(handle_, 1, &record_), RAW_OK);
  ASSERT_EQ(RawFileOpen(handle_, kFunctionTable, 0, kCreateMember), RAW_OK);
  EXPECT_EQ(members(), 1) << "what is written is not what was read";
  char name[TV_PATH_SIZE];
  EXPECT_EQ(RawHandleGetClusterName(handle_, name), RAW_OK);
  EXPECT_EQ(name, Path()) << "as it was opened";
  CloseRun();

  EXPECT_EQ(RawFileErase(Path().c_str()), RAW_DIRECTORY_VANISHED);
  ASSERT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_OK);
  EXPECT_EQ(RawCreateClose(handle_), RAW_OK);
  EXPECT_EQ(RawFileErase(Path().c_str()), RAW_OK);
  EXPECT_EQ(members(), 1);
}

TEST_F(DirectoryTest, ErasingStaysInside) {
  const std::string outside = temp_.Path("precious");
  testing::WriteText(outside, "mine");
  MakeRun({}, {});
  const auto old =
      std::filesystem::last_write_time(testing::Native(outside)) - std::chrono::hours(9);
  std::filesystem::last_write_time(testing::Native(outside), old);
  std::filesystem::create_symlink(testing::Native(outside), testing::Native(Path("_INLET.INF")));
  std::ofstream(testing::Native(Path()).string() + "/..\\precious") << "planted";
  OpenRun(0);
  EXPECT_EQ(RawCreateClose(handle_), RAW_OK);
  EXPECT_EQ(std::filesystem::last_write_time(testing::Native(outside)), old);
  for (int call = 0; call < 2; ++call) {
    EXPECT_EQ(call == 0 ? RawFileErase(Path().c_str()) : RawCreateOpen(Path().c_str(), &handle_),
              RAW_DIRECTORY_NOT_REMOVED);
    EXPECT_EQ(testing::ReadText(outside), "mine");
  }

  std::filesystem::remove_all(testing::Native(Path()));
  std::filesystem::create_directory(testing::Native(temp_.Path("DATA")));
  testing::WriteText(temp_.Path("DATA\\kept"), "kept");
  std::filesystem::create_directory_symlink(testing::Native(temp_.Path("DATA")),
                                            testing::Native(Path()));
  EXPECT_EQ(RawFileErase(Path().c_str()), RAW_DIRECTORY_NOT_REMOVED);
  EXPECT_EQ(RawFileErase((Path() + "\\").c_str()), RAW_DIRECTORY_NOT_REMOVED);
  EXPECT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_DIRECTORY_NOT_REMOVED);
  EXPECT_EQ(testing::ReadText(temp_.Path("DATA\\kept")), "kept");
}

#endif

TEST_F(DirectoryTest, OnlyTheWritersCloseStampsFiles) {
  MakeRun({}, {});
  const auto age = std::chrono::hours(48);
  const auto old = std::filesystem::file_time_type::clock::now() - age;
  for (const char* name : {"_HEADER.TXT", "notes.txt"}) {
    testing::WriteText(Path(name), "x");
    std::filesystem::last_write_time(testing::Native(Path(name)), old);
  }
  const auto age_of = [&](const char* name) {
    return std::filesystem::file_time_type::clock::now() -
           std::filesystem::last_write_time(testing::Native(Path(name)));
  };
  OpenRun(0);
  EXPECT_EQ(RawReadClose(handle_), RAW_OK);
  EXPECT_GT(age_of("_HEADER.TXT"), age / 2);
  ASSERT_EQ(RawReadOpen(Path().c_str(), &handle_), RAW_OK);
  EXPECT_EQ(RawCreateClose(handle_), RAW_OK);
  EXPECT_LT(age_of("_HEADER.TXT"), age / 2);
  EXPECT_LT(age_of("notes.txt"), age / 2);
}

TEST_F(DirectoryTest, WritersCloseEndsWhatIsOpen) {
  constexpr uint32_t kScans = 149;  // 49 of them wait when the handle is closed
  const auto write = [&] {
    OpenWriter(RAW_DATA_STANDARD_CENTROID);
    ASSERT_EQ(RawCreateScanFile(handle_, 1, 2, 0), RAW_OK);
    for (uint32_t number = 1; number <= kScans; ++number) {
      const testing::Scan scan = testing::NumberedScan(number, 3);
      ASSERT_EQ(WriteScan(handle_, 1, 0, RAW_DATA_STANDARD_CENTROID, scan), RAW_OK);
      ASSERT_EQ(WriteScan(handle_, 1, 2, RAW_DATA_STANDARD_CENTROID, scan), RAW_OK);
    }
  };
  FaultyFileSystem& files = UseFaultyFiles();
  const struct {
    FileCall call;
    int32_t error;
    uint64_t first_index;  // bytes
  } kCases[] = {{FileCall::kCount, RAW_OK, kScans * 22},
                {FileCall::kWrite, RAW_SHORT_WRITE, 100 * 22},
                {FileCall::kPosition, RAW_SEEK_FAILED, 100 * 22},
                {FileCall::kClose, RAW_MEMBER_NOT_CLOSED, kScans * 22}};
  for (const auto& faulty : kCases) {
    SCOPED_TRACE(faulty.error);
    ASSERT_NO_FATAL_FAILURE(write());
    if (faulty.call != FileCall::kCount) files.On(faulty.call).FailNth(1);
    EXPECT_EQ(RawCreateClose(handle_), faulty.error);
    handle_ = -1;
    EXPECT_EQ(files.open_files(), 0);
    EXPECT_EQ(testing::ReadFile(Path("_FUNC001.IDX")).size(), faulty.first_index);
    EXPECT_EQ(testing::ReadFile(Path("_PROC002.IDX")).size(), kScans * 22)
        << "one writer's failure keeps another from ending";
  }
}

TEST_F(DirectoryTest, MemberNamesAndSlots) {
  const struct {
    int32_t code;
    int32_t number;
    const char* name;
    int32_t slot;
  } kMembers[] = {
      {0, 0, "_HEADER.TXT", 0},      {1, 0, "_HEADER.INF", 1},
      {2, 0, "_EXPMENT.INF", 2},     {3, 0, "_INLET.INF", 3},
      {4, 0, "_AUTO.INF", 4},        {5, 0, "_EXTERN.INF", 5},
      {6, 0, "_ANALOGS.INF", 6},     {7, 0, "_FUNCTNS.INF", 7},
      {8, 0, "_HISTORY.INF", 8},     {9, 0, "_ANALOGS.DAT", 9},
      {10, 1, "_FUNC001.DAT", 11},   {10, 32, "_FUNC032.DAT", 42},
      {42, 1, "_FUNC001.IDX", 43},   {42, 10, "_FUNC010.IDX", 52},
      {74, 9, "_FUNC009.STS", 83},   {106, 32, "_FUNC032.EE", 138},
      {138, 1, "_PROC001.DAT", 139}, {138, 255, "_PROC255.DAT", 393},
      {394, 7, "_PROC007.IDX", 401}, {650, 99, "_PROC099.STS", 749},
      {906, 7, "_PROC07.EE", 913},   {906, 255, "_PROC255.EE", 1161},
      {10, 0, nullptr, -1},          {10, 33, nullptr, -1},
      {906, 256, nullptr, -1},       {11, 1, nullptr, -1},
      {-1, 0, nullptr, -1},
  };
  for (const auto& member : kMembers) {
    SCOPED_TRACE(::testing::Message() << member.code << " " << member.number);
    EXPECT_EQ(MemberSlot(member.code, member.number), member.slot);
    if (member.name != nullptr) {
      EXPECT_EQ(MemberName(member.code, member.number), member.name);
    }
  }
}

TEST_F(DirectoryTest, MemberPrimitives) {
  EXPECT_EQ(PathInside("C:\\DATA\\A.RAW", "_INLET.INF"), "C:\\DATA\\A.RAW\\_INLET.INF");
  EXPECT_EQ(PathInside("C:\\", "_INLET.INF"), "C:\\_INLET.INF");

  MakeRun({}, {});
  OpenRun(0);
  char buffer[8] = "abcdefg";
  uint32_t count = 99;
  EXPECT_EQ(RawFileRead(handle_, kInlet, 0, buffer, 4, &count), RAW_MEMBER_NOT_OPEN);
  EXPECT_EQ(RawFileClose(handle_, kInlet, 0), RAW_MEMBER_NOT_OPEN);
  EXPECT_EQ(RawFileOpen(handle_, kInlet, 0, 0), RAW_BAD_OPEN_MODE);
  EXPECT_EQ(RawFileOpen(handle_, kInlet, 0, 4), RAW_BAD_OPEN_MODE);
  EXPECT_EQ(RawFileOpen(handle_, kFunctionData, 33, kReadMember), RAW_SLOT_OUT_OF_RANGE);
  EXPECT_EQ(RawFileSeek(handle_, 1162, 0), RAW_SLOT_OUT_OF_RANGE);
  EXPECT_EQ(RawFileOpen(handle_, kInlet, 0, kReadMember), RAW_MEMBER_NOT_OPENED);
  EXPECT_EQ(RawFileOpen(handle_, kInlet, 0, kReadWriteMember), RAW_MEMBER_NOT_OPENED);

  ASSERT_EQ(RawFileOpen(handle_, kInlet, 0, kCreateMember), RAW_OK);
  EXPECT_EQ(RawFileOpen(handle_, kInlet, 0, kReadMember), RAW_MEMBER_ALREADY_OPEN);
  EXPECT_EQ(RawFileWrite(handle_, kInlet, 0, buffer, 7, &count), RAW_OK);
  EXPECT_EQ(count, 7u);
  EXPECT_EQ(RawFileSeek(handle_, kInlet, 5), RAW_OK);
  EXPECT_EQ(RawFileSize(handle_, kInlet, 0, &count), RAW_OK);
  EXPECT_EQ(count, 7u);
  char read[8] = "-------";
  EXPECT_EQ(RawFileRead(handle_, kInlet, 0, read, 0, &count), RAW_OK);
  EXPECT_EQ(RawFileRead(handle_, kInlet, 0, read, 4, &count), RAW_OK);  // a short read
  EXPECT_EQ(count, 2u);
  EXPECT_STREQ(read, "fg-----");
  EXPECT_EQ(RawFileRead(handle_, kInlet, 0, read, 4, &count), RAW_OK);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(RawFileClose(handle_, kInlet, 0), RAW_OK);

  ASSERT_EQ(RawFileOpen(handle_, kInlet, 0, kReadWriteMember), RAW_OK);
  EXPECT_EQ(RawFileWrite(handle_, kInlet, 0, buffer + 6, 1, nullptr), RAW_OK);
  EXPECT_EQ(RawFileClose(handle_, kInlet, 0), RAW_OK);
  EXPECT_EQ(testing::ReadText(Path("_INLET.INF")), "gbcdefg");
  ASSERT_EQ(RawFileOpen(handle_, kInlet, 0, kReadMember), RAW_OK);
  EXPECT_EQ(RawFileWrite(handle_, kInlet, 0, buffer, 1, nullptr), RAW_SHORT_WRITE);
  EXPECT_EQ(RawFileClose(handle_, kInlet, 0), RAW_OK);
  ASSERT_EQ(RawFileOpen(handle_, kInlet, 0, kCreateMember), RAW_OK);
  EXPECT_TRUE(testing::ReadText(Path("_INLET.INF")).empty());
}

TEST_F(DirectoryTest, InvertedHeader) {
  MakeRun({}, {});
  OpenRun(0);
  Bytes text = {'$', '$', 0x00, 0xFF};
  ASSERT_EQ(RawFileOpen(handle_, kHeaderInverted, 0, kCreateMember), RAW_OK);
  ASSERT_EQ(RawFileWrite(handle_, kHeaderInverted, 0, text.data(), 4, nullptr), RAW_OK);
  const Bytes inverted = {0xDB, 0xDB, 0xFF, 0x00};
  EXPECT_EQ(text, inverted) << "the caller's buffer stays inverted";
  EXPECT_EQ(testing::ReadFile(Path("_HEADER.INF")), inverted);

  ASSERT_EQ(RawFileSeek(handle_, kHeaderInverted, 1), RAW_OK);
  Bytes read(5, 0xF0);
  uint32_t count = 0;
  ASSERT_EQ(RawFileRead(handle_, kHeaderInverted, 0, read.data(), 5, &count), RAW_OK);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(read, (Bytes{'$', 0x00, 0xFF, 0x0F, 0x0F})) << "every byte asked for is inverted";
}

TEST_F(DirectoryTest, FourGibibytesAreTheLimit) {
  MakeRun({}, {});
  OpenRun(0);
  ASSERT_EQ(RawFileOpen(handle_, kAnalogData, 0, kCreateMember), RAW_OK);
  ASSERT_EQ(RawFileSeek(handle_, kAnalogData, 0xFFFFFFF0), RAW_OK);
  uint8_t bytes[16] = {1, 2, 3};
  EXPECT_EQ(RawFileWrite(handle_, kAnalogData, 0, bytes, 16, nullptr), RAW_SHORT_WRITE);
  uint32_t position = 0;
  EXPECT_EQ(RawFileWrite(handle_, kAnalogData, 0, bytes, 15, &position), RAW_OK);
  EXPECT_EQ(position, 0xFFFFFFFFu);
  EXPECT_EQ(RawFileWrite(handle_, kAnalogData, 0, bytes, 1, nullptr), RAW_SHORT_WRITE);
  uint32_t size = 0;
  EXPECT_EQ(RawFileSize(handle_, kAnalogData, 0, &size), RAW_OK);
  EXPECT_EQ(size, 0xFFFFFFFFu);
}

TEST_F(DirectoryTest, FailedOperationsOfMembers) {
  MakeRun({}, {});
  FaultyFileSystem& files = UseFaultyFiles();
  OpenRun(0);
  char bytes[4] = {};
  uint32_t count = 0;
  ASSERT_EQ(RawFileOpen(handle_, kInlet, 0, kCreateMember), RAW_OK);
  files.On(FileCall::kPosition).FailNth(1);
  EXPECT_EQ(RawFileWrite(handle_, kInlet, 0, bytes, 4, nullptr), RAW_SEEK_FAILED);
  files.On(FileCall::kPosition).FailNth(1);
  EXPECT_EQ(RawFileRead(handle_, kInlet, 0, bytes, 4, &count), RAW_SEEK_FAILED);
  files.On(FileCall::kWrite).FailNth(1);
  files.SetShortWriteBytes(3);
  EXPECT_EQ(RawFileWrite(handle_, kInlet, 0, bytes, 4, &count), RAW_SHORT_WRITE);
  EXPECT_EQ(RawFileWrite(handle_, kInlet, 0, bytes, 4, &count), RAW_OK);
  EXPECT_EQ(count, 4u) << "a failed write does not move the position";
  files.On(FileCall::kClose).FailNth(1);
  EXPECT_EQ(RawFileClose(handle_, kInlet, 0), RAW_MEMBER_NOT_CLOSED);
  EXPECT_EQ(RawFileClose(handle_, kInlet, 0), RAW_MEMBER_NOT_OPEN) << "the slot is free again";
  EXPECT_EQ(files.open_files(), 0);
}

TEST_F(DirectoryTest, PathsOfTheRecordsLength) {
  std::string path = temp_.Path(std::string(100, 'A'));
  std::filesystem::create_directory(testing::Native(path));
  path.push_back('\\');
  path.append(259 - path.size(), 'B');
#if !defined(_WIN32)  // where a directory's own limit is lower
  ASSERT_EQ(RawCreateOpen(path.c_str(), &handle_), RAW_OK);
  char name[TV_PATH_SIZE];
  EXPECT_EQ(RawHandleGetClusterName(handle_, name), RAW_OK);
  EXPECT_EQ(name, path);
  EXPECT_EQ(RawFileOpen(handle_, kInlet, 0, kCreateMember), RAW_PATH_NOT_BUILT);
  EXPECT_EQ(ReplaceMember(handle_, kInlet, 0, "x", 1), RAW_PATH_NOT_BUILT);
  EXPECT_EQ(RawReadClose(handle_), RAW_OK);

  // The last path that has room for a member, which can be replaced too.
  const std::string fits = path.substr(0, 259 - std::strlen("\\_INLET.INF"));
  ASSERT_EQ(RawCreateOpen(fits.c_str(), &handle_), RAW_OK);
  EXPECT_EQ(ReplaceMember(handle_, kInlet, 0, "x", 1), RAW_OK);
  EXPECT_EQ(testing::ReadText(fits + "\\_INLET.INF"), "x");
  EXPECT_EQ(RawReadClose(handle_), RAW_OK);
#endif
  path.push_back('B');
  std::filesystem::create_directory(testing::Native(path));
  EXPECT_EQ(RawReadOpen(path.c_str(), &handle_), RAW_DIRECTORY_ABSENT);
  EXPECT_EQ(RawCreateOpen(path.c_str(), &handle_), RAW_DIRECTORY_NOT_CREATED);
  EXPECT_EQ(handle_, -1) << "another directory's handle would be closed";
}

// --- progress

TEST_F(DirectoryTest, ProgressReportsEachPercentageOnce) {
  const auto reports = [&](int32_t first, int32_t last, int32_t count) {
    progress_.clear();
    for (int32_t i = first; i <= last; ++i) ReportProgress(i, count);
    return progress_;
  };
  ReportProgress(0, 1);  // nobody listens
  RecordProgress();
  EXPECT_THAT(reports(0, 0, 1), ElementsAre(0));
  EXPECT_THAT(reports(0, 4, 4), ElementsAre(0, 50, 75, 100, 100));
  EXPECT_THAT(reports(1, 1, 200), ElementsAre(1));
  EXPECT_THAT(reports(2, 2, 200), ElementsAre());
  EXPECT_THAT(reports(0, 5, 0), ElementsAre());
  const std::vector<int32_t> many = reports(0, 100000, 100000);
  EXPECT_GE(many.size(), 99u);
  EXPECT_LE(many.size(), 101u);
  EXPECT_TRUE(std::is_sorted(many.begin(), many.end()));
  EXPECT_EQ(many.back(), 100);
  RawUpdateEnd();
  EXPECT_THAT(reports(0, 4, 4), ElementsAre());
}

TEST_F(DirectoryTest, ProgressIsTheSameWithoutTheItemsThatHaveNone) {
  EXPECT_EQ(ItemsWithoutProgress(1, 1000), 999) << "nobody listens";
  RecordProgress();
  int32_t asked = 0;
  for (int32_t count = 1; count < 60000; count += 1 + count / 9) {
    progress_.clear();
    for (int32_t i = 1; i <= count; ++i) ReportProgress(i, count);
    const std::vector<int32_t> each = std::exchange(progress_, {});
    asked = 0;
    for (int32_t i = 1; i <= count; ++i) {
      i += std::min(ItemsWithoutProgress(i, count), count - i);
      ReportProgress(i, count);
      ++asked;
    }
    EXPECT_EQ(progress_, each) << count;
  }
  EXPECT_LT(asked, 600);
  EXPECT_GE(ItemsWithoutProgress(INT32_MAX, INT32_MAX), 0);
}

}  // namespace
}  // namespace tervalon::raw
