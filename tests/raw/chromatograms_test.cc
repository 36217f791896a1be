// Chromatograms from the index, and traces against sums over spectra read one by one.

#include <gmock/gmock.h>

#include <cmath>
#include <ctime>

#include "tervalon/application.h"
#include "tests/support/point_model.h"
#include "tests/support/raw_fixture.h"
#include "tests/support/special_values.h"

namespace tervalon::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

constexpr int32_t kScans = 24;

RawTraceWindow MakeWindow(float low, float high, bool subtract = false) {
  return {low, high, subtract ? 1 : 0, 0, 0};
}

// Traces with their windows.
class Traces {
 public:
  void Add(int32_t kind, std::vector<RawTraceWindow> windows) {
    windows_.push_back(std::move(windows));
    kinds_.push_back(kind);
  }

  // Reads scans first .. first + count - 1; values are -1 where nothing was delivered.
  int32_t Extract(int32_t handle, int32_t first, int32_t count) {
    const auto elements = static_cast<size_t>(count);
    std::vector<RawTrace> traces;
    std::vector<float*> value_arrays;
    std::vector<float*> time_arrays;
    values.assign(windows_.size(), std::vector<float>(elements, -1));
    times.assign(windows_.size(), std::vector<float>(elements, -1));
    std::vector<std::vector<RawTraceWindow>> windows = windows_;
    for (size_t t = 0; t < windows_.size(); ++t) {
      traces.push_back({kinds_[t], static_cast<int16_t>(windows[t].size()), windows[t].data()});
      value_arrays.push_back(values[t].data());
      time_arrays.push_back(times[t].data());
    }
    return RawReadChromTraces(handle, 1, 0, first, count, static_cast<int16_t>(traces.size()),
                              traces.data(), value_arrays.data(), time_arrays.data());
  }

  // The same from a whole spectrum. Intensities are multiples of 1/8 of moderate size, whose sums
  // are exact in any order.
  float Model(size_t trace, const Spectrum& spectrum) const {
    double sum = 0;
    for (const RawTraceWindow& window : windows_[trace]) {
      for (size_t i = 0; i < spectrum.intensities.size(); ++i) {
        const bool points = kinds_[trace] == RAW_TRACE_POINTS;
        const double at = points ? static_cast<double>(i + 1) : spectrum.masses[i];
        const double low = points ? std::trunc(window.low) : window.low;
        const double high = points ? std::trunc(window.high) : window.high;
        if (at >= low && at <= high) sum += spectrum.intensities[i] * (window.subtract ? -1 : 1);
      }
    }
    return static_cast<float>(sum);
  }

  size_t size() const { return windows_.size(); }
  const std::vector<std::vector<RawTraceWindow>>& windows() const { return windows_; }

  std::vector<std::vector<float>> values;
  std::vector<std::vector<float>> times;

 private:
  std::vector<std::vector<RawTraceWindow>> windows_;
  std::vector<int32_t> kinds_;
};

class ChromatogramsTest : public RawTest {
 protected:
  // Scans of many sizes with unsorted points, segments and flags.
  std::vector<Scan> RandomScans(int32_t type) {
    std::vector<Scan> scans;
    for (int32_t s = 0; s < kScans; ++s) {
      Scan scan;
      const auto points = static_cast<uint32_t>(s % 5 == 4 ? random_() % 6000 : random_() % 40);
      for (uint32_t i = 0; i < points; ++i) {
        scan.masses.push_back(90 + static_cast<float>(random_() % 8192) / 8);
        const auto intensity = static_cast<float>(random_() % 20000) / 8;
        scan.intensities.push_back(type >= 4 && random_() % 4 == 0 ? -intensity : intensity);
        scan.flags.push_back(static_cast<uint8_t>(random_()));
      }
      scan.description.retention_time = static_cast<float>(s);
      scan.description.segment = static_cast<uint32_t>(random_() % 5);
      scan.description.flag_b = random_() % 5 == 0;
      scans.push_back(scan);
    }
    return scans;
  }

