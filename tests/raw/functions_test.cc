// The function table, the count of complete scans, mass ranges and the search for a time.

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <tuple>

#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

constexpr size_t kRecordSize = 416;

class FunctionsTest : public RawTest {
 protected:
  RawFunctionRecord RandomRecord() {
    RawFunctionRecord record;
    for (uint8_t& byte : record.bytes) byte = static_cast<uint8_t>(random_());
    return record;
  }

  // What RawReadFuncInfo counts for function 1.
  uint32_t CountScans(int32_t type, const std::vector<IndexEntry>& entries, size_t data_bytes) {
    MakeRun(ScanningRecord(type), IndexBytes(entries), Bytes(data_bytes, 0));
    OpenRun();
    return Get<uint32_t>(record_, 18);
  }
};

// What is there is asked for once: the directory is listed, the table read whole, and of the
// function the files are opened to count its scans and to read them.
TEST_F(FunctionsTest, FirstSpectrumOfManyFunctionsTakesFewFileOperations) {
  const std::vector<RawFunctionRecord> records(RAW_MAX_FUNCTIONS, ScanningRecord(3));
  MakeRun(records, std::vector<std::vector<Scan>>(RAW_MAX_FUNCTIONS, std::vector<Scan>(100)));
  FaultyFileSystem& files = UseFaultyFiles();
  int32_t handle = -1;
  RawFunctionRecord record;
  RawScanHeader header;
  ASSERT_EQ(RawReadOpen(Path().c_str(), &handle), RAW_OK);
  ASSERT_EQ(RawReadFuncInfo(handle, 1, &record, nullptr), RAW_OK);
  ASSERT_EQ(RawReadFuncInit(handle, 1, 0, &record, nullptr), RAW_OK);
  ASSERT_EQ(RawReadSpectrum(handle, 1, 0, 50, 1, nullptr, &header, nullptr, nullptr, nullptr, 0),
            RAW_OK);
  const std::pair<FileCall, int64_t> expected[] = {{FileCall::kStatus, 0}, {FileCall::kList, 1},
                                                   {FileCall::kOpen, 5},   {FileCall::kRead, 3},
                                                   {FileCall::kSize, 2},   {FileCall::kClose, 0}};
  for (const auto& [call, count] : expected) {
    EXPECT_EQ(files.Calls(call), count) << static_cast<int>(call);
  }
  EXPECT_EQ(RawReadClose(handle), RAW_OK);
}

TEST_F(FunctionsTest, ValuesOfARecord) {
  RawFunctionRecord record = ScanningRecord(RAW_DATA_FLOAT, 150.5f, 900);
  Put<uint16_t>(&record, 0, RAW_TYPE_DAUGHTERS | 5 << 5 | RAW_DATA_FLOAT << 10);
  Put(&record, 10, 0.25f);
  Put(&record, 14, 30.5f);
  Put(&record, 18, uint32_t{1234});
  float a = 0;
  float b = 0;
  EXPECT_EQ(RawGetFuncType(&record), RAW_TYPE_DAUGHTERS);
  EXPECT_EQ(RawGetFuncIonMode(&record), 5);
  EXPECT_EQ(RawGetFuncDataType(&record), RAW_DATA_FLOAT);
  EXPECT_EQ(RawGetFuncScanCount(&record), 1234);
  EXPECT_EQ(RawGetFuncTimeRange(&record, &a, &b), 1);
  EXPECT_EQ(std::pair(a, b), std::pair(0.25f, 30.5f));
  EXPECT_EQ(RawGetFuncMassRange(&record, &a, &b), 1);
  EXPECT_EQ(std::pair(a, b), std::pair(150.5f, 900.0f));
  EXPECT_EQ(RawGetFuncChannel(&record, 1, &a, &b), 0);

  record = ChannelRecord(RAW_DATA_SIR, {300.25f, 400, 250.5f});
  Put(&record, 288 + 4, 380.0f);
  EXPECT_EQ(RawGetFuncMassRange(&record, &a, nullptr), 1);
  EXPECT_EQ(RawGetFuncMassRange(&record, nullptr, &b), 1);
  EXPECT_EQ(std::pair(a, b), std::pair(250.0f, 400.0f));
  EXPECT_EQ(RawGetFuncChannel(&record, 2, &a, &b), 1);
  EXPECT_EQ(std::pair(a, b), std::pair(400.0f, 0.0f));
  Put<uint16_t>(&record, 0, RAW_TYPE_MRM | RAW_DATA_SIR << 10);
  EXPECT_EQ(RawGetFuncChannel(&record, 2, &a, &b), 1);
  EXPECT_EQ(std::pair(a, b), std::pair(400.0f, 380.0f));
  EXPECT_EQ(RawGetFuncChannel(&record, 3, nullptr, nullptr), 1);
  for (const int32_t channel : {-1, 0, 4}) {
    EXPECT_EQ(RawGetFuncChannel(&record, channel, &a, &b), 0) << channel;
  }

  for (const auto function :
       {RawGetFuncType, RawGetFuncIonMode, RawGetFuncDataType, RawGetFuncScanCount}) {
    EXPECT_EQ(function(nullptr), -1);
  }
  EXPECT_EQ(RawGetFuncTimeRange(nullptr, &a, &b), 0);
  EXPECT_EQ(RawGetFuncMassRange(nullptr, &a, &b), 0);
  EXPECT_EQ(RawGetFuncChannel(nullptr, 1, &a, &b), 0);
}

