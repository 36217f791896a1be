// Raw handles, scans, chromatograms, data handles, processed data sets and histories.

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>

#include "tervalon/data_handles.h"
#include "tervalon/memory.h"
#include "tervalon/processing_sets.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_history.h"
#include "tests/support/families.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

constexpr int16_t kType = RAW_DATA_STANDARD_CENTROID;
constexpr int32_t kPointsOfScan = 20;

Scan ScanOf(uint32_t number) { return NumberedScan(number, kPointsOfScan); }

float TotalOf(uint32_t number) {
  float total = 0;
  for (const float intensity : ScanOf(number).intensities) total += intensity;
  return total;
}

void CheckScan(int32_t handle, int32_t scan, uint32_t number) {
  const Spectrum read = Read(handle, 1, 0, scan);
  const Scan expected = ScanOf(number);
  Succeed(read.error, "RawReadSpectrum");
  Require(read.masses == expected.masses && read.intensities == expected.intensities &&
              read.header.retention_time == expected.description.retention_time,
          "another scan");
}

// Handles of the shared runs, with function 1 open or not.
class RawHandles : public Family {
 public:
  explicit RawHandles(const Workplace& place) : place_(place) {}
  ~RawHandles() override {
    for (const Open& open : open_) RawReadClose(open.handle);
  }

  void Step(Random* random) override {
    const uint32_t choice = Below(random, 16);
    if (open_.empty() || (choice == 0 && open_.size() < 4)) return OpenOne(random);
    Open& open = open_[Below(random, static_cast<uint32_t>(open_.size()))];
    if (choice == 1) {
      Succeed(RawReadClose(open.handle), "RawReadClose");
      std::swap(open, open_.back());
      open_.pop_back();
    } else if (choice == 2 || !open.reading) {
      Toggle(&open);
    } else if (choice < 6) {
      ReadChromatograms(open, random);
    } else if (choice == 6) {
      int32_t scan = 0;
      const auto number = static_cast<int32_t>(Below(random, kSharedScans)) + 1;
      Succeed(
          RawReadTimeScan(open.handle, 1, 0, &open.record,
                          ScanOf(static_cast<uint32_t>(number)).description.retention_time, &scan),
          "RawReadTimeScan");
      Require(scan == number, "another scan for a time");
    } else {
      const uint32_t number = Below(random, kSharedScans) + 1;
      CheckScan(open.handle, static_cast<int32_t>(number), number);
    }
  }

 private:
  struct Open {
    int32_t handle;
    RawFunctionRecord record;
    bool reading;
  };

  void OpenOne(Random* random) {
    Open open = {};
    const std::string run = SharedRun(place_.directory, Below(random, 2));
    const int32_t error = RawReadOpen(run.c_str(), &open.handle);
    if (error == RAW_NO_FREE_HANDLE) return;  // others have them
    Succeed(error, "RawReadOpen");
    char name[TV_PATH_SIZE];
    Succeed(RawHandleGetClusterName(open.handle, name), "RawHandleGetClusterName");
    Require(run == name, "the handle of another directory");
    Succeed(RawReadFuncInfo(open.handle, 1, &open.record, nullptr), "RawReadFuncInfo");
    Require(RawGetFuncScanCount(&open.record) == kSharedScans, "the number of scans");
    open_.push_back(open);
  }

  static void Toggle(Open* open) {
    if (open->reading) {
      Succeed(RawReadFuncEnd(open->handle, 1, 0), "RawReadFuncEnd");
    } else {
      Succeed(RawReadFuncInit(open->handle, 1, 0, &open->record, nullptr), "RawReadFuncInit");
    }
    open->reading = !open->reading;
  }

  static void ReadChromatograms(const Open& open, Random* random) {
    const uint32_t first = Below(random, kSharedScans) + 1;
    const uint32_t count = Below(random, kSharedScans - first + 1) + 1;
    std::vector<float> totals(count);
    std::vector<float> sums(count);
    Succeed(RawReadChrom(open.handle, 1, 0, static_cast<int32_t>(first),
                         static_cast<int32_t>(count), totals.data(), nullptr, RAW_CHROM_TOTAL_ION),
            "RawReadChrom");
    RawTraceWindow all = {0, 5000, 0, 0, 0};
    RawTrace trace = {RAW_TRACE_MASSES, 1, &all};
    float* const arrays[] = {sums.data()};
    Succeed(RawReadChromTraces(open.handle, 1, 0, static_cast<int32_t>(first),
                               static_cast<int32_t>(count), 1, &trace, arrays, nullptr),
            "RawReadChromTraces");
    for (uint32_t i = 0; i < count; ++i) {
      Require(totals[i] == TotalOf(first + i) && sums[i] == totals[i], "another total");
    }
  }