  float RandomEdge(const Spectrum& spectrum) {
    const auto choice = random_() % 3;
    if (choice == 0 || spectrum.masses.empty()) return static_cast<float>(random_() % 1300);
    // Exactly a point's mass, or the next float behind it.
    const float mass = spectrum.masses[random_() % spectrum.masses.size()];
    return choice == 1 ? mass : std::nextafterf(mass, kInfinity);
  }

  Traces RandomTraces() {
    Traces traces;
    traces.Add(RAW_TRACE_MASSES, {MakeWindow(-1e30f, 1e30f)});
    for (int t = 0; t < 12; ++t) {
      const auto pick = [&] {
        return Read(handle_, 1, 0, static_cast<int32_t>(1 + random_() % kScans));
      };
      std::vector<RawTraceWindow> windows;
      for (uint32_t w = 0; w < 1 + random_() % 3; ++w) {
        windows.push_back(MakeWindow(RandomEdge(pick()), RandomEdge(pick()), random_() % 3 == 0));
      }
      traces.Add(t % 4 == 3 ? RAW_TRACE_POINTS : RAW_TRACE_MASSES, windows);
    }
    const float odd = std::nanf("");
    const std::pair<float, float> kRanges[] = {
        {odd, 1000},    {100, odd},    {odd, odd}, {-5, 3.99f},
        {2.99f, 4},     {0.5f, 0.99f}, {3, 2},     {-kInfinity, kInfinity},
        {1e30f, 2e30f}, {-9, -3},      {1, 1},     {5, 4e9f}};
    for (const auto& [low, high] : kRanges) {
      traces.Add(RAW_TRACE_POINTS, {MakeWindow(low, high)});
      traces.Add(RAW_TRACE_MASSES, {MakeWindow(low, high)});
    }
    traces.Add(RAW_TRACE_MASSES, {});
    return traces;
  }

  // All traces of function 1, and its total ion current, against its spectra.
  void CheckTraces(bool whole_is_total) {
    Traces traces = RandomTraces();
    ASSERT_EQ(traces.Extract(handle_, 1, kScans), RAW_OK);
    for (int32_t s = 1; s <= kScans; ++s) {
      const Spectrum spectrum = Read(handle_, 1, 0, s);
      const auto i = static_cast<size_t>(s - 1);
      for (size_t t = 0; t < traces.size(); ++t) {
        ASSERT_EQ(traces.values[t][i], traces.Model(t, spectrum))
            << "scan " << s << " trace " << t << " from "
            << (traces.windows()[t].empty() ? 0 : traces.windows()[t][0].low);
        ASSERT_EQ(traces.times[t][i], spectrum.header.retention_time);
      }
      if (whole_is_total) {
        ASSERT_EQ(traces.values[0][i], spectrum.header.total_ion_current);
      }
    }
  }
};

TEST_F(ChromatogramsTest, IndexChromatograms) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    MakeRun({RecordFor(type)}, {RandomScans(type)});
    OpenFunction();
    std::vector<float> totals(kScans);
    std::vector<float> peaks(kScans);
    std::vector<float> times(kScans);
    ASSERT_EQ(RawReadChrom(handle_, 1, 0, 1, kScans, totals.data(), times.data(), 1), RAW_OK);
    ASSERT_EQ(RawReadChrom(handle_, 1, 0, 1, kScans, peaks.data(), nullptr, 2), RAW_OK);
    for (int32_t s = 1; s <= kScans; ++s) {
      const RawScanHeader header = Read(handle_, 1, 0, s).header;
      const auto i = static_cast<size_t>(s - 1);
      EXPECT_EQ(totals[i], header.total_ion_current);
      EXPECT_EQ(peaks[i], header.base_peak_intensity);
      EXPECT_EQ(times[i], header.retention_time);
    }
    std::vector<float> other(3);
    ASSERT_EQ(RawReadChrom(handle_, 1, 0, 7, 3, other.data(), nullptr, 99), RAW_OK);
    EXPECT_THAT(other, ElementsAre(totals[6], totals[7], totals[8]));
  }
}

