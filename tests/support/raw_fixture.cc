#include "tests/support/raw_fixture.h"

#include <algorithm>

namespace tervalon::testing {
namespace {

constexpr uint16_t kPositiveElectrospray = 8;

template <typename T>
T* DataOrNull(std::vector<T>* values) {
  return values->empty() ? nullptr : values->data();
}

template <typename T>
const T* DataOrNull(const std::vector<T>& values) {
  return values.empty() ? nullptr : values.data();
}

void PutType(RawFunctionRecord* record, uint16_t function_type, int32_t data_type) {
  Put(record, 0,
      static_cast<uint16_t>(function_type | kPositiveElectrospray << 5 | data_type << 10));
}

}  // namespace

RawFunctionRecord ScanningRecord(int32_t data_type, float low, float high) {
  RawFunctionRecord record = {};
  PutType(&record, RAW_TYPE_SCAN, data_type);
  Put(&record, 2, 1.0f);
  Put(&record, 6, 0.1f);
  Put(&record, 28, low);
  Put(&record, 32, high);
  return record;
}

RawFunctionRecord ChannelRecord(int32_t data_type, const std::vector<float>& masses) {
  RawFunctionRecord record = {};
  PutType(&record, RAW_TYPE_SIR, data_type);
  record.bytes[23] = static_cast<uint8_t>(masses.size());
  for (size_t i = 0; i < masses.size(); ++i) Put(&record, 160 + 4 * i, masses[i]);
  return record;
}

RawFunctionRecord RecordFor(int32_t data_type) {
  if (data_type != RAW_DATA_SIR && data_type != RAW_DATA_ENHANCED_SIR) {
    return ScanningRecord(data_type);
  }
  return ChannelRecord(data_type, {150.5f, 90.25f, 300, 210.75f, 90.5f, 410});
}

Scan NumberedScan(uint32_t number, size_t points) {
  Scan scan;
  scan.description.retention_time = static_cast<float>(number) * 0.0625f;
  for (size_t i = 0; i < points; ++i) {
    scan.masses.push_back(100 + 0.125f * static_cast<float>((number + i) % 8000));
    scan.intensities.push_back(static_cast<float>((number * 7 + i) % 250));
    scan.flags.push_back(static_cast<uint8_t>((number + i) % 16));
  }
  return scan;
}

int32_t WriteScan(int32_t handle, int16_t function, int16_t process, int16_t type,
                  const Scan& scan) {
  return RawCreateScansEx(handle, function, process, type, &scan.description,
                          DataOrNull(scan.masses), DataOrNull(scan.intensities),
                          DataOrNull(scan.flags), static_cast<int32_t>(scan.intensities.size()));
}

Spectrum Read(int32_t handle, int16_t function, int16_t process, int32_t scan, int32_t first,
              int32_t count, bool skip_flagged) {
  Spectrum spectrum;
  RawScanHeader header = {};
  spectrum.error = RawReadSpectrum(handle, function, process, scan, 1, nullptr, &header, nullptr,
                                   nullptr, nullptr, 0);
  if (spectrum.error != RAW_OK) return spectrum;
  const auto room = static_cast<int32_t>(header.points & RAW_SCAN_POINTS_MASK);
  count = std::min(count, room);
  spectrum.masses.resize(static_cast<size_t>(count));
  spectrum.intensities.resize(static_cast<size_t>(count));
  spectrum.flags.resize(static_cast<size_t>(count));
  spectrum.error = RawReadSpectrum(handle, function, process, scan, first, &count, &spectrum.header,
                                   DataOrNull(&spectrum.masses), DataOrNull(&spectrum.intensities),
                                   DataOrNull(&spectrum.flags), skip_flagged ? 1 : 0);
  spectrum.masses.resize(static_cast<size_t>(count));
  spectrum.intensities.resize(static_cast<size_t>(count));
  spectrum.flags.resize(static_cast<size_t>(count));
  return spectrum;
}

Bytes IndexBytes(const std::vector<IndexEntry>& entries) {
  Bytes bytes;
  for (const IndexEntry& entry : entries) {
    Append(&bytes, entry.offset);
    Append(&bytes, entry.word);
    Append(&bytes, entry.total);
    Append(&bytes, entry.time);
    bytes.insert(bytes.end(), entry.base_peak.begin(), entry.base_peak.end());
  }
  return bytes;
}

RawTest::~RawTest() {
  RawHandlesInit();
  RawUpdateEnd();
}

FaultyFileSystem& RawTest::UseFaultyFiles() {
  RawHandlesInit();
  handle_ = -1;
  replaced_.reset();
  faulty_files_ = std::make_unique<FaultyFileSystem>();
  replaced_ =
      std::make_unique<platform::ScopedReplacement<platform::FileSystem>>(faulty_files_.get());
  return *faulty_files_;
}

std::string RawTest::Path(const std::string& member) const {
  return temp_.Path(member.empty() ? "RUN.RAW" : "RUN.RAW\\" + member);
}

void RawTest::MakeRun(const std::vector<RawFunctionRecord>& records,
                      const std::vector<std::vector<Scan>>& scans) {
  CloseRun();  // open files cannot be erased everywhere
  int32_t handle = -1;
  ASSERT_EQ(RawCreateOpen(Path().c_str(), &handle), RAW_OK);
  ASSERT_EQ(RawCreateFunctions(handle, static_cast<int16_t>(records.size()), records.data()),
            RAW_OK);
  for (size_t i = 0; i < scans.size(); ++i) {
    const auto function = static_cast<int16_t>(i + 1);
    const auto type = static_cast<int16_t>(Get<uint16_t>(records[i], 0) >> 10 & 15);
    ASSERT_EQ(RawCreateScanFile(handle, function, 0, 0), RAW_OK);
    for (const Scan& scan : scans[i]) {
      ASSERT_EQ(WriteScan(handle, function, 0, type, scan), RAW_OK);
    }
    ASSERT_EQ(RawCreateScansEnd(handle, function, 0), RAW_OK);
  }
  ASSERT_EQ(RawCreateClose(handle), RAW_OK);
}

void RawTest::MakeRun(const RawFunctionRecord& record, const Bytes& index, const Bytes& data) {
  MakeRun({record}, {});
  WriteFile(Path("_FUNC001.IDX"), index);
  WriteFile(Path("_FUNC001.DAT"), data);
}

void RawTest::CloseRun() {
  if (handle_ >= 0) RawReadClose(handle_);
  handle_ = -1;
}

void RawTest::OpenRun(int16_t function) {
  CloseRun();
  ASSERT_EQ(RawReadOpen(Path().c_str(), &handle_), RAW_OK);
  if (function == 0) return;
  ASSERT_EQ(RawReadFuncInfo(handle_, function, &record_, nullptr), RAW_OK);
}

void RawTest::OpenFunction(const RawCalibration* calibration) {
  ASSERT_NO_FATAL_FAILURE(OpenRun());
  ASSERT_EQ(RawReadFuncInit(handle_, 1, 0, &record_, calibration), RAW_OK);
}

void RawTest::OpenWriter(int32_t data_type) {
  CloseRun();
  const RawFunctionRecord record = RecordFor(data_type);
  ASSERT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_OK);
  ASSERT_EQ(RawCreateFunctions(handle_, 1, &record), RAW_OK);
  ASSERT_EQ(RawCreateScanFile(handle_, 1, 0, 0), RAW_OK);
}

void RawTest::CloseWriter() {
  ASSERT_EQ(RawCreateScansEnd(handle_, 1, 0), RAW_OK);
  ASSERT_EQ(RawCreateClose(handle_), RAW_OK);
  handle_ = -1;
}

Spectrum RawTest::Stored(int32_t data_type, const Scan& scan) {
  MakeRun({RecordFor(data_type)}, {{scan}});
  OpenFunction();
  return Read(handle_, 1, 0, 1);
}

int32_t RawTest::OpenReader(const RawFunctionRecord& record) const {
  int32_t reader = -1;
  EXPECT_EQ(RawReadOpen(Path().c_str(), &reader), RAW_OK);
  EXPECT_EQ(RawReadFuncInit(reader, 1, 0, &record, nullptr), RAW_OK);
  return reader;
}

void RawTest::RecordProgress() {
  const RawProgressCallback add = [](int32_t percent, void* user) TERVALON_CALL -> int32_t {
    static_cast<std::vector<int32_t>*>(user)->push_back(percent);
    return 0;
  };
  EXPECT_EQ(RawUpdateInit(add, &progress_), add);
}

}  // namespace tervalon::testing