TEST_F(FunctionsTest, ScanCounts) {
  MakeRun({ScanningRecord(RAW_DATA_CONTINUUM)}, {{NumberedScan(1, 5), NumberedScan(2, 5)}});
  OpenRun(0);
  ASSERT_EQ(RawCreateScanFile(handle_, 1, 7, 0), RAW_OK);
  ASSERT_EQ(WriteScan(handle_, 1, 7, RAW_DATA_CONTINUUM, NumberedScan(1, 5)), RAW_OK);
  ASSERT_EQ(RawCreateScansEnd(handle_, 1, 7), RAW_OK);
  int32_t scans = 0;
  EXPECT_EQ(RawReadScanCount(handle_, 1, 0, &scans), RAW_OK);
  EXPECT_EQ(scans, 2);
  for (const int16_t function : {int16_t{0}, int16_t{1}}) {
    EXPECT_EQ(RawReadScanCount(handle_, function, 7, &scans), RAW_OK);
    EXPECT_EQ(scans, 1);
  }
  EXPECT_EQ(RawReadScanCount(handle_, 2, 0, &scans), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawReadScanCount(handle_, 0, 0, &scans), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawReadScanCount(handle_, 1, 8, &scans), RAW_MEMBER_NOT_OPENED);
  EXPECT_EQ(RawReadScanCount(19, 1, 0, &scans), RAW_HANDLE_NOT_OPEN);
  EXPECT_EQ(RawReadScanCount(handle_, 1, 0, nullptr), RAW_BAD_ARGUMENT);
  EXPECT_EQ(scans, 1);
}

