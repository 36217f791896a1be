#include "fuzz/raw_reading.h"

#include <algorithm>
#include <array>
#include <vector>

#include "fuzz/targets.h"
#include "tervalon/function_types.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::fuzz {
namespace {

constexpr int32_t kMostScans = 64;
constexpr int32_t kMostPoints = 5000;

// What the reader of a function is asked for.
struct Reader {
  int32_t handle;
  int16_t function;
  int16_t process;

  // Arrays have exactly the room that is told.
  int32_t Read(int32_t scan, int32_t first, int32_t wanted, int32_t skip, int32_t* count) const {
    const auto room = static_cast<size_t>(wanted);
    std::vector<float> masses(room);
    std::vector<float> intensities(room);
    std::vector<uint8_t> flags(room);
    RawScanHeader header;
    *count = wanted;
    const int32_t error = RawReadSpectrum(handle, function, process, scan, first, count, &header,
                                          masses.data(), intensities.data(), flags.data(), skip);
    FUZZ_CHECK(*count >= 0 && *count <= wanted);
    FUZZ_CHECK(error == RAW_OK || *count == 0);
    return error;
  }

  void ReadScans(int32_t complete) const {
    for (int32_t scan = 1; scan <= std::min(complete + 2, kMostScans); ++scan) {
      RawScanHeader header = {};
      const int32_t error = RawReadSpectrum(handle, function, process, scan, 1, nullptr, &header,
                                            nullptr, nullptr, nullptr, 0);
      FUZZ_CHECK(error == RAW_OK || scan > complete);
      if (error != RAW_OK) continue;
      const auto points = static_cast<int32_t>(header.points & RAW_SCAN_POINTS_MASK);
      const int32_t wanted = std::min(points, kMostPoints);
      int32_t count = 0;
      FUZZ_CHECK(Read(scan, 1, wanted + 1, 0, &count) == RAW_OK);
      FUZZ_CHECK(count <= points);
      int32_t unflagged = 0;
      FUZZ_CHECK(Read(scan, 1, wanted, 1, &unflagged) == RAW_OK);
      FUZZ_CHECK(unflagged <= points);
    }
  }

  // Many scans in one call, as one by one.
  void ReadRun(int32_t complete, Options* options) const {
    const int32_t count = std::min(complete, kMostScans);
    std::vector<RawScanHeader> headers(static_cast<size_t>(count));
    FUZZ_CHECK(RawReadScanHeaders(handle, function, process, 1, count, headers.data()) == RAW_OK);
    const auto beyond = static_cast<int32_t>(options->Take<uint8_t>());
    std::vector<RawScanHeader> more(static_cast<size_t>(beyond));
    RawReadScanHeaders(handle, function, process, options->Take<int32_t>(), beyond, more.data());
    std::vector<uint32_t> places(static_cast<size_t>(count));
    FUZZ_CHECK(RawReadScanOffsets(handle, function, process, 1, count, places.data()) == RAW_OK);

    std::vector<int32_t> scans;
    for (int32_t i = std::min(count, 8); i > 0; --i) scans.push_back(i);
    if (scans.empty()) return;
    std::vector<int64_t> offsets(scans.size() + 1);
    const auto wanted = static_cast<int32_t>(scans.size());
    FUZZ_CHECK(RawReadSpectra(handle, function, process, wanted, scans.data(), 0, offsets.data(),
                              nullptr, nullptr, nullptr) == RAW_OK);
    if (offsets.back() > kMostPoints) return;
    const auto room = static_cast<size_t>(offsets.back());
    std::vector<float> masses(room);
    std::vector<float> intensities(room);
    std::vector<uint8_t> flags(room);
    FUZZ_CHECK(RawReadSpectra(handle, function, process, wanted, scans.data(),
                              static_cast<int64_t>(room), offsets.data(), masses.data(),
                              intensities.data(), flags.data()) == RAW_OK);
    for (size_t i = 0; i < scans.size(); ++i) FUZZ_CHECK(offsets[i] <= offsets[i + 1]);
  }