  Workplace place_;
  std::vector<Open> open_;
};

// A directory of the worker's own that is written, read and replaced.
class RawWriting : public Family {
 public:
  explicit RawWriting(const Workplace& place)
      : directory_(place.directory + "\\OWN" + std::to_string(place.worker) + ".RAW") {
    Begin();
  }
  ~RawWriting() override {
    RawCreateClose(handle_);
    RawFileErase(directory_.c_str());
  }

  void Step(Random* random) override {
    const uint32_t choice = Below(random, 64);
    if (choice == 0) {
      Succeed(RawCreateClose(handle_), "RawCreateClose");
      CheckAll();
      Begin();
    } else if (choice == 1) {
      RawHeader header = {};
      const std::string job = std::to_string(scans_);
      std::memcpy(header.job_code, job.c_str(), job.size() + 1);
      const RawCalibration calibration = {};
      Succeed(RawCreateHeader(handle_, &header, &calibration), "RawCreateHeader");
      RawHeader back;
      Succeed(RawReadHeader(handle_, &back, nullptr, nullptr, nullptr), "RawReadHeader");
      Require(job == back.job_code, "another header");
    } else if (choice < 6) {
      Succeed(RawCreateScansFlush(handle_, 1, 0), "RawCreateScansFlush");
      int32_t scans = -1;
      Succeed(RawReadScanCount(handle_, 1, 0, &scans), "RawReadScanCount");
      Require(scans == static_cast<int32_t>(scans_), "the number of flushed scans");
    } else {
      Succeed(WriteScan(handle_, 1, 0, kType, ScanOf(++scans_)), "RawCreateScansEx");
    }
  }

 private:
  void Begin() {
    scans_ = 0;
    const RawFunctionRecord record = ScanningRecord(kType);
    Succeed(RawCreateOpen(directory_.c_str(), &handle_), "RawCreateOpen");
    Succeed(RawCreateFunctions(handle_, 1, &record), "RawCreateFunctions");
    Succeed(RawCreateScanFile(handle_, 1, 0, 0), "RawCreateScanFile");
  }

  void CheckAll() {
    int32_t handle = -1;
    RawFunctionRecord record;
    Succeed(RawReadOpen(directory_.c_str(), &handle), "RawReadOpen");
    Succeed(RawReadFuncInfo(handle, 1, &record, nullptr), "RawReadFuncInfo");
    Require(RawGetFuncScanCount(&record) == static_cast<int32_t>(scans_), "the number of scans");
    Succeed(RawReadFuncInit(handle, 1, 0, &record, nullptr), "RawReadFuncInit");
    for (uint32_t number = 1; number <= scans_; number += 7) {
      CheckScan(handle, static_cast<int32_t>(number), number);
    }
    Succeed(RawReadClose(handle), "RawReadClose");
  }

  std::string directory_;
  int32_t handle_ = -1;
  uint32_t scans_ = 0;
};

DmRawDescriptor Descriptor(const std::string& directory, int16_t kind) {
  DmRawDescriptor descriptor = {};
  std::memcpy(descriptor.directory, directory.c_str(), directory.size() + 1);
  descriptor.function = 1;
  descriptor.kind = kind;
  return descriptor;
}

// An application's type: `count` elements from `number` on.
struct ValueDescriptor {
  uint32_t number;
  uint32_t count;
};

int32_t TERVALON_CALL ReadValues(void* descriptor, int32_t /*no_source*/, uint32_t first,
                                 int32_t count, void* const* items) {
  auto* values = static_cast<ValueDescriptor*>(descriptor);
  values->count = 100;
  for (int32_t i = 0; i < count; ++i) {
    static_cast<float*>(items[0])[i] =
        static_cast<float>(values->number + first + static_cast<uint32_t>(i));
  }
  return 0;
}

int32_t TERVALON_CALL CompareValues(const void* stored, const void* given, int32_t /*same*/) {
  DmGetHandle(DM_TYPE_STRUCTURE, 0, nullptr, 0, 0, 0);  // calls back; nobody serves that type
  return static_cast<const ValueDescriptor*>(stored)->number ==
         static_cast<const ValueDescriptor*>(given)->number;
}