TEST_F(FunctionsTest, TableKeepsEveryByteButTheScanCount) {
  std::vector<RawFunctionRecord> records = {RandomRecord(), RandomRecord(), RandomRecord()};
  MakeRun(records, {});
  Bytes table;
  for (const auto& record : records) {
    table.insert(table.end(), record.bytes, record.bytes + kRecordSize);
  }
  EXPECT_EQ(ReadFile(Path("_FUNCTNS.INF")), table);

  OpenRun(0);
  std::vector<RawFunctionRecord> read(4);
  std::fill_n(read[3].bytes, kRecordSize, uint8_t{0xAA});
  std::vector<int16_t> flags(4, 7);
  ASSERT_EQ(RawReadFuncInfo(handle_, 0, read.data(), flags.data()), RAW_OK);
  for (size_t i = 0; i < 3; ++i) {
    Put(&records[i], 18, uint32_t{0});
    EXPECT_EQ(std::memcmp(read[i].bytes, records[i].bytes, kRecordSize), 0) << i;
  }
  EXPECT_THAT(read[3].bytes, ::testing::Each(0xAA)) << "written behind the last record";
  EXPECT_EQ(flags, (std::vector<int16_t>{0, 0, 0, 7}));
  ASSERT_EQ(RawReadFuncInfo(handle_, 2, &read[3], nullptr), RAW_OK);
  EXPECT_EQ(std::memcmp(read[3].bytes, records[1].bytes, kRecordSize), 0);
  EXPECT_EQ(RawReadFuncInfo(handle_, 4, read.data(), nullptr), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawReadFuncInfo(handle_, 33, read.data(), nullptr), RAW_SLOT_OUT_OF_RANGE);
  EXPECT_EQ(RawReadFuncInfo(handle_, -1, read.data(), nullptr), RAW_SLOT_OUT_OF_RANGE);
  EXPECT_EQ(ReadFile(Path("_FUNCTNS.INF")), table);

  // A third record that lost its last byte is no record.
  table.pop_back();
  WriteFile(Path("_FUNCTNS.INF"), table);
  std::fill_n(read[2].bytes, kRecordSize, uint8_t{0xAA});
  ASSERT_EQ(RawReadFuncInfo(handle_, 0, read.data(), nullptr), RAW_OK);
  EXPECT_THAT(read[2].bytes, ::testing::Each(0xAA));
  EXPECT_EQ(RawReadFuncInfo(handle_, 3, read.data(), nullptr), RAW_BAD_ARGUMENT);
}

TEST_F(FunctionsTest, TablesOfAllSizes) {
  MakeRun({}, {});
  OpenRun(0);
  const std::vector<RawFunctionRecord> records(33, ScanningRecord(3));
  EXPECT_EQ(RawCreateFunctions(handle_, 33, records.data()), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawCreateFunctions(handle_, -1, records.data()), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawCreateFunctions(handle_, 1, nullptr), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawCreateFunctions(handle_, 32, records.data()), RAW_OK);
  EXPECT_EQ(ReadFile(Path("_FUNCTNS.INF")).size(), 32 * kRecordSize);
  EXPECT_EQ(RawCreateFunctions(handle_, 1, records.data()), RAW_OK);
  EXPECT_EQ(ReadFile(Path("_FUNCTNS.INF")).size(), kRecordSize);

  // A file of more records than there can be functions fills no more than 32 elements.
  WriteFile(Path("_FUNCTNS.INF"), Bytes(40 * kRecordSize, 1));
  std::vector<RawFunctionRecord> read(33);
  EXPECT_EQ(RawReadFuncInfo(handle_, 0, read.data(), nullptr), RAW_OK);
  EXPECT_EQ(read[31].bytes[0], 1);
  EXPECT_EQ(read[32].bytes[0], 0);
}

TEST_F(FunctionsTest, Append) {
  int16_t number = 99;
  const RawFunctionRecord record = RandomRecord();
  ASSERT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_OK);
  EXPECT_EQ(RawAppendFunction(handle_, &record, &number), RAW_MEMBER_NOT_OPENED);
  const std::vector<RawFunctionRecord> three(3, ScanningRecord(3));
  ASSERT_EQ(RawCreateFunctions(handle_, 3, three.data()), RAW_OK);
  EXPECT_EQ(RawAppendFunction(handle_, &record, &number), RAW_OK);
  EXPECT_EQ(number, 4);
  const Bytes table = ReadFile(Path("_FUNCTNS.INF"));
  ASSERT_EQ(table.size(), 4 * kRecordSize);
  EXPECT_EQ(std::memcmp(table.data() + 3 * kRecordSize, record.bytes, kRecordSize), 0);
  FaultyFileSystem& files = UseFaultyFiles();
  OpenRun(0);
  files.On(FileCall::kPosition).FailNth(2);  // the lock is read first
  EXPECT_EQ(RawAppendFunction(handle_, &record, &number), RAW_OK);
  EXPECT_EQ(number, 0) << "the table's end was not found";
  EXPECT_EQ(RawAppendFunction(handle_, &record, &number), RAW_OK);
  EXPECT_EQ(number, 5);
  ASSERT_EQ(RawReadFuncInfo(handle_, 5, &record_, nullptr), RAW_OK);
  EXPECT_EQ(std::memcmp(record_.bytes + 22, record.bytes + 22, kRecordSize - 22), 0);
  for (int16_t expected = 6; expected <= 32; ++expected) {
    EXPECT_EQ(RawAppendFunction(handle_, &record, &number), RAW_OK);
    EXPECT_EQ(number, expected);
  }
  EXPECT_EQ(RawAppendFunction(handle_, &record, &number), RAW_SLOT_OUT_OF_RANGE);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(RawCreateScanFile(handle_, RAW_MAX_FUNCTIONS, 0, 0), RAW_OK);
  EXPECT_EQ(RawCreateScanFile(handle_, RAW_MAX_FUNCTIONS + 1, 0, 0), RAW_SLOT_OUT_OF_RANGE);
  EXPECT_EQ(ReadFile(Path("_FUNCTNS.INF")).size(), 32 * kRecordSize);
}

