#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "fuzz/raw_reading.h"
#include "fuzz/targets.h"
#include "tervalon/data_handles.h"
#include "tervalon/function_types.h"
#include "tervalon/noise_statistics.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_history.h"
#include "tervalon/trace_strings.h"

namespace tervalon::fuzz {
namespace {

constexpr const char* kPaths[] = {
    "R.RAW\\_HEADER.TXT",
    "R.RAW\\_FUNCTNS.INF",
    "R.RAW\\_FUNC001.IDX",
    "R.RAW\\_FUNC001.DAT",
    "R.RAW\\_FUNC002.IDX",
    "R.RAW\\_FUNC002.DAT",
    "R.RAW\\_PROC001.IDX",
    "R.RAW\\_PROC001.DAT",
    "R.RAW\\_PROC255.IDX",
    "R.RAW\\_PROC255.DAT",
    "R.RAW\\_ANALOGS.INF",
    "R.RAW\\_ANALOGS.DAT",
    "R.RAW\\_HISTORY.INF",
    "R.RAW\\_HEADER.INF",
    // What killed programs and other systems leave.
    "R.RAW\\_HISTORY.INF.lock",
    "R.RAW\\_HISTORY.INF.0123456789abcdef.tmp",
    "R.RAW\\_functns.inf",
    "R.RAW\\_FUNCTNS.INF.BAK",
    "R.RAW.lock",
    "TERVALON.INI",
};

SystemRawFile RawFile(int16_t function, int16_t process) {
  SystemRawFile file = {};
  std::strcpy(file.directory, "\\w\\");
  std::strcpy(file.name, "R");
  std::strcpy(file.extension, "RAW");
  file.first_value = 1;
  file.function = function;
  file.process = process;
  return file;
}

int32_t Check() {
  int32_t problems = -1;
  const RawProblemCallback look = [](const RawProblem* problem, void*) TERVALON_CALL -> int32_t {
    FUZZ_CHECK(problem->kind >= RAW_PROBLEM_MISSING && problem->kind <= RAW_PROBLEM_LEFT_OVER);
    FUZZ_CHECK(std::memchr(problem->member, 0, sizeof(problem->member)) != nullptr);
    FUZZ_CHECK(std::memchr(problem->text, 0, sizeof(problem->text)) != nullptr);
    return 0;
  };
  FUZZ_CHECK(RawCheckDirectory("\\w\\R.RAW", look, nullptr, &problems) == RAW_OK);
  return problems;
}

// Of a directory without problems.
void EverythingReads(Options* options) {
  int32_t handle = -1;
  FUZZ_CHECK(RawReadOpen("\\w\\R.RAW", &handle) == RAW_OK);
  int16_t functions = -1;
  int16_t analogs = -1;
  FUZZ_CHECK(RawReadHeader(handle, nullptr, nullptr, &functions, &analogs) == RAW_OK);
  std::vector<RawFunctionRecord> records(RAW_MAX_FUNCTIONS);
  FUZZ_CHECK(RawReadFuncInfo(handle, 0, records.data(), nullptr) == RAW_OK);
  for (int16_t function = 1; function <= std::min<int16_t>(functions, 2); ++function) {
    const RawFunctionRecord& record = records[static_cast<size_t>(function - 1)];
    const int32_t error = RawReadFuncInit(handle, function, 0, &record, nullptr);
    FUZZ_CHECK(error == RAW_OK || error == RAW_MEMBER_NOT_OPENED);  // one without scans
    RawReadFuncEnd(handle, function, 0);
    ReadFunction(handle, function, 0, record, nullptr, options);
  }
  RawHistoryHeader history = {};
  FUZZ_CHECK(RawReadProcInfo(handle, &history, nullptr) == RAW_OK);
  FUZZ_CHECK(RawReadClose(handle) == RAW_OK);
}

void CheckAndRepair(Options* options, MemoryFileSystem* files) {
  const testing::Disk before = files->Now();
  const int32_t problems = Check();
  FUZZ_CHECK(files->Now() == before);
  if (problems == 0) EverythingReads(options);
  int32_t left = -1;
  const int32_t error = RawRepairDirectory("\\w\\R.RAW", nullptr, nullptr, &left);
  if (error != RAW_OK) return;
  FUZZ_CHECK(left <= problems);
  FUZZ_CHECK(Check() <= left);
  if (left == 0) EverythingReads(options);
  if (options->Pick(4) != 0) return;
  // All was mended that can be.
  int32_t left_again = -1;
  FUZZ_CHECK(RawRepairDirectory("\\w\\R.RAW", nullptr, nullptr, &left_again) == RAW_OK);
  FUZZ_CHECK(left_again <= left);
}

// What the data handles deliver.
void ReadHandle(DmRawDescriptor descriptor, Options* options) {
  const int32_t handle =
      DmGetHandle(DM_TYPE_RAW, sizeof(descriptor), &descriptor, 2, sizeof(float), 0);
  if (handle == 0) return;
  // The same data have one handle.
  const int32_t again =
      DmGetHandle(DM_TYPE_RAW, sizeof(descriptor), &descriptor, 2, sizeof(float), 0);
  FUZZ_CHECK(again == 0 || again == handle);
  if (again != 0) DmReleaseHandle(again, 0);
  const uint32_t first = options->Pick(4) != 0 ? 1 : options->Take<uint32_t>();
  const int32_t count = options->Pick(4) != 0
                            ? static_cast<int32_t>(std::min(descriptor.element_count, 3000u))
                            : options->Take<int32_t>();
  if (DmGetData(handle, first, count, options->Pick(4)) == 0 && count > 0) {
    const auto* values = static_cast<const float*>(DmLockData(handle, 1, first, count));
    FUZZ_CHECK(values != nullptr);
    float sum = 0;
    for (int32_t i = 0; i < count; ++i) sum += values[i];
    FUZZ_CHECK(sum == sum || sum != sum);  // all of it can be read
    DmUnlockData(handle, 1);
  }
  DmReleaseHandle(handle, 0);
}

void ReadThroughHandles(Options* options) {
  const std::string text = options->TakeText();
  const auto function = static_cast<int16_t>(1 + options->Pick(3));
  const auto process = static_cast<int16_t>(options->Pick(2));
  const SystemRawFile file = RawFile(function, process);
  DmRawDescriptor descriptor = {};
  FUZZ_CHECK(DmRawFileToID(&file, descriptor.directory) == 0);
  descriptor.function = function;
  descriptor.process = process;
  descriptor.kind = DM_RAW_SPECTRUM;
  descriptor.selection = static_cast<uint16_t>(options->Pick(2) == 0 ? 0 : options->Pick(16) << 8);
  descriptor.scan = 1 + options->Pick(4);
  ReadHandle(descriptor, options);

  DmTraceRecord trace = {};
  std::array<char, 64> description;
  if (DmRawGetChrType(nullptr, &file, &trace, text.c_str()) == 0) {
    trace.type = static_cast<uint32_t>(options->Pick(10));
    trace.analog_channel = static_cast<int16_t>(options->Pick(5));
  }
  if (options->Pick(4) == 0) {
    trace.type = static_cast<uint32_t>(DM_TRACE_NEUTRAL_LOSS + options->Pick(2));
    trace.masses[0] = static_cast<float>(options->Take<uint8_t>());
  }
  DmRawGetTraceTypeDescription(&file, &trace, description.data(), options->Pick(2),
                               1 + options->Pick(64));
  DmRawValidateChrom(&file, &trace, &trace, options->Take<float>());
  std::string channels = text;
  ChannelToDesc(&file, channels.data(), description.data(), 1 + options->Pick(64));
  descriptor.kind = DM_RAW_CHROMATOGRAM;
  descriptor.trace = trace;
  ReadHandle(descriptor, options);
  float value = 0;
  float rate = 0;
  ChroStatGetCycleTime(&file, &trace, &value);
  ChroStatCalcNoiseStats(&file, &trace, options->Take<float>(), options->Take<float>(), &value,
                         &rate);
  SpecStatCalcNoiseStats(&file, options->Take<float>(), options->Take<float>(), &value, &rate);
  DmRawIsFunctionType(&file, static_cast<int16_t>(options->Pick(4)), options->Pick(26));
  constexpr decltype(&DmRawIsDadFunction) kTests[] = {
      DmRawIsDadFunction,    DmRawIsTOFFunction,     DmRawIsTOFParentFunction,
      DmRawIsTOFDauFunction, DmRawIsAutoDauFunction, DmRawIsSetMassFunction,
      DmRawIsQTOFFunction,   DmRawIsVaryingFunction, DmRawIsExternalFunction};
  for (const auto test : kTests) {
    const int32_t found = test(&file, 0);
    FUZZ_CHECK(found >= 0 && found <= RAW_MAX_FUNCTIONS);
  }
  const float channel = 12.5f * static_cast<float>(options->Take<uint8_t>());
  DmRawChannelDesc(&file, channel, description.data(), options->Pick(4), 1 + options->Pick(64));
}

// A processed set, with whatever stands where it is written, then has the scan.
void WriteSet(Options* options) {
  DmRawDescriptor descriptor = {};
  const SystemRawFile file = RawFile(1, 0);
  FUZZ_CHECK(DmRawFileToID(&file, descriptor.directory) == 0);
  descriptor.function = static_cast<int16_t>(1 + options->Pick(2));
  descriptor.process = static_cast<int16_t>(options->Pick(2) != 0 ? 1 : 255);
  descriptor.kind = DM_RAW_SPECTRUM;
  descriptor.selection = static_cast<uint16_t>(options->Pick(16) << 8 | DM_SELECT_SCAN);
  descriptor.scan = 1 + options->Pick(4);
  descriptor.element_count = options->Take<uint8_t>();
  std::array<float, 24> masses;
  std::array<float, 24> intensities;
  for (size_t i = 0; i < masses.size(); ++i) {
    masses[i] = 100 + static_cast<float>(i);
    intensities[i] = static_cast<float>(options->Take<uint8_t>());
  }
  void* const items[4] = {masses.data(), intensities.data()};
  const auto count = 1 + options->Pick(24);
  if (DmRawWrite(&descriptor, 1 + static_cast<uint32_t>(options->Pick(3)), count, items) == 0) {
    FUZZ_CHECK(DmRawRead(&descriptor, 0, 1, 0, nullptr) == 0);
    FUZZ_CHECK(descriptor.element_count >= static_cast<uint32_t>(count));
    ReadHandle(descriptor, options);
  }
  DmRawSaveProcess(&descriptor, 1);
}

void RunDirectory(Options* options, MemoryFileSystem* files) {
  if (!files->Exists("\\w\\R.RAW")) return;
  const int32_t order = options->Pick(8);
  if (order & 1) ReadThroughHandles(options);
  if (order & 2) WriteSet(options);
  DmDataRelease(DM_TYPE_RAW, nullptr, 0, 0, 0, nullptr);
  CheckAndRepair(options, files);
  if (order & 4) {
    if (RawFileErase("\\w\\R.RAW") == RAW_OK) FUZZ_CHECK(RawFileExists("\\w\\R.RAW") == 0);
  }
}

}  // namespace

const Target kDirectory = {"directory", kPaths, RunDirectory};

}  // namespace tervalon::fuzz