// Handles of spectra and chromatograms of the shared runs and of values, granted several times.
class DataHandles : public Family {
 public:
  explicit DataHandles(const Workplace& place) : place_(place) {}
  ~DataHandles() override {
    for (Granted& granted : granted_) {
      while (granted.grants-- > 0) DmReleaseHandle(granted.handle, 0);
    }
  }

  void Step(Random* random) override {
    const uint32_t choice = Below(random, 8);
    if (granted_.empty() || choice == 0) return Grant(random);
    const uint32_t index = Below(random, static_cast<uint32_t>(granted_.size()));
    Granted& granted = granted_[index];
    if (choice == 1) {
      Require(DmReleaseHandle(granted.handle, 0) == 0, "DmReleaseHandle");
      if (--granted.grants == 0) granted_.erase(granted_.begin() + index);
    } else if (choice == 2) {
      granted.frozen = Below(random, 2) == 0;
      const int32_t flags = DmFreezeHandle(granted.handle, granted.frozen ? 1 : 0);
      Require((flags == DM_FLAG_FROZEN) == granted.frozen, "DmFreezeHandle");
    } else {
      Check(granted, random);
    }
  }

 private:
  enum What : uint32_t { kSpectrum, kTotals, kMasses, kValues };
  struct Granted {
    uint32_t what;
    uint32_t number;  // of the scan or value
    uint32_t run;
    int32_t handle;
    int32_t grants;
    bool frozen;
  };

  static int32_t CountOf(uint32_t what) {
    constexpr int32_t kCounts[] = {kPointsOfScan, kSharedScans, kSharedScans, 100};
    return kCounts[what];
  }

  int32_t Ask(uint32_t what, uint32_t number, uint32_t run) const {
    if (what == kValues) {
      ValueDescriptor descriptor = {number, 0};
      return DmGetHandle(DM_TYPE_GENERIC, sizeof(descriptor), &descriptor, 1, sizeof(float), 0);
    }
    DmRawDescriptor descriptor =
        Descriptor(SharedRun(place_.directory, run),
                   what == kSpectrum ? DM_RAW_SPECTRUM : DM_RAW_CHROMATOGRAM);
    if (what == kSpectrum) {
      descriptor.selection = DM_SELECT_SCAN;
      descriptor.scan = static_cast<int32_t>(number);
    } else {
      descriptor.trace.type = what == kTotals ? DM_TRACE_TIC : DM_TRACE_MASS;
      descriptor.trace.masses[0] = 300;
      descriptor.trace.tolerance = 1000;
    }
    const int32_t handle =
        DmGetHandle(DM_TYPE_RAW, sizeof(descriptor), &descriptor, 2, sizeof(float), 0);
    if (handle != 0) {
      Require(descriptor.element_count == static_cast<uint32_t>(CountOf(what)), "element count");
    }
    return handle;
  }

  void Grant(Random* random) {
    if (granted_.size() >= 8) return;
    const uint32_t what = Below(random, 4);
    const bool numbered = what == kSpectrum || what == kValues;
    const uint32_t number = numbered ? Below(random, 5) + 1 : 0;
    const uint32_t run = what == kValues ? 0 : Below(random, 2);
    const int32_t handle = Ask(what, number, run);
    // The handles of one thread are shared, unless they are frozen.
    const auto same = std::find_if(granted_.begin(), granted_.end(), [&](const Granted& other) {
      return other.what == what && other.number == number && other.run == run && !other.frozen;
    });
    Require(handle != 0, "DmGetHandle");
    const auto known = std::find_if(granted_.begin(), granted_.end(),
                                    [&](const Granted& other) { return other.handle == handle; });
    Require((same == granted_.end()) == (known == granted_.end()), "a handle that is not shared");
    if (known == granted_.end()) {
      granted_.push_back({what, number, run, handle, 1, false});
    } else {
      Require(known->what == what && known->number == number, "a handle of other data");
      ++known->grants;
    }
  }

  static void Check(const Granted& granted, Random* random) {
    const auto all = static_cast<uint32_t>(CountOf(granted.what));
    const uint32_t first = Below(random, all) + 1;
    const uint32_t count = Below(random, all - first + 1) + 1;
    const auto flags = static_cast<int32_t>(Below(random, 3));
    const int32_t error = DmGetData(granted.handle, first, static_cast<int32_t>(count), flags);
    Require(error == 0, "DmGetData: " + std::to_string(error));
    const bool in_second_item = granted.what == kSpectrum;
    const auto* values = static_cast<const float*>(
        DmLockData(granted.handle, in_second_item ? 1 : 0, first, static_cast<int32_t>(count)));
    Require(values != nullptr, "DmLockData");
    bool right = true;
    for (uint32_t i = 0; i < count; ++i) right = right && values[i] == Expected(granted, first + i);
    DmUnlockData(granted.handle, in_second_item ? 1 : 0);
    Require(right, "other elements");
  }