TEST_F(ChromatogramsTest, TracesOfEveryTypeAreSumsOfSpectra) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    std::vector<Scan> scans = RandomScans(type);
    const bool channels = type == RAW_DATA_SIR || type == RAW_DATA_ENHANCED_SIR;
    for (Scan& scan : scans) {
      if (channels) scan.intensities.resize(std::min<size_t>(scan.intensities.size(), 6));
    }
    MakeRun({RecordFor(type)}, {scans});
    OpenFunction();
    CheckTraces(true);
  }
}

TEST_F(ChromatogramsTest, TracesOfCalibratedMasses) {
  const auto set = [](std::vector<double> coefficients, int32_t type = 0) {
    RawCaliCoeffs made = {};
    made.order = static_cast<int32_t>(coefficients.size()) - 1;
    std::copy(coefficients.begin(), coefficients.end(), made.coefficients);
    made.type = type;
    return made;
  };
  const double odd = std::nan("");
  const struct {
    std::vector<RawCaliCoeffs> segments;
    std::vector<RawCaliCoeffs> modification;
  } kCalibrations[] = {
      {{set({1, 1.01})}, {}},
      {{set({-0.00031, 1.0000412, -1.37e-6, 2.2e-8}, 1)}, {}},
      {{set({0.5, 0.999}, 1)}, {set({-1, 1.02, 1e-5})}},
      {{set({0, 2, -0.0015})}, {}},            // turns round at 667
      {{set({2000, -1})}, {}},                 // falls
      {{set({500})}, {}},                      // all masses the same
      {{set({20, -1.5, 0.05}, 1)}, {}},        // turns round in root mass
      {{set({1, 1})}, {set({0, 2, -0.002})}},  // the modification turns round
      {{set({0, 1e308, 1e308})}, {}},          // not finite
      {{set({odd, 1})}, {}},
      {{set({-40, 1}, 1)}, {}},  // squares of negative roots
      {{set({0, 1}), set({3, 1}), set({0, 1.1, -0.0006}), set({12, 1.1}, 1)}, {}},
  };
  for (const auto& given : kCalibrations) {
    SCOPED_TRACE(&given - kCalibrations);
    auto calibration = std::make_unique<RawCalibration>();
    calibration->function_count = 1;
    RawFunctionCalibration& function = calibration->functions[0];
    function.segment_count = static_cast<int32_t>(given.segments.size());
    std::copy(given.segments.begin(), given.segments.end(), function.segments);
    function.has_modification = given.modification.empty() ? 0 : 1;
    if (!given.modification.empty()) function.modification = given.modification[0];
    for (const int16_t type : {RAW_DATA_STANDARD_CENTROID, RAW_DATA_CONTINUUM, RAW_DATA_FLOAT}) {
      SCOPED_TRACE(type);
      MakeRun({RecordFor(type)}, {RandomScans(type)});
      OpenFunction(calibration.get());
      CheckTraces(true);
      if (HasFailure()) return;
    }
  }
}

TEST_F(ChromatogramsTest, RangesThatFallOrAreNone) {
  for (const auto& [low, high] :
       std::vector<std::pair<float, float>>{{1100, 100}, {300, 300}, {0, 0}, {-100, 200}}) {
    SCOPED_TRACE(low);
    MakeRun({ScanningRecord(3, low, high)}, {RandomScans(3)});
    OpenFunction();
    CheckTraces(true);
  }
}