TEST_F(FunctionsTest, CountOfCompleteScans) {
  // Type 3: 2 bytes a point. Two scans point behind the data, or only seem to.
  const std::vector<IndexEntry> five = {{0, 10}, {20, 10}, {40, 10}, {60, 10}, {80, 10}};
  EXPECT_EQ(CountScans(3, five, 100), 5u);
  EXPECT_EQ(CountScans(3, five, 99), 4u);
  EXPECT_EQ(CountScans(3, five, 60), 3u);
  EXPECT_EQ(CountScans(3, five, 0), 1u) << "record 1 is never dropped";
  EXPECT_EQ(CountScans(3, {{1000, 10}}, 0), 1u);
  EXPECT_EQ(CountScans(3, {}, 100), 0u);
  EXPECT_EQ(CountScans(3, {{500, 10}, {600, 10}, {20, 10}}, 40), 3u) << "the last one counts";
  EXPECT_EQ(CountScans(3, {{0, 1}, {0xFFFFFFF8, 4}}, 100), 1u) << "offset and size wrapped";
  EXPECT_EQ(CountScans(3, {{0, 1}, {2, 0xFFC00000u | 3}}, 8), 2u) << "flags are no points";

  // Units that are not full count by their share, rounded down.
  EXPECT_EQ(CountScans(1, {{0, 2}, {10, 3}}, 25), 2u);
  EXPECT_EQ(CountScans(1, {{0, 2}, {10, 3}}, 24), 1u);
  EXPECT_EQ(CountScans(4, {{0, 4}, {10, 3}}, 17), 2u);
  EXPECT_EQ(CountScans(4, {{0, 4}, {10, 3}}, 16), 1u);
  EXPECT_EQ(CountScans(5, five, 1000), 0u) << "a type that is not stored";

  std::vector<IndexEntry> many;
  for (uint32_t i = 0; i < 7000; ++i) many.push_back({20 * i, 10});
  EXPECT_EQ(CountScans(3, many, 20 * 7000), 7000u);
  EXPECT_EQ(CountScans(3, many, 20 * 100 + 5), 100u) << "beyond one cached run";
}

