// tervalon simulate: a made-up acquisition, written as an instrument would write it.

#include <tervalon/raw_analog.h>
#include <tervalon/raw_directory.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>

#include "tools/commands/command.h"
#include "tools/data/files.h"
#include "tools/data/function_description.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/progress_bar.h"
#include "tools/simulator/simulated_processing.h"
#include "tools/simulator/simulation_model.h"
#include "tools/simulator/staged_directory.h"

namespace tervalon::tools {
namespace {

struct Options {
  std::string directory;
  int32_t scans = 240;
  std::string duration = "8";
  int64_t seed = 1;
  bool force = false;
};

constexpr int16_t kFunctions = 3;
constexpr MassRange kCentroidRange = {100, 900};
constexpr MassRange kContinuumRange = {150, 650};
constexpr int kContinuumPoints = 5001;
constexpr double kHighestChannel = 700;
constexpr int16_t kAnalogChannels = 2;
constexpr int kAnalogRecordsPerScan = 2;

// The centroid function is calibrated in root mass: m' = (c0 + c1 √m)².
constexpr double kRootOffset = 0.0012;
constexpr double kRootSlope = 1.00004;

double StoredMass(double calibrated) {
  const double root = (std::sqrt(calibrated) - kRootOffset) / kRootSlope;
  return root * root;
}

template <size_t kSize>
void Store(char (&field)[kSize], const std::string& text) {
  text.copy(field, kSize - 1);
}

RawHeader MakeHeader(const std::string& name) {
  RawHeader header = {};
  header.version_major = 1;
  Store(header.acquired_name, name);
  Store(header.acquired_date, "02-Jun-2025");
  Store(header.acquired_time, "09:30:00");
  Store(header.user_name, "simulation");
  Store(header.laboratory_name, "none");
  Store(header.instrument, "simulated LC-MS");
  Store(header.conditions,
        "2.1 x 50 mm, 0.4 mL/min, 40 \xB0"
        "C");  // Latin-1
  Store(header.sample_description, "seven compounds, simulated");
  Store(header.sample_id, "SIM-1");
  Store(header.bottle_number, "1:A,1");
  return header;
}

std::unique_ptr<RawCalibration> MakeCalibration() {
  auto calibration = std::make_unique<RawCalibration>();
  constexpr RawCaliCoeffs kIdentity = {
      .order = 1, .coefficients = {0, 1}, .type = 0, .standard_deviation = 0};
  calibration->ms1_static = kIdentity;
  calibration->ms1_dynamic = kIdentity;
  calibration->ms2_static = kIdentity;
  calibration->ms2_dynamic = kIdentity;
  Store(calibration->date, "02-Jun-2025");
  Store(calibration->time, "08:15");
  const RawCaliCoeffs root_mass = {.order = 1,
                                   .coefficients = {kRootOffset, kRootSlope},
                                   .type = 1,
                                   .standard_deviation = 0.0009};
  RawFunctionCalibration function = {};
  RawSetFuncSegCoeffs(&function, 0, &root_mass);
  RawSetFuncCalib(calibration.get(), 1, &function);
  calibration->function_count = 1;
  return calibration;
}

RawAnalogDescriptor AnalogDescriptor(const std::string& name, const std::string& unit) {
  RawAnalogDescriptor descriptor = {};
  const std::string text = name + '\0' + unit;
  std::ranges::copy(text, descriptor.bytes);
  return descriptor;
}

// One acquisition on its way to a directory.
class Writer {
 public:
  Writer(const StagedDirectory& directory, const Options& options, double duration)
      : directory_(directory),
        scans_(options.scans),
        interval_(duration / options.scans),
        model_(duration, static_cast<uint64_t>(options.seed)),
        channels_(model_.MainMasses(kHighestChannel)),
        processing_(2, kContinuumRange, options.scans, ApexScan()) {
    const int32_t code = RawCreateOpen(console::SystemText(directory.staging()).c_str(), &handle_);
    if (code != RAW_OK) {
      RawReadClose(handle_);
      throw Failure(directory.path(), RawErrorText(code));
    }
  }

