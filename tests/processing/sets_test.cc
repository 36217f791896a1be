// Steps whose results are stored, and done again from the history.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_system.h"
#include "tervalon/linearisation.h"
#include "tervalon/memory.h"
#include "tervalon/processing_sets.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_history.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

constexpr uint32_t kSetScans = 40;

// A function with peaks in masses and in time, nothing in the first scans.
std::vector<Scan> PeakedScans() {
  std::vector<Scan> scans;
  for (uint32_t i = 0; i < kSetScans; ++i) {
    Scan scan = NumberedScan(i, 300);
    for (size_t k = 0; k < scan.intensities.size(); ++k) {
      const double mass = (static_cast<double>(k % 50) - 25) / 4;
      const double time = (static_cast<double>(i) - 20) / 5;
      const double height = 900 * std::exp(-mass * mass - time * time);
      const auto noise = static_cast<double>((k * 7 + i) % 5);
      scan.intensities[k] = i < 12 ? 0 : static_cast<float>(std::floor(height + noise));
    }
    scans.push_back(scan);
  }
  return scans;
}

PrcStep CombineStep(int32_t first, int32_t last) {
  PrcStep step = {};
  step.type = RAW_STEP_COMBINE;
  step.combining.scans[0] = {first, last};
  return step;
}

PrcStep SmoothStep(int32_t scan, int32_t trace = PRC_TRACE_NONE) {
  PrcStep step = {};
  step.type = RAW_STEP_SMOOTH;
  step.smoothing = {PRC_SMOOTH_SAVITZKY_GOLAY, 3, 2, 2};
  step.scan = scan;
  step.trace = trace;
  return step;
}

PrcStep CenterStep(int32_t scan) {
  PrcStep step = {};
  step.type = RAW_STEP_CENTER;
  step.centroiding = {PRC_THRESHOLD_PERCENT, 5, 0.1F, 0.8F, 0, PRC_INTENSITY_AREA};
  step.scan = scan;
  return step;
}

struct Points {
  std::vector<float> positions;
  std::vector<float> intensities;
};

class SetsTest : public RawTest {
 protected:
  void Make(int32_t data_type) {
    MakeRun({ScanningRecord(data_type)}, {PeakedScans()});
    WriteText(Path("_HEADER.TXT"), "$$ Version: 01.00\r\n");
    OpenFunction();
  }

  int16_t Save(int16_t process, const PrcStep& step) {
    int16_t saved = 0;
    EXPECT_EQ(PrcSaveStep(handle_, 1, process, &step, &saved), PRC_OK);
    return saved;
  }

  // What a set holds, as any reader sees it.
  Points ReadSet(int16_t process, int32_t type, bool trace = false) {
    int16_t function = 0;
    RawFunctionRecord record;
    EXPECT_EQ(RawReadProcFunction(handle_, process, &function, &record), RAW_OK);
    EXPECT_EQ(function, 1);
    EXPECT_EQ(RawGetFuncDataType(&record), type);
    EXPECT_EQ(RawReadFuncInit(handle_, 1, process, &record, nullptr), RAW_OK);
    Points points;
    const int32_t scans = RawGetFuncScanCount(&record);
    if (trace) {
      points.positions.resize(static_cast<size_t>(scans));
      points.intensities.resize(static_cast<size_t>(scans));
      EXPECT_EQ(RawReadChrom(handle_, 1, process, 1, scans, points.intensities.data(),
                             points.positions.data(), RAW_CHROM_TOTAL_ION),
                RAW_OK);
    } else {
      EXPECT_EQ(scans, 1);
      const Spectrum spectrum = Read(handle_, 1, process, 1);
      points = {spectrum.masses, spectrum.intensities};
    }
    EXPECT_EQ(RawReadFuncEnd(handle_, 1, process), RAW_OK);
    return points;
  }

  Bytes FilesOf(int16_t process) const {
    char name[32];
    std::snprintf(name, sizeof(name), "_PROC%03d", process);
    Bytes bytes = ReadFile(Path(std::string(name) + ".DAT"));
    const Bytes index = ReadFile(Path(std::string(name) + ".IDX"));
    bytes.insert(bytes.end(), index.begin(), index.end());
    return bytes;
  }

