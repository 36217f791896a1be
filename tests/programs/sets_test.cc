// A processed data set into which programs put spectra.

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tests/programs/kinds.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

constexpr char kSetsDirectory[] = "SETS.RAW";
constexpr int16_t kProcess = 7;
constexpr size_t kMostOfAProcess = 20;

// What tells who put a spectrum there and when: its intensities, and their count. The type stores
// whole numbers up to 8191 as they are.
struct Origin {
  static constexpr uint32_t kDigit = 4096;
  int writer = 0;
  uint32_t serial = 0;

  std::vector<float> Intensities() const {
    std::vector<float> values(3 + serial * 37 % 300, static_cast<float>(1 + serial % kDigit));
    values[1] = static_cast<float>(1 + serial / kDigit);
    values[2] = static_cast<float>(1 + writer);
    return values;
  }
  static Origin Of(const std::vector<float>& values) {
    Origin origin;
    if (values.size() < 3) return origin;
    origin.serial = static_cast<uint32_t>(values[0] - 1 + (values[1] - 1) * kDigit);
    origin.writer = static_cast<int>(values[2]) - 1;
    return origin;
  }
};

void MakeSetsDirectory() {
  int32_t handle = -1;
  Succeed(RawCreateOpen(kSetsDirectory, &handle), "RawCreateOpen");
  const RawHeader header = {};
  const RawCalibration calibration = {};
  Succeed(RawCreateHeader(handle, &header, &calibration), "RawCreateHeader");
  const RawFunctionRecord function = ScanningRecord(RAW_DATA_STANDARD_CENTROID);
  Succeed(RawCreateFunctions(handle, 1, &function), "RawCreateFunctions");
  Succeed(RawCreateScanFile(handle, 1, 0, 0), "RawCreateScanFile");
  Succeed(RawCreateClose(handle), "RawCreateClose");
}

// Who put each scan of the set there.
std::vector<Origin> ReadSet() {
  std::vector<Origin> origins;
  int32_t handle = -1;
  RawFunctionRecord record = ScanningRecord(RAW_DATA_STANDARD_CENTROID);
  Succeed(RawReadOpen(kSetsDirectory, &handle), "RawReadOpen");
  if (RawReadFuncInit(handle, 1, kProcess, &record, nullptr) == RAW_OK) {
    int32_t scans = 0;
    Succeed(RawReadTimeScan(handle, 1, kProcess, &record, 1e9f, &scans), "RawReadTimeScan");
    for (int32_t scan = 1; scan <= scans; ++scan) {
      const Spectrum read = Read(handle, 1, kProcess, scan);
      Succeed(read.error, "RawReadSpectrum");
      const Origin origin = Origin::Of(read.intensities);
      Require(origin.serial > 0 && read.intensities == origin.Intensities(),
              "scan " + std::to_string(scan) + " is not whole");
      origins.push_back(origin);
    }
    Succeed(RawReadFuncEnd(handle, 1, kProcess), "RawReadFuncEnd");
  }
  Succeed(RawReadClose(handle), "RawReadClose");
  return origins;
}

// Adds spectra and replaces those that it has added. A change is a serial number and that of the
// spectrum which it replaces.
class SetWriter : public Writer {
 public:
  void Make(uint32_t serial, Random* random, Notes* notes) override {
    const bool adds = own_.size() < kMostOfAProcess && Below(random, 3) != 0;
    if (own_.empty() || adds) own_.emplace_back(serial, 0);
    auto& [first, scan] =
        adds ? own_.back() : own_[Below(random, static_cast<uint32_t>(own_.size()))];
    DmRawDescriptor descriptor = {};
    std::copy_n(kSetsDirectory, sizeof(kSetsDirectory), descriptor.directory);
    descriptor.function = 1;
    descriptor.process = kProcess;
    descriptor.kind = DM_RAW_SPECTRUM;
    descriptor.scan = scan;
    const Origin origin = {notes->writer(), serial};
    std::vector<float> intensities = origin.Intensities();
    std::vector<float> masses(intensities.size());
    for (size_t i = 0; i < masses.size(); ++i) masses[i] = static_cast<float>(i);
    void* const items[] = {masses.data(), intensities.data(), nullptr, nullptr};
    notes->Begin(std::to_string(serial) + " " + std::to_string(first));
    const int32_t error = DmRawWrite(&descriptor, 1, static_cast<int32_t>(masses.size()), items);
    notes->End(error == RAW_OK);
    if (error != RAW_LOCK_FAILED) Succeed(error, "DmRawWrite");
    if (scan == 0 && error == RAW_OK) scan = descriptor.scan;
    if (scan == 0) own_.pop_back();
  }

 private:
  std::vector<std::pair<uint32_t, int32_t>> own_;  // when a scan was added, and its number
};

class SetReader : public Reader {
 public:
  uint32_t Check(Random* /*random*/) override {
    const std::vector<Origin> origins = ReadSet();
    Require(origins.size() >= seen_.size(), "scans have vanished");
    for (size_t i = 0; i < seen_.size(); ++i) {
      Require(origins[i].writer == seen_[i].writer && origins[i].serial >= seen_[i].serial,
              "a scan has gone back, or is another's");
    }
    seen_ = origins;
    return static_cast<uint32_t>(1 + origins.size());
  }

 private:
  std::vector<Origin> seen_;
};

void CheckSet(const std::vector<Change>& changes) {
  using Scan = std::pair<int, uint32_t>;  // who added it, and when
  std::map<Scan, std::set<uint32_t>> possible;
  std::map<Scan, Scan> scan_of;
  for (const Change& change : changes) {
    if (change.outcome == Outcome::kRefused) continue;
    size_t end = 0;
    const auto serial = static_cast<uint32_t>(std::stoul(change.text, &end));
    const Scan scan = {change.writer, static_cast<uint32_t>(std::stoul(change.text.substr(end)))};
    scan_of[{change.writer, serial}] = scan;
    auto& serials = possible[scan];
    if (serials.empty()) serials.insert(0);  // not there
    if (change.outcome == Outcome::kStored) serials.clear();
    serials.insert(serial);
  }
  for (const Origin& origin : ReadSet()) {
    const auto scan = scan_of.find({origin.writer, origin.serial});
    Require(scan != scan_of.end(), "a scan that nobody has stored");
    const auto serials = possible.find(scan->second);
    Require(serials != possible.end() && serials->second.contains(origin.serial),
            "a scan is there twice, or what was stored last is lost");
    possible.erase(serials);
  }
  for (const auto& [scan, serials] : possible) Require(serials.contains(0), "a scan is lost");
}

}  // namespace

Kind ProcessedSetKind() {
  return {"ProcessedSet",
          100,
          MakeSetsDirectory,
          [](int) { return std::make_unique<SetWriter>(); },
          [] { return std::make_unique<SetReader>(); },
          CheckSet};
}

}  // namespace tervalon::testing