  ~Writer() {
    if (handle_ >= 0) {
      RawReadClose(handle_);
    }
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void Write() {
    const std::string name = NameOf(PathOf(directory_.path()).stem());
    const RawHeader header = MakeHeader(name);
    Check(RawCreateHeader(handle_, &header, MakeCalibration().get()));
    const RawFunctionRecord records[kFunctions] = {CentroidRecord(), ContinuumRecord(),
                                                   ChannelRecord()};
    Check(RawCreateFunctions(handle_, kFunctions, records));
    for (int16_t function = 1; function <= kFunctions; ++function) {
      Check(RawCreateScanFile(handle_, function, 0, 0));
    }
    const RawAnalogDescriptor channels[kAnalogChannels] = {
        AnalogDescriptor("UV 254 nm", "mAU"), AnalogDescriptor("Pump pressure", "bar")};
    Check(RawCreateAnalogInf(handle_, kAnalogChannels, channels));
    Check(RawCreateAnalogFile(handle_));
    ProgressBar progress;
    for (int32_t scan = 0; scan < scans_; ++scan) {
      WriteCycle(scan);
      progress.Show(static_cast<int>(int64_t{scan} * 100 / scans_));
    }
    for (int16_t function = 1; function <= kFunctions; ++function) {
      Check(RawCreateScansEnd(handle_, function, 0));
    }
    Check(RawCreateAnalogEnd(handle_));
    Check(processing_.Write(handle_, static_cast<float>(TimeOf(ApexScan() - 1, 2))));
    Check(RawCreateClose(std::exchange(handle_, -1)));
  }

 private:
  void Check(int32_t code) const { CheckRaw(code, directory_.path()); }

  // Minutes. The functions take turns within each interval.
  double TimeOf(int32_t scan, int function) const {
    return (scan + (function - 1.0) / kFunctions) * interval_;
  }

  RawFunctionRecord Record(int function, unsigned type, unsigned data_type) const {
    constexpr unsigned kElectrosprayPositive = 8;
    constexpr float kInterScanDelay = 0.05F;
    RawFunctionRecord record = {};
    StoreWord(record, 0, type | kElectrosprayPositive << 5 | data_type << 10);
    StoreFloat(record, 2, static_cast<float>(interval_ * 60 / kFunctions));
    StoreFloat(record, 6, std::min(kInterScanDelay, static_cast<float>(interval_ * 60 / 6)));
    StoreFloat(record, 10, static_cast<float>(TimeOf(0, function)));
    StoreFloat(record, 14, static_cast<float>(TimeOf(scans_ - 1, function)));
    return record;
  }

  RawFunctionRecord CentroidRecord() const {
    RawFunctionRecord record = Record(1, RAW_TYPE_TOF_MS, RAW_DATA_STANDARD_CENTROID);
    StoreFloat(record, 28, static_cast<float>(kCentroidRange.low));
    StoreFloat(record, 32, static_cast<float>(kCentroidRange.high));
    return record;
  }

  RawFunctionRecord ContinuumRecord() const {
    RawFunctionRecord record = Record(2, RAW_TYPE_SCAN, RAW_DATA_CONTINUUM);
    StoreFloat(record, 28, static_cast<float>(kContinuumRange.low));
    StoreFloat(record, 32, static_cast<float>(kContinuumRange.high));
    return record;
  }

  RawFunctionRecord ChannelRecord() const {
    RawFunctionRecord record = Record(3, RAW_TYPE_SIR, RAW_DATA_SIR);
    StoreWord(record, 22, static_cast<unsigned>(channels_.size()) << 8);
    for (int i = 0; i < std::ssize(channels_); ++i) {
      StoreFloat(record, 160 + 4 * i, channels_[static_cast<size_t>(i)]);
    }
    return record;
  }

  void WriteCycle(int32_t scan) {
    console::CheckInterrupt();
    Points centroids = model_.Centroids(TimeOf(scan, 1), kCentroidRange);
    std::ranges::transform(centroids.masses, centroids.masses.begin(),
                           [](float mass) { return static_cast<float>(StoredMass(mass)); });
    WriteScan(1, RAW_DATA_STANDARD_CENTROID, scan, centroids);
    const Points continuum = model_.Continuum(TimeOf(scan, 2), kContinuumRange, kContinuumPoints);
    WriteScan(2, RAW_DATA_CONTINUUM, scan, continuum);
    processing_.Add(scan + 1, continuum.intensities);
    WriteScan(3, RAW_DATA_SIR, scan, model_.Channels(TimeOf(scan, 3), channels_));
    for (int i = 0; i < kAnalogRecordsPerScan; ++i) {
      const double time = (scan + static_cast<double>(i) / kAnalogRecordsPerScan) * interval_;
      const std::vector<float> values = model_.Analog(time);
      Check(RawCreateAnalogScan(handle_, static_cast<float>(time), kAnalogChannels, values.data()));
    }
  }

  void WriteScan(int16_t function, int16_t data_type, int32_t scan, const Points& points) {
    RawScanDescription description = {};
    description.retention_time = static_cast<float>(TimeOf(scan, function));
    Check(RawCreateScansEx(handle_, function, 0, data_type, &description,
                           points.masses.empty() ? nullptr : points.masses.data(),
                           points.intensities.data(), nullptr,
                           static_cast<int32_t>(points.intensities.size())));
  }

  // The scan, from 1, nearest to the top of the strongest peak.
  int32_t ApexScan() const {
    return std::clamp(static_cast<int32_t>(model_.StrongestApex() / interval_ + 1), 1, scans_);
  }

  const StagedDirectory& directory_;
  const int32_t scans_;
  const double interval_;
  SimulationModel model_;
  const std::vector<float> channels_;
  SimulatedProcessing processing_;
  int32_t handle_ = -1;
};

double DurationArgument(const std::string& text) {
  const double duration = NumberArgument("--duration", text);
  if (duration < 0.01 || duration > 1000) {
    throw WrongUsage("--duration: " + text + " is not in the range 0.01 to 1000 minutes");
  }
  return duration;
}

void Run(const Options& options) {
  StagedDirectory directory(DirectoryArgument(options.directory), options.force);
  Writer(directory, options, DurationArgument(options.duration)).Write();
  directory.Commit();
}

}  // namespace

void AddSimulateCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("simulate", "Write a made-up acquisition to look at");
  auto options = std::make_shared<Options>();
  command.AddOption("DIR", options->directory, "Raw data directory to create")
      .Required()
      .TypeName("");
  command.AddOption("--scans", options->scans, "Scans of each function")
      .Between(1, 100000)
      .TypeName("N")
      .ShowDefault();
  command.AddOption("--duration", options->duration, "Length of the run in minutes")
      .TypeName("MINUTES")
      .ShowDefault();
  command.AddOption("--seed", options->seed, "Seed of the noise: equal seeds, equal data")
      .Between(0, INT64_MAX)
      .TypeName("N")
      .ShowDefault();
  command.AddFlag("--force", options->force, "Replace a raw data directory that is there already");
  command.Footer(
      "Seven compounds elute one after the other, with their isotope patterns and noise, into\n"
      "three functions: 1 time-of-flight centroids with a root-mass calibration, 2 continuum data\n"
      "(5001 points a scan), 3 selected ions. Two analog channels, absorbance and pump pressure, "
      "are\n"
      "sampled twice a scan. The directory appears when it is complete; when\n"
      "anything fails, nothing is left behind and what was there stays.\n\n"
      "Examples:\n"
      "  tervalon simulate DEMO.RAW\n"
      "  tervalon simulate DEMO.RAW --scans 1000 --duration 20 --seed 7 --force");
  command.Callback([&chosen, options] {
    DurationArgument(options->duration);
    chosen = [options](Output&) { Run(*options); };
  });
}

}  // namespace tervalon::tools