TEST_F(FunctionsTest, CountWithDamagedOrMissingFiles) {
  Bytes index = IndexBytes({{0, 10}, {20, 10}, {40, 10}});
  index.resize(index.size() - 1);
  MakeRun(ScanningRecord(3), index, Bytes(60, 0));
  OpenRun();
  EXPECT_EQ(Get<uint32_t>(record_, 18), 2u);
  for (const char* name : {"_FUNC001.DAT", "_FUNC001.IDX"}) {
    MakeRun(ScanningRecord(3), index, Bytes(60, 0));
    ASSERT_TRUE(std::filesystem::remove(Native(Path(name))));
    OpenRun();
    EXPECT_EQ(Get<uint32_t>(record_, 18), 0u) << name;
    EXPECT_EQ(RawReadFuncInit(handle_, 1, 0, &record_, nullptr), RAW_MEMBER_NOT_OPENED);
    EXPECT_EQ(RawReadFuncEnd(handle_, 1, 0), RAW_SCAN_BUFFER_ABSENT) << "something stayed open";
  }
  MakeRun(ScanningRecord(3), index, Bytes(60, 0));
  FaultyFileSystem& files = UseFaultyFiles();
  OpenRun();
  files.OnlyPathsWith("_FUNC001");
  for (const FileCall call : {FileCall::kOpen, FileCall::kSize, FileCall::kRead}) {
    for (const int32_t nth : {1, 2}) {
      if (call == FileCall::kRead && nth == 2) continue;
      files.On(call).FailNth(nth);
      EXPECT_EQ(RawReadFuncInfo(handle_, 1, &record_, nullptr),
                call == FileCall::kOpen ? RAW_MEMBER_NOT_OPENED : RAW_SEEK_FAILED);
      EXPECT_EQ(Get<uint32_t>(record_, 18), 0u);
      int32_t scans = -1;
      files.On(call).FailNth(nth);
      EXPECT_NE(RawReadScanCount(handle_, 1, 0, &scans), RAW_OK);
      EXPECT_EQ(scans, -1);
    }
  }
}

TEST_F(FunctionsTest, InfoWhileTheFunctionIsOpen) {
  OpenWriter(3);
  const RawFunctionRecord record = ScanningRecord(3);
  const auto count = [&] {
    EXPECT_EQ(RawReadFuncInfo(handle_, 1, &record_, nullptr), RAW_OK);
    return Get<uint32_t>(record_, 18);
  };
  EXPECT_EQ(count(), 0u);
  ASSERT_EQ(WriteScan(handle_, 1, 0, 3, NumberedScan(1, 10)), RAW_OK);
  EXPECT_EQ(count(), 0u);
  ASSERT_EQ(RawCreateScansFlush(handle_, 1, 0), RAW_OK);
  EXPECT_EQ(count(), 1u);
  EXPECT_EQ(RawReadFuncInit(handle_, 1, 0, &record, nullptr), RAW_SCAN_BUFFER_EXISTS);
  EXPECT_EQ(RawReadFuncEnd(handle_, 1, 0), RAW_SCAN_BUFFER_ABSENT) << "it is a writer's";
  ASSERT_EQ(RawCreateScansEnd(handle_, 1, 0), RAW_OK);
  ASSERT_EQ(RawReadFuncInit(handle_, 1, 0, &record, nullptr), RAW_OK);
  EXPECT_EQ(count(), 1u);
  EXPECT_EQ(RawReadFuncInit(handle_, 1, 0, &record, nullptr), RAW_SCAN_BUFFER_EXISTS);
  EXPECT_EQ(RawCreateScanFile(handle_, 1, 0, 0), RAW_SCAN_BUFFER_EXISTS);
  EXPECT_EQ(RawCreateScansFlush(handle_, 1, 0), RAW_SCAN_BUFFER_ABSENT) << "it is a reader's";
}

TEST_F(FunctionsTest, InitRefusesTypesAndNumbers) {
  MakeRun({ScanningRecord(3)}, {{}});
  OpenRun();
  for (const int32_t type : {5, 7, 13, 14, 15}) {
    const RawFunctionRecord record = ScanningRecord(type);
    EXPECT_EQ(RawReadFuncInit(handle_, 1, 0, &record, nullptr), RAW_BAD_ARGUMENT) << type;
  }
  EXPECT_EQ(RawReadFuncInit(handle_, 1, 0, nullptr, nullptr), RAW_BAD_ARGUMENT);
  for (const int16_t function : {int16_t{0}, int16_t{33}, int16_t{-1}}) {
    EXPECT_EQ(RawReadFuncInit(handle_, function, 0, &record_, nullptr), RAW_SLOT_OUT_OF_RANGE);
  }
  EXPECT_EQ(RawReadFuncInit(handle_, 1, 256, &record_, nullptr), RAW_SLOT_OUT_OF_RANGE);
  EXPECT_EQ(RawReadFuncInit(handle_, 1, -1, &record_, nullptr), RAW_SLOT_OUT_OF_RANGE);
  EXPECT_EQ(RawReadFuncInit(handle_, 1, 0, &record_, nullptr), RAW_OK);
}