// A caller's trace tells afterwards which channels it stands for, and sums the same again.
TEST_F(ChromatogramsTest, MassTracesOfChannelsBecomePointRanges) {
  Scan scan;
  // At 150.5, 90.25, 300, 210.75, 90.5, 410, and behind the channels.
  scan.intensities = {1, 2, 4, 8, 16, 32, 64};
  for (const int16_t type : {RAW_DATA_SIR, RAW_DATA_ENHANCED_SIR, RAW_DATA_CONTINUUM}) {
    SCOPED_TRACE(type);
    const bool channels = type != RAW_DATA_CONTINUUM;
    MakeRun({RecordFor(type)}, {{scan}});
    OpenFunction();
    std::vector<RawTraceWindow> windows = {MakeWindow(90, 91),  // channels 2 and 5
                                           MakeWindow(200, 310), MakeWindow(410, 410, true),
                                           MakeWindow(91, 150), MakeWindow(5.5f, 99.5f)};
    const std::vector<RawTraceWindow> given = windows;
    // The last shares a window with the second.
    RawTrace traces[] = {{RAW_TRACE_MASSES, 1, windows.data()},
                         {7, 3, windows.data() + 1},
                         {RAW_TRACE_POINTS, 1, windows.data() + 4},
                         {RAW_TRACE_MASSES, 0, nullptr},
                         {RAW_TRACE_MASSES, 1, windows.data() + 1}};
    float values[5] = {};
    float* arrays[] = {values, values + 1, values + 2, values + 3, values + 4};
    const auto extract = [&] {
      EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, 1, 5, traces, arrays, nullptr), RAW_OK);
      return std::vector<float>(values, values + 5);
    };
    const std::vector<float> sums = extract();
    if (channels) {
      EXPECT_THAT(sums, ElementsAre(18, 12 - 32, 112, 0, 12));
    }
    EXPECT_EQ(windows[2].started, 1);
    std::vector<std::pair<float, float>> bounds;
    for (const RawTraceWindow& window : windows) bounds.emplace_back(window.low, window.high);
    const std::vector<std::pair<float, float>> converted = {
        {90, 91}, {3, 4}, {6, 6}, {1, 0}, {5.5f, 99.5f}};
    for (size_t w = 0; w < windows.size(); ++w) {
      EXPECT_EQ(bounds[w], channels ? converted[w] : std::pair(given[w].low, given[w].high)) << w;
    }
    std::vector<int32_t> kinds;
    for (const RawTrace& trace : traces) kinds.push_back(trace.kind);
    EXPECT_EQ(kinds, channels ? std::vector({0, 1, 1, 1, 1}) : std::vector({0, 7, 1, 0, 0}));
    EXPECT_EQ(extract(), sums);
  }
}

TEST_F(ChromatogramsTest, StopsAtTheFirstScanThatIsNotThere) {
  MakeRun({ScanningRecord(3)}, {{NumberedScan(1, 20), NumberedScan(2, 20), NumberedScan(3, 20)}});
  OpenFunction();
  std::vector<float> values(5, -1);
  std::vector<float> times(5, -1);
  EXPECT_EQ(RawReadChrom(handle_, 1, 0, 2, 5, values.data(), times.data(), 1), RAW_SCAN_ABSENT);
  EXPECT_THAT(times, ElementsAre(0.125f, 0.1875f, -1, -1, -1));
  EXPECT_THAT(std::vector(values.begin() + 2, values.end()), Each(-1));
  Traces traces;
  traces.Add(RAW_TRACE_MASSES, {MakeWindow(0, 1e6f)});
  EXPECT_EQ(traces.Extract(handle_, 2, 5), RAW_SCAN_ABSENT);
  EXPECT_THAT(traces.values[0], ElementsAre(values[0], values[1], -1, -1, -1));
  EXPECT_THAT(traces.times[0], ElementsAre(0.125f, 0.1875f, -1, -1, -1));
  EXPECT_EQ(RawReadChrom(handle_, 1, 0, 4, 1, values.data(), nullptr, 1), RAW_SCAN_ABSENT);
  EXPECT_EQ(RawReadChrom(handle_, 1, 0, INT32_MAX, INT32_MAX, nullptr, nullptr, 1),
            RAW_SCAN_ABSENT);
  EXPECT_EQ(RawReadChrom(handle_, 1, 0, 1, 0, nullptr, nullptr, 1), RAW_OK);
  EXPECT_EQ(RawReadChrom(handle_, 1, 0, 0, 1, nullptr, nullptr, 1), RAW_SCAN_ABSENT);
  EXPECT_EQ(traces.Extract(handle_, -1, 3), RAW_SCAN_ABSENT);
  EXPECT_EQ(RawReadChrom(handle_, 1, 0, 1, -1, nullptr, nullptr, 1), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawReadChrom(handle_, 2, 0, 1, 1, nullptr, nullptr, 1), RAW_SCAN_BUFFER_ABSENT);

  // Arrays and windows may be left out; what cannot be is checked.
  RawTraceWindow window = MakeWindow(0, 1e6f);
  RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
  float* none[1] = {nullptr};
  EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, 3, 1, &trace, nullptr, nullptr), RAW_OK);
  EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, 3, 1, &trace, none, none), RAW_OK);
  EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, 3, 1, nullptr, none, none), RAW_BAD_ARGUMENT);
  EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, 3, -1, &trace, none, none), RAW_BAD_ARGUMENT);
  trace.windows = nullptr;
  EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, 3, 1, &trace, none, none), RAW_BAD_ARGUMENT);
}