  void ReadChromatograms(int32_t complete, Options* options) const {
    const int32_t count = std::min(complete + 1, kMostScans);
    std::vector<float> values(static_cast<size_t>(count));
    std::vector<float> times(values.size());
    const auto kind = static_cast<int16_t>(options->Pick(3));
    RawReadChrom(handle, function, process, 1, count, values.data(), times.data(), kind);
    RawReadChrom(handle, function, process, options->Take<int32_t>(), count, values.data(), nullptr,
                 kind);

    std::array<RawTraceWindow, 4> windows;
    for (RawTraceWindow& window : windows) {
      window = {options->Take<float>(), options->Take<float>(), options->Pick(2), 0, 0};
    }
    std::array<RawTrace, 3> traces = {RawTrace{options->Pick(2), 1, windows.data()},
                                      RawTrace{options->Pick(2), 2, windows.data() + 1},
                                      RawTrace{options->Pick(2), 1, windows.data() + 3}};
    float* const arrays[] = {values.data(), nullptr, values.data()};
    float* const time_arrays[] = {nullptr, times.data(), nullptr};
    RawReadChromTraces(handle, function, process, 1, count, 3, traces.data(), arrays, time_arrays);
  }
};

}  // namespace

void DescribeFunction(const RawFunctionRecord& record, Options* options) {
  std::array<char, 32> text;
  RawGetDataTypeDesc(&record, text.data());
  RawGetIonModeDesc(static_cast<int16_t>(RawGetFuncIonMode(&record)), text.data());
  float low = 0;
  float high = 0;
  float duration = 0;
  RawGetFuncTimeRange(&record, &low, &high);
  RawGetFuncMassRange(&record, &low, &high);
  RawFunctionRecord changed = record;
  for (int32_t segment = -2; segment <= RAW_MAX_SEGMENTS; ++segment) {
    if (RawReadGetFuncMassRange(&record, segment, &low, &high, &duration) == 0) continue;
    FUZZ_CHECK(RawReadSetFuncMassRange(&changed, segment, low, high, duration) == 1);
  }
  int32_t channels = 0;
  while (RawGetFuncChannel(&record, channels + 1, &low, &high) != 0) ++channels;
  FUZZ_CHECK(channels <= 32);
  const int32_t type = RawGetFuncType(&record);
  FUZZ_CHECK(DmRawIsChannelFuncType(type) >= DmRawIsSIRFuncType(type));
  DmRawIsExternalFuncType(type);
  RawFunctionCalibration calibration;
  RawIsRootMassCalibration(&record);
  RawCalibration none = {};
  RawFuncDefaultCalib(&none, &record, &calibration);
  RawReadSetFuncMassRange(&changed, options->Pick(40) - 2, options->Take<float>(),
                          options->Take<float>(), options->Take<float>());
}

void ReadFunction(int32_t handle, int16_t function, int16_t process,
                  const RawFunctionRecord& record, const RawCalibration* calibration,
                  Options* options) {
  int32_t complete = -1;
  if (RawReadScanCount(handle, function, process, &complete) != RAW_OK) return;
  FUZZ_CHECK(complete == RawGetFuncScanCount(&record));
  if (RawReadFuncInit(handle, function, process, &record, calibration) != RAW_OK) return;
  const Reader reader = {handle, function, process};
  reader.ReadScans(complete);
  int32_t count = 0;
  const auto wanted = static_cast<int32_t>(options->Take<uint8_t>());
  reader.Read(options->Take<int32_t>(), 1, wanted, 0, &count);
  reader.Read(1 + options->Pick(8), options->Take<uint16_t>(), wanted, options->Pick(2), &count);
  reader.ReadRun(complete, options);
  reader.ReadChromatograms(complete, options);
  int32_t scan = -1;
  if (RawReadTimeScan(handle, function, process, &record, options->Take<float>(), &scan) ==
      RAW_OK) {
    FUZZ_CHECK(scan >= std::min(complete, 1) && scan <= complete);
  }
  FUZZ_CHECK(RawReadFuncEnd(handle, function, process) == RAW_OK);
}

}  // namespace tervalon::fuzz