  RawHistoryEntry EntryOf(int16_t process) {
    RawHistoryHeader header = {};
    std::vector<RawHistoryEntry> entries(RAW_HISTORY_ENTRIES);
    EXPECT_EQ(RawReadProcInfo(handle_, &header, entries.data()), RAW_OK);
    char name[32];
    std::snprintf(name, sizeof(name), "_PROC%03d", process);
    const int32_t found = RawHistSearchTag(&header, entries.data(), 1, name);
    EXPECT_NE(found, 0) << name;
    return entries[static_cast<uint32_t>(found) >> 16];
  }

  // Enters a set into the history, with what another program says of it.
  void Enter(int16_t process, uint16_t type, const std::vector<uint32_t>& fields) {
    RawHistoryHeader header = {};
    std::vector<RawHistoryEntry> entries(RAW_HISTORY_ENTRIES);
    RawReadProcInfo(handle_, &header, entries.data());
    RawHistoryEntry entry = {};
    std::snprintf(entry.process.name, sizeof(entry.process.name), "_PROC%03d", process);
    entry.process.type = type;
    for (size_t i = 0; i < fields.size(); ++i) {
      std::memcpy(&entry.process.parameters[4 * i], &fields[i], sizeof(fields[i]));
    }
    ASSERT_EQ(RawHistAddProcess(&header, entries.data(), 1, 0, &entry), RAW_OK);
    ASSERT_EQ(RawHistUpdateInfo(handle_, &header, entries.data()), RAW_OK);
  }

  // Every file of the directory with its content.
  std::vector<std::pair<std::string, Bytes>> AllFiles() const {
    std::vector<platform::DirectoryEntry> entries;
    EXPECT_TRUE(platform::Files().List(Path(), &entries));
    std::vector<std::pair<std::string, Bytes>> files;
    for (const auto& entry : entries) files.emplace_back(entry.name, ReadFile(Path(entry.name)));
    std::sort(files.begin(), files.end());
    return files;
  }
};

struct ChainStep {
  int16_t source;
  PrcStep step;
  const char* description;
};

std::vector<ChainStep> Chain() {
  PrcStep sum = CombineStep(15, 22);
  sum.combining.method = PRC_COMBINE_SUM;
  sum.combining.scans[2] = {25, 26};
  sum.combining.background[0] = {30, 39};
  sum.combining.factor = 0.5F;
  sum.combining.points = PRC_POINTS_CENTROIDS;
  sum.combining.tolerance = 300;
  sum.combining.tolerance_in_ppm = 1;
  PrcStep masses = SmoothStep(0, PRC_TRACE_MASSES);
  masses.smoothing = {PRC_SMOOTH_MEAN, 1, 1, 0};
  masses.low = 150;
  masses.high = 210;
  masses.grid = 0.04F;
  return {{0, CombineStep(10, 30), "Combine (10:30)"},
          {1, SmoothStep(1), "Smooth (SG,3x2)"},
          {2, CenterStep(1), "Center"},
          {0, CenterStep(20), "Center"},
          {0, sum, "Combine (15:22+25:26-(30:39)x0.5)"},
          {0, SmoothStep(0, PRC_TRACE_TOTAL_ION), "Smooth (SG,3x2)"},
          {0, SmoothStep(0, PRC_TRACE_BASE_PEAK), "Smooth (SG,3x2)"},
          {0, masses, "Smooth (Mean,1x1)"},
          {6, SmoothStep(0, PRC_TRACE_TOTAL_ION), "Smooth (SG,3x2)"}};
}