  static float Expected(const Granted& granted, uint32_t element) {
    if (granted.what == kSpectrum) return ScanOf(granted.number).intensities[element - 1];
    if (granted.what == kValues) return static_cast<float>(granted.number + element);
    return TotalOf(element);
  }

  Workplace place_;
  std::vector<Granted> granted_;
};

// Spectra stored in processed data sets of a run that all workers write into.
class ProcessedSets : public Family {
 public:
  explicit ProcessedSets(const Workplace& place)
      : descriptor_(Descriptor(SharedRun(place.directory, 1), DM_RAW_SPECTRUM)) {
    descriptor_.process = static_cast<int16_t>(place.worker + 1);
  }
  // What reads without a data handle keeps the directory open.
  ~ProcessedSets() override { DmRawRelease(&descriptor_, 0, 0, 0, nullptr); }

  // A worker before this one may have left scans in the set.
  void Step(Random* random) override {
    const uint32_t number = Below(random, 1000) + 1;
    const bool replaces = !stored_.empty() && (stored_.size() >= 20 || Below(random, 2) == 0);
    Scan scan = ScanOf(number);
    void* const items[DM_MAX_ITEMS] = {scan.masses.data(), scan.intensities.data()};
    descriptor_.scan = replaces ? AnyStored(random) : 0;
    Succeed(DmRawWrite(&descriptor_, 1, kPointsOfScan, items), "DmRawWrite");
    const auto [place, is_new] = stored_.insert_or_assign(descriptor_.scan, number);
    Require(is_new != replaces, "the number of a stored scan");
    std::vector<float> intensities(kPointsOfScan);
    void* const back[DM_MAX_ITEMS] = {nullptr, intensities.data()};
    descriptor_.scan = AnyStored(random);
    Succeed(DmRawRead(&descriptor_, 0, 1, kPointsOfScan, back), "DmRawRead");
    Require(intensities == ScanOf(stored_.at(descriptor_.scan)).intensities,
            "another processed scan");
  }

 private:
  int32_t AnyStored(Random* random) const {
    return std::next(stored_.begin(), Below(random, static_cast<uint32_t>(stored_.size())))->first;
  }

  DmRawDescriptor descriptor_;
  std::map<int32_t, uint32_t> stored_;  // what each scan holds
};

// Scans combined, and stored in sets of a run into which all workers store theirs.
class Processing : public Family {
 public:
  explicit Processing(const Workplace& place) : run_(SharedRun(place.directory, 1)) {}
  ~Processing() override {
    if (handle_ >= 0) RawReadClose(handle_);
  }

  void Step(Random* random) override {
    if (handle_ < 0 && !Open()) return;  // others have the handles
    PrcStep step = {};
    step.type = RAW_STEP_COMBINE;
    step.combining.method = PRC_COMBINE_SUM;
    PrcScans& scans = step.combining.scans[0];
    scans.first = static_cast<int32_t>(Below(random, kSharedScans)) + 1;
    scans.last = scans.first + static_cast<int32_t>(Below(
                                   random, kSharedScans + 1 - static_cast<uint32_t>(scans.first)));
    CheckSum(step.combining);
    if (Below(random, 20) == 0) CheckSaved(step);
  }

 private:
  bool Open() {
    const int32_t error = RawReadOpen(run_.c_str(), &handle_);
    if (error == RAW_NO_FREE_HANDLE) return false;
    Succeed(error, "RawReadOpen");
    RawFunctionRecord record;
    Succeed(RawReadFuncInfo(handle_, 1, &record, nullptr), "RawReadFuncInfo");
    Succeed(RawReadFuncInit(handle_, 1, 0, &record, nullptr), "RawReadFuncInit");
    return true;
  }

  void CheckSum(const PrcCombining& how) const {
    double expected = 0;
    for (int32_t scan = how.scans[0].first; scan <= how.scans[0].last; ++scan) {
      expected += static_cast<double>(TotalOf(static_cast<uint32_t>(scan)));
    }
    PrcSpectrum spectrum = {};
    Succeed(PrcCombine(handle_, 1, 0, &how, &spectrum), "PrcCombine");
    const auto* const intensities = static_cast<const float*>(TvMemLock(spectrum.intensities));
    double sum = 0;
    for (int32_t i = 0; i < spectrum.count; ++i) sum += static_cast<double>(intensities[i]);
    TvMemUnlock(spectrum.intensities);
    TvMemFree(spectrum.intensities);
    TvMemFree(spectrum.masses);
    Require(sum == expected, "another sum of scans");
  }