TEST_F(ChromatogramsTest, ProgressAndYields) {
  MakeRun({ScanningRecord(3)}, {RandomScans(3)});
  OpenFunction();
  RecordProgress();
  int32_t yields = 0;
  AppSetYield([](void* user) TERVALON_CALL { ++*static_cast<int32_t*>(user); }, &yields);
  ASSERT_EQ(RawReadChrom(handle_, 1, 0, 1, 4, nullptr, nullptr, 1), RAW_OK);
  EXPECT_THAT(progress_, ElementsAre(0, 50, 75, 100, 100, 100));
  for (const int32_t count : {5, 6, 23, 24}) {
    Traces traces;
    traces.Add(RAW_TRACE_MASSES, {MakeWindow(0, 1e6f)});
    progress_.clear();
    yields = 0;
    ASSERT_EQ(traces.Extract(handle_, 1, count), RAW_OK);
    EXPECT_EQ(yields, count / 6);
    EXPECT_EQ(progress_.size(), static_cast<size_t>(count));
    EXPECT_EQ(progress_.back(), 100);
  }
  AppSetYield(nullptr, nullptr);
}

TEST_F(ChromatogramsTest, CallbacksMayEndWhatIsRead) {
  MakeRun({ScanningRecord(3)}, {RandomScans(3)});
  OpenFunction();
  Traces traces;
  traces.Add(RAW_TRACE_MASSES, {MakeWindow(0, 1e6f)});
  // Ended and begun again it is another reader.
  std::pair<int32_t, RawFunctionRecord> run = {handle_, record_};
  AppSetYield(
      [](void* user) TERVALON_CALL {
        const auto& [handle, record] = *static_cast<decltype(run)*>(user);
        RawReadFuncEnd(handle, 1, 0);
        RawReadFuncInit(handle, 1, 0, &record, nullptr);
      },
      &run);
  EXPECT_EQ(traces.Extract(handle_, 1, kScans), RAW_SCAN_BUFFER_ABSENT);
  EXPECT_EQ(traces.values[0][5], -1);
  AppSetYield(nullptr, nullptr);
  RawUpdateInit(
      [](int32_t, void* handle)
          TERVALON_CALL -> int32_t { return RawReadClose(*static_cast<int32_t*>(handle)); },
      &handle_);
  EXPECT_EQ(RawReadChrom(handle_, 1, 0, 1, kScans, nullptr, nullptr, 1), RAW_HANDLE_NOT_OPEN);
}

// --- what is read for an answer

TEST_F(ChromatogramsTest, PassesReadLargeBlocksAndWindowsReadLittle) {
  FaultyFileSystem& files = UseFaultyFiles();
  files.OnlyPathsWith("_FUNC001.DAT");
  for (const int32_t type : {RAW_DATA_STANDARD_CENTROID, RAW_DATA_CONTINUUM}) {
    SCOPED_TRACE(type);
    const uint32_t scans = type == RAW_DATA_CONTINUUM ? 100 : 600;
    const uint32_t points = type == RAW_DATA_CONTINUUM ? 30000 : 2000;
    std::vector<Scan> run;
    for (uint32_t s = 0; s < scans; ++s) run.push_back(NumberedScan(s, points));
    MakeRun({ScanningRecord(type)}, {run});
    const auto bytes = ReadFile(Path("_FUNC001.DAT")).size();
    const auto enough_calls = static_cast<int64_t>(bytes / 65536 + 2);
    OpenFunction();
    const auto measure = [&](auto pass) {
      const int64_t calls = files.Calls(FileCall::kRead);
      const uint64_t before = files.bytes_read();
      pass();
      return std::pair(files.Calls(FileCall::kRead) - calls, files.bytes_read() - before);
    };
    const auto read_all = [&] {
      for (uint32_t s = 1; s <= scans; ++s) Read(handle_, 1, 0, static_cast<int32_t>(s));
    };
    const auto trace = [&](float low, float high) {
      Traces traces;
      traces.Add(RAW_TRACE_MASSES, {MakeWindow(low, high)});
      ASSERT_EQ(traces.Extract(handle_, 1, static_cast<int32_t>(scans)), RAW_OK);
    };
    EXPECT_LE(measure(read_all).first, enough_calls);
    const auto whole = measure([&] { trace(0, 1e6f); });
    EXPECT_LE(whole.first, enough_calls);
    EXPECT_LE(whole.second, bytes + bytes / 10);
    EXPECT_LE(files.largest_read(), size_t{1} << 20);
    if (type == 3) {
      const auto narrow = measure([&] { trace(500, 505); });
      EXPECT_LE(narrow.second, bytes / 50);
    }
    const auto single = measure([&] { Read(handle_, 1, 0, 50); });
    EXPECT_LE(single.second, 3 * bytes / scans) << "one spectrum by itself";
  }
}