TEST_F(SetsTest, AreInTheHistoryAndComeOutTheSameAgain) {
  for (const int32_t type : {RAW_DATA_CONTINUUM, RAW_DATA_ENHANCED_MASS, RAW_DATA_FLOAT}) {
    SCOPED_TRACE(type);
    Make(type);
    const std::vector<ChainStep> chain = Chain();
    for (size_t i = 0; i < chain.size(); ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(Save(chain[i].source, chain[i].step), static_cast<int16_t>(i + 1));
    }
    for (size_t i = 0; i < chain.size(); ++i) {
      SCOPED_TRACE(i);
      const auto process = static_cast<int16_t>(i + 1);
      const ChainStep& made = chain[i];
      const RawHistoryEntry entry = EntryOf(process);
      char text[80];
      RawHistDescription(&entry.process, RAW_DESCRIBE_NAME, text, sizeof(text));
      EXPECT_STREQ(text, made.description);
      EXPECT_NEAR(entry.process.created, static_cast<double>(std::time(nullptr)), 100);
      EXPECT_EQ(entry.parent, made.source != 0 ? EntryOf(made.source).index : 0);

      int16_t function = 0;
      int16_t source = -1;
      PrcStep step = {};
      EXPECT_EQ(PrcReadStep(handle_, process, &function, &source, &step), PRC_OK);
      EXPECT_EQ(function, 1);
      EXPECT_EQ(source, made.source);
      EXPECT_EQ(std::memcmp(&step, &made.step, sizeof(step)), 0);

      int16_t again = 0;
      EXPECT_EQ(PrcRepeat(handle_, process, &again), PRC_OK);
      EXPECT_EQ(again, static_cast<int16_t>(chain.size() + i + 1));
      EXPECT_EQ(FilesOf(again), FilesOf(process));
      EXPECT_FALSE(FilesOf(process).empty());
    }
    CloseRun();
    int32_t problems = -1;
    EXPECT_EQ(RawCheckDirectory(Path().c_str(), nullptr, nullptr, &problems), RAW_OK);
    EXPECT_EQ(problems, 0);
  }
}

TEST_F(SetsTest, HoldWhatTheStepsGive) {
  Make(RAW_DATA_CONTINUUM);
  const PrcStep mean = CombineStep(18, 22);
  PrcSpectrum spectrum = {};
  ASSERT_EQ(PrcCombine(handle_, 1, 0, &mean.combining, &spectrum), PRC_OK);
  const Points stored = ReadSet(Save(0, mean), RAW_DATA_ENHANCED_MASS);
  const auto* const masses = static_cast<const float*>(TvMemLock(spectrum.masses));
  const auto* const intensities = static_cast<const float*>(TvMemLock(spectrum.intensities));
  ASSERT_EQ(stored.positions.size(), static_cast<size_t>(spectrum.count));
  for (size_t i = 0; i < stored.positions.size(); ++i) {
    EXPECT_EQ(stored.positions[i], masses[i]);
    EXPECT_NEAR(stored.intensities[i], intensities[i], 1e-6 * (1 + intensities[i]));
  }
  for (const TvMemory block : {spectrum.masses, spectrum.intensities}) {
    TvMemUnlock(block);
    TvMemFree(block);
  }

  const PrcStep center = CenterStep(20);
  Spectrum peaks = Read(handle_, 1, 0, 20);
  int32_t count = 0;
  ASSERT_EQ(PrcCentroid(&center.centroiding, peaks.masses.data(), peaks.intensities.data(),
                        static_cast<int32_t>(peaks.masses.size()), peaks.masses.data(),
                        peaks.intensities.data(), &count),
            PRC_OK);
  ASSERT_GT(count, 3);
  peaks.masses.resize(static_cast<size_t>(count));
  peaks.intensities.resize(static_cast<size_t>(count));
  const Points centroids = ReadSet(Save(0, center), RAW_DATA_FLOAT);
  EXPECT_EQ(centroids.positions, peaks.masses);
  EXPECT_EQ(centroids.intensities, peaks.intensities);

  const PrcStep trace = SmoothStep(0, PRC_TRACE_TOTAL_ION);
  Points total = {std::vector<float>(kSetScans), std::vector<float>(kSetScans)};
  ASSERT_EQ(RawReadChrom(handle_, 1, 0, 1, kSetScans, total.intensities.data(),
                         total.positions.data(), RAW_CHROM_TOTAL_ION),
            RAW_OK);
  PrcStep on_grid = trace;
  on_grid.grid = 0.0401F;
  LinDataset grid = {};
  ASSERT_EQ(LineariseDataset(total.positions.data(), total.intensities.data(), kSetScans,
                             on_grid.grid, &grid),
            0);
  std::vector<float> resampled(grid.count);
  ASSERT_EQ(PrcSmooth(&trace.smoothing, nullptr, static_cast<float*>(TvMemLock(grid.values)),
                      static_cast<int32_t>(grid.count), resampled.data()),
            PRC_OK);
  TvMemUnlock(grid.values);
  TvMemFree(grid.values);
  ASSERT_EQ(PrcSmooth(&trace.smoothing, total.positions.data(), total.intensities.data(), kSetScans,
                      total.intensities.data()),
            PRC_OK);
  const Points chromatogram = ReadSet(Save(0, trace), RAW_DATA_FLOAT, true);
  EXPECT_EQ(chromatogram.positions, total.positions);
  EXPECT_EQ(chromatogram.intensities, total.intensities);
  EXPECT_EQ(ReadSet(Save(0, on_grid), RAW_DATA_FLOAT, true).intensities, resampled);

  // The data manager reads them as other sets.
  DmRawDescriptor descriptor = {};
  std::snprintf(descriptor.directory, sizeof(descriptor.directory), "%s", Path().c_str());
  descriptor.function = 1;
  descriptor.process = 2;
  descriptor.kind = DM_RAW_SPECTRUM;
  descriptor.scan = 1;
  descriptor.selection = DM_SELECT_SCAN | DM_SELECT_DATA_TYPE(RAW_DATA_FLOAT);
  EXPECT_EQ(DmRawRead(&descriptor, 0, 1, 0, nullptr), 0);
  EXPECT_EQ(descriptor.element_count, static_cast<uint32_t>(count));
  void* const items[] = {peaks.masses.data(), peaks.intensities.data(), nullptr, nullptr};
  std::fill(peaks.masses.begin(), peaks.masses.end(), 0.0F);
  EXPECT_EQ(DmRawRead(&descriptor, 0, 1, count, items), 0);
  EXPECT_EQ(peaks.masses, centroids.positions);
  EXPECT_EQ(peaks.intensities, centroids.intensities);
  DmRawRelease(&descriptor, 0, 0, 0, nullptr);
}