  void CheckSaved(const PrcStep& step) const {
    int16_t saved = 0;
    const int32_t error = PrcSaveStep(handle_, 1, 0, &step, &saved);
    if (error == PRC_NO_FREE_SET || error == RAW_HISTORY_FULL || error == RAW_NO_FREE_HANDLE)
      return;
    Succeed(error, "PrcSaveStep");
    PrcStep made = {};
    Succeed(PrcReadStep(handle_, saved, nullptr, nullptr, &made), "PrcReadStep");
    Require(std::memcmp(&made, &step, sizeof(step)) == 0, "another's step");
  }

  const std::string run_;
  int32_t handle_ = -1;
};

// A history in memory.
class Histories : public Family {
 public:
  explicit Histories(const Workplace& /*place*/) { Clear(); }

  void Step(Random* random) override {
    if (names_.size() >= 100) Clear();
    const std::string name = "step" + std::to_string(Below(random, 200));
    const bool known = std::find(names_.begin(), names_.end(), name) != names_.end();
    const int32_t found = RawHistSearchTag(&header_, entries_.data(), 3, name.c_str());
    Require((found != 0) == known, "RawHistSearchTag");
    if (known) {
      const auto index = static_cast<uint16_t>(static_cast<uint32_t>(found) >> 16);
      char text[200];
      RawHistDescription(&entries_[index].process, RAW_DESCRIBE_NAME | RAW_DESCRIBE_DATE, text,
                         sizeof(text));
      if (described_.empty()) described_ = text;
      Require(described_ == text && !described_.empty(), "another description");
      return;
    }
    RawHistoryEntry entry = {};
    entry.process.type = RAW_STEP_MODIFY;
    entry.process.created = 1700000000;
    std::memcpy(entry.process.name, name.c_str(), name.size() + 1);
    Require(RawHistAddProcess(&header_, entries_.data(), 3, 0, &entry) == 0, "RawHistAddProcess");
    names_.push_back(name);
    Require(header_.counts[2] == names_.size(), "the number of entries");
  }

 private:
  void Clear() {
    header_ = {};
    header_.tree_count = RAW_HISTORY_TREES;
    entries_.assign(RAW_HISTORY_ENTRIES, {});
    names_.clear();
  }

  RawHistoryHeader header_;
  std::vector<RawHistoryEntry> entries_;
  std::vector<std::string> names_;
  std::string described_;  // all steps are of one kind and time
};

}  // namespace

std::string SharedRun(const std::string& directory, uint32_t number) {
  return directory + "\\SHARED" + std::to_string(number) + ".RAW";
}

void MakeSharedRun(const std::string& directory) {
  int32_t handle = -1;
  const RawFunctionRecord record = ScanningRecord(kType);
  const RawHeader header = {};
  const RawCalibration calibration = {};
  Succeed(RawCreateOpen(directory.c_str(), &handle), "RawCreateOpen");
  Succeed(RawCreateHeader(handle, &header, &calibration), "RawCreateHeader");
  Succeed(RawCreateFunctions(handle, 1, &record), "RawCreateFunctions");
  Succeed(RawCreateScanFile(handle, 1, 0, 0), "RawCreateScanFile");
  for (uint32_t number = 1; number <= kSharedScans; ++number) {
    Succeed(WriteScan(handle, 1, 0, kType, ScanOf(number)), "RawCreateScansEx");
  }
  Succeed(RawCreateClose(handle), "RawCreateClose");
}

void RegisterValueAdapter() {
  const DmAdapter adapter = {ReadValues, nullptr, nullptr, CompareValues};
  DmRegisterAdapter(DM_TYPE_GENERIC, &adapter);
}

std::vector<FamilyKind> RawFamilies() {
  return {{"RawHandles", 30, Make<RawHandles>},   {"RawWriting", 10, Make<RawWriting>},
          {"DataHandles", 30, Make<DataHandles>}, {"ProcessedSets", 2, Make<ProcessedSets>},
          {"Processing", 10, Make<Processing>},   {"Histories", 20, Make<Histories>}};
}

}  // namespace tervalon::testing