TEST_F(FunctionsTest, MassRanges) {
  const auto range = [](const RawFunctionRecord& record, int32_t segment) {
    float low = -1;
    float high = -1;
    float duration = -1;
    const int32_t found = RawReadGetFuncMassRange(&record, segment, &low, &high, &duration);
    return std::tuple(found, low, high, duration);
  };
  const std::tuple kNone(0, 0.0f, 0.0f, 0.0f);  // outputs are cleared
  RawFunctionRecord record = ScanningRecord(3, 50, 650);
  for (const int32_t segment : {-1, 0}) {
    EXPECT_EQ(range(record, segment), std::tuple(1, 50.0f, 650.0f, 1.0f - 0.1f));
  }
  EXPECT_EQ(range(record, 1), kNone) << "no segments is one segment";
  EXPECT_EQ(range(record, -2), kNone);
  EXPECT_EQ(RawReadGetFuncMassRange(&record, -1, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(RawReadGetFuncMassRange(nullptr, -1, nullptr, nullptr, nullptr), 0);

  record.bytes[23] = 3;  // segments; their durations overlay the high mass
  for (size_t i = 0; i < 3; ++i) {
    Put(&record, 32 + 4 * i, 0.25f * static_cast<float>(i + 1));
    Put(&record, 160 + 4 * i, 100.0f * static_cast<float>(i + 1));
    Put(&record, 288 + 4 * i, 100.0f * static_cast<float>(i + 1) + 80);
  }
  EXPECT_EQ(range(record, 1), std::tuple(1, 200.0f, 280.0f, 0.5f));
  EXPECT_EQ(std::get<1>(range(record, -1)), 100);
  EXPECT_EQ(std::get<2>(range(record, -1)), 380);
  EXPECT_EQ(range(record, 3), kNone);
  record.bytes[23] = 255;  // no more than 32 can be there
  EXPECT_NE(range(record, -1), kNone);
  EXPECT_NE(range(record, 31), kNone);
  EXPECT_EQ(range(record, 32), kNone);

  record = ScanningRecord(3, 50, 650);
  record.bytes[0] = RAW_TYPE_MALDI_TOF;
  Put(&record, 70, 5000.0f);
  Put(&record, 74, 700.0f);
  EXPECT_EQ(std::get<1>(range(record, -1)), 700);
  EXPECT_EQ(std::get<2>(range(record, -1)), 5000);
  for (const int channel_type : {1, 9, 22, 23}) {
    record = ChannelRecord(2, {100, 200});
    record.bytes[0] = static_cast<uint8_t>(channel_type);
    EXPECT_EQ(range(record, -1), kNone);
    EXPECT_EQ(range(record, 0), kNone);
  }
}

TEST_F(FunctionsTest, RangeThatAReaderKeeps) {
  for (const auto& [record, low, high] : {
           std::tuple(ChannelRecord(2, {250.5f, 90.75f, 410.25f}), 90.0f, 411.0f),
           std::tuple(ChannelRecord(2, {300}), 300.0f, 300.0f),
           std::tuple(ScanningRecord(3, 50.5f, 650.25f), 50.5f, 650.25f),
       }) {
    MakeRun(record, IndexBytes({{0, 0}}), {});
    OpenFunction();
    const RawScanHeader header = Read(handle_, 1, 0, 1).header;
    EXPECT_EQ(header.low_mass, low);
    EXPECT_EQ(header.high_mass, high);
  }
}

// The scan that belongs to a time, looked for from the front.
int32_t NearestScan(const std::vector<float>& times, float time) {
  size_t lower = 0;
  while (lower + 1 < times.size() && times[lower + 1] <= time) ++lower;
  const bool later = lower + 1 < times.size() &&
                     std::fabs(time - times[lower + 1]) < std::fabs(time - times[lower]);
  return static_cast<int32_t>(time < times[0] ? 0 : lower + (later ? 1 : 0)) + 1;
}

TEST_F(FunctionsTest, TimeToScan) {
  for (const size_t count : {1u, 2u, 3u, 50u, 7000u}) {
    SCOPED_TRACE(count);
    std::vector<float> times;
    std::vector<IndexEntry> entries;
    float time = 5;
    for (size_t i = 0; i < count; ++i) {
      times.push_back(time);
      entries.push_back({0, 0, 0, time});
      time += static_cast<float>(random_() % 5) / 64;  // ties between neighbours too
    }
    entries.push_back({1000, 10, 0, time});  // incomplete: never the answer
    if (count == 1) entries.pop_back();
    MakeRun(ScanningRecord(3), IndexBytes(entries), {});
    OpenFunction();
    std::vector<float> asked = {0, 4.99f, 5, times.back(), times.back() + 1, 1e30f, -1e30f};
    for (int i = 0; i < 2000; ++i) {
      const float at = times[random_() % count];
      asked.push_back(at);
      asked.push_back(at + static_cast<float>(static_cast<int>(random_() % 33) - 16) / 256);
    }
    for (const float t : asked) {
      int32_t scan = -1;
      ASSERT_EQ(RawReadTimeScan(handle_, 1, 0, &record_, t, &scan), RAW_OK);
      ASSERT_EQ(scan, NearestScan(times, t)) << "time " << t;
    }
  }
  int32_t scan = -1;
  EXPECT_EQ(RawReadTimeScan(handle_, 1, 0, &record_, std::nanf(""), &scan), RAW_OK);
  EXPECT_EQ(RawReadTimeScan(handle_, 1, 0, &record_, 1, nullptr), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawReadTimeScan(handle_, 2, 0, &record_, 1, &scan), RAW_SCAN_BUFFER_ABSENT);
}

TEST_F(FunctionsTest, TimeRangeOfTheRecordComesFirst) {
  RawFunctionRecord record = ScanningRecord(3);
  Put(&record, 10, 2.5f);
  Put(&record, 14, 3.5f);
  MakeRun(record, IndexBytes({{0, 0, 0, 1}, {0, 0, 0, 2}, {0, 0, 0, 3}, {0, 0, 0, 4}}), {});
  OpenFunction();
  const auto scan_at = [&](float time) {
    int32_t scan = -1;
    EXPECT_EQ(RawReadTimeScan(handle_, 1, 0, &record_, time, &scan), RAW_OK);
    return scan;
  };
  EXPECT_EQ(scan_at(2.4f), 1) << "before the range";
  EXPECT_EQ(scan_at(2.5f), 2) << "exactly between two scans";
  EXPECT_EQ(scan_at(3.4f), 3);
  EXPECT_EQ(scan_at(3.5f), 4) << "at the range's end";
  MakeRun(record, {}, {});
  OpenFunction();
  EXPECT_EQ(scan_at(2.4f), 0) << "no scan at all";
}

TEST_F(FunctionsTest, Names) {
  std::string names;
  char text[32];
  for (int32_t type = 0; type < 16; ++type) {
    const RawFunctionRecord record = ScanningRecord(type);
    EXPECT_EQ(RawGetDataTypeDesc(&record, text) != 0, type >= RAW_DATA_CONTINUUM) << type;
    names.append(text).append("|");
  }
  EXPECT_EQ(names,
            "Compressed centroid|Standard centroid|SIR or MRM data|Continuum|MCA|MCA with SD|MCB|"
            "MCB with SD|Molecular weight|Accurate Mass||Enhanced SIR or MRM|Enhanced Mass||||");
  std::string modes;
  for (int16_t mode = -1; mode < 32; ++mode) {
    RawGetIonModeDesc(mode, text);
    modes += text;
  }
  EXPECT_EQ(modes, "EI+EI-CI+CI-FB+FB-TS+TS-ES+ES-AP+AP-LD+LD-");
}

}  // namespace
}  // namespace tervalon::testing