TEST_F(SetsTest, RefusedWithNothingWritten) {
  Make(RAW_DATA_CONTINUUM);
  Save(0, CombineStep(1, 5));
  Save(0, SmoothStep(0, PRC_TRACE_TOTAL_ION));
  Enter(50, RAW_STEP_COMBINE, {});                             // as not known
  Enter(51, RAW_STEP_REFINE, {5, 1});                          // nothing that is done here
  Enter(52, RAW_STEP_SMOOTH, {1, 2, 3});                       // of what, it does not say
  Enter(53, RAW_STEP_SMOOTH, {1, 2, 3, 2, 1, 0, 0, 0, 0, 7});  // with something more
  Enter(54, RAW_STEP_COMBINE, {1, 2, 0, 0, 0, 0, 0, 2});       // a method that there is not
  Enter(55, RAW_STEP_CENTER, {0, 0, 0, 0, 0, 0, 1});           // a top of nothing
  Enter(56, RAW_STEP_COMBINE, {1, 500});                       // scans that there are not
  const auto before = AllFiles();
  int16_t saved = -1;
  for (const int16_t process : std::initializer_list<int16_t>{3, 50, 51, 52, 53, 54, 55}) {
    EXPECT_EQ(PrcRepeat(handle_, process, &saved), PRC_STEP_UNKNOWN) << process;
    EXPECT_EQ(PrcReadStep(handle_, process, nullptr, nullptr, nullptr), PRC_STEP_UNKNOWN);
  }
  EXPECT_EQ(PrcRepeat(handle_, 56, &saved), RAW_SCAN_ABSENT);
  EXPECT_EQ(PrcRepeat(handle_, 0, &saved), PRC_BAD_ARGUMENT);

  struct Case {
    int32_t code;
    int16_t process;
    PrcStep step;
  };
  const auto with = [](PrcStep step, const auto& change) {
    change(&step);
    return step;
  };
  const Case cases[] = {
      {PRC_NO_SCANS, 0, CombineStep(0, 0)},
      {RAW_SCAN_ABSENT, 0, CombineStep(39, 41)},
      {RAW_MEMBER_NOT_OPENED, 9, CombineStep(1, 1)},
      {PRC_BAD_ARGUMENT, 0, with(CombineStep(1, 2), [](PrcStep* s) { s->type = 0; })},
      {PRC_BAD_ARGUMENT, 0, CombineStep(2, 1)},
      {PRC_BAD_ARGUMENT, 0, SmoothStep(0)},
      {PRC_BAD_ARGUMENT, 0, SmoothStep(1, PRC_TRACE_TOTAL_ION)},
      {PRC_BAD_ARGUMENT, 0, SmoothStep(0, 4)},
      {PRC_BAD_ARGUMENT, 0, with(SmoothStep(1), [](PrcStep* s) { s->grid = -1; })},
      {PRC_BAD_ARGUMENT, 0, with(SmoothStep(1), [](PrcStep* s) { s->grid = 1e-20F; })},
      {PRC_BAD_ARGUMENT, 0, with(SmoothStep(1), [](PrcStep* s) { s->grid = NAN; })},
      {PRC_BAD_ARGUMENT, 0, with(SmoothStep(0, PRC_TRACE_MASSES), [](PrcStep* s) { s->low = 2; })},
      {PRC_BAD_WINDOW, 0, with(SmoothStep(1), [](PrcStep* s) { s->smoothing.half_width = 0; })},
      {PRC_TOO_FEW_POINTS, 0,
       with(SmoothStep(1), [](PrcStep* s) { s->smoothing.half_width = 150; })},
      {PRC_TOO_FEW_POINTS, 2, SmoothStep(1)},
      {RAW_SCAN_ABSENT, 1, SmoothStep(2)},
      {PRC_BAD_ARGUMENT, 0, CenterStep(0)},
      {PRC_BAD_ARGUMENT, 0, with(CenterStep(1), [](PrcStep* s) { s->centroiding.rise = 2; })},
      {PRC_TOO_FEW_POINTS, 0, with(CenterStep(20), [](PrcStep* s) {  // no peaks
         s->centroiding.threshold_unit = PRC_THRESHOLD_INTENSITY;
         s->centroiding.threshold = 1e6F;
       })}};
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(PrcSaveStep(handle_, 1, cases[i].process, &cases[i].step, &saved), cases[i].code)
        << i;
  }
  const PrcStep step = CombineStep(1, 2);
  EXPECT_EQ(PrcSaveStep(handle_, 2, 0, &step, &saved), RAW_BAD_ARGUMENT);  // no such function
  EXPECT_EQ(PrcSaveStep(handle_, 33, 0, &step, &saved), PRC_BAD_ARGUMENT);
  EXPECT_EQ(PrcSaveStep(19, 1, 0, &step, &saved), RAW_HANDLE_NOT_OPEN);
  EXPECT_EQ(saved, -1);
  EXPECT_EQ(AllFiles(), before);
}