// --- What small files can ask for is bounded by their size, or ended by the callback.

// Every record claims millions of points, no two as many, all over the file, and masses fall: one
// scan costs no more than the file has.
TEST_F(ChromatogramsTest, AnIndexThatClaimsEverything) {
  for (const int16_t type : kStoredTypes) {
    SCOPED_TRACE(type);
    std::vector<IndexEntry> entries;
    for (uint32_t i = 0; i < 2000; ++i)
      entries.push_back({i % 3 == 0 ? 0xFFFFFFFF : i, 0xFFFFFFFF - i});
    RawFunctionRecord record = RecordFor(type);
    if (type != 2 && type != 11) record = ScanningRecord(type, 1100, 100);
    Bytes data(3000);
    for (uint8_t& byte : data) byte = static_cast<uint8_t>(random_());
    MakeRun(record, IndexBytes(entries), data);
    const std::clock_t start = std::clock();
    OpenFunction();
    EXPECT_EQ(Get<uint32_t>(record_, 18), 1u);
    RawTraceWindow window = MakeWindow(0, 1e6f);
    RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
    std::vector<float> values(2000);
    float* arrays[1] = {values.data()};
    EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, 2000, 1, &trace, arrays, nullptr), RAW_OK);
    EXPECT_LE(Read(handle_, 1, 0, 2).intensities.size(), 6000u);
    EXPECT_EQ(Read(handle_, 1, 0, 1).intensities.size(), 0u) << "data behind the file";
    EXPECT_LT(std::clock() - start, 20 * CLOCKS_PER_SEC) << "processor time";
  }
}

// Small files can ask for much work: thousands of scans that share their points. Whoever is told of
// the progress can end it.
TEST_F(ChromatogramsTest, SharedPointsAreReadUntilTheCallbackEndsIt) {
  constexpr uint32_t kPoints = 1000000;
  constexpr int32_t kRecords = 3000;
  MakeRun(ScanningRecord(RAW_DATA_CONTINUUM),
          IndexBytes(std::vector<IndexEntry>(kRecords, {0, kPoints})), Bytes(2 * kPoints, 1));
  OpenFunction();
  EXPECT_EQ(Get<uint32_t>(record_, 18), static_cast<uint32_t>(kRecords));
  RawTraceWindow window = MakeWindow(0, 1e6f);
  RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
  std::vector<float> values(kRecords, -1);
  float* arrays[1] = {values.data()};
  RawUpdateInit(
      [](int32_t percent, void* handle) TERVALON_CALL -> int32_t {
        if (percent >= 1) RawReadFuncEnd(*static_cast<int32_t*>(handle), 1, 0);
        return 0;
      },
      &handle_);
  EXPECT_EQ(RawReadChromTraces(handle_, 1, 0, 1, kRecords, 1, &trace, arrays, nullptr),
            RAW_SCAN_BUFFER_ABSENT);
  EXPECT_GE(values[0], 0);
  EXPECT_EQ(values[kRecords / 50], -1) << "at one percent it has to end";
}

}  // namespace
}  // namespace tervalon::testing