TEST_F(SetsTest, TakeTheLowestFreeNumber) {
  Make(RAW_DATA_CONTINUUM);
  const PrcStep step = CombineStep(1, 2);
  WriteFile(Path("_PROC001.DAT"), {1, 2, 3});  // whosever they are
  WriteFile(Path("_PROC002.IDX"), {});
  Enter(3, RAW_STEP_MODIFY, {});
  EXPECT_EQ(Save(0, step), 4);
  EXPECT_EQ(Save(0, step), 5);
  for (int32_t i = 6; i <= RAW_MAX_PROCESSES; ++i) {
    char name[32];
    std::snprintf(name, sizeof(name), "_PROC%03d.DAT", i);
    WriteFile(Path(name), {});
  }
  int16_t saved = -1;
  EXPECT_EQ(PrcSaveStep(handle_, 1, 0, &step, &saved), PRC_NO_FREE_SET);
  EXPECT_EQ(PrcSaveStep(handle_, 1, 1, &step, &saved), RAW_MEMBER_NOT_OPENED);
}

TEST_F(SetsTest, AFullHistoryTakesNone) {
  Make(RAW_DATA_CONTINUUM);
  RawHistoryHeader header = {};
  std::vector<RawHistoryEntry> entries(RAW_HISTORY_ENTRIES);
  RawReadProcInfo(handle_, &header, entries.data());
  for (int32_t i = 0; i < RAW_HISTORY_MAX_INDEX; ++i) {
    RawHistoryEntry entry = {};
    ASSERT_EQ(RawHistAddProcess(&header, entries.data(), 2, 0, &entry), RAW_OK);
  }
  ASSERT_EQ(RawHistUpdateInfo(handle_, &header, entries.data()), RAW_OK);
  const auto before = AllFiles();
  const PrcStep step = CombineStep(1, 2);
  int16_t saved = -1;
  EXPECT_EQ(PrcSaveStep(handle_, 1, 0, &step, &saved), RAW_HISTORY_FULL);
  EXPECT_EQ(AllFiles(), before);
}

}  // namespace
}  // namespace tervalon::testing
