// Storing spectra in processed data sets.

#include <algorithm>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "appsvc/export_guard.h"
#include "datamgr/raw_adapter.h"
#include "datamgr/raw_sources.h"
#include "platform/file_change.h"
#include "raw/function_record.h"
#include "raw/scan_index.h"
#include "raw/scan_writer.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_history.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::datamgr {
namespace {

// A spectrum in the making.
struct Spectrum {
  RawScanDescription description = {};
  std::vector<float> masses;
  std::vector<float> intensities;
};

// The resident elements that are to be stored.
struct Range {
  uint32_t first;  // from 1
  uint32_t count;
  const float* masses;
  const float* intensities;
};

int32_t FindDataTypeOf(const DmRawDescriptor& descriptor, RawSource* source, int32_t* type) {
  *type = SelectedDataType(descriptor);
  RawFunctionRecord record;
  const int32_t error = source->ReadRecord(descriptor.function, &record);
  if (error == RAW_OK && *type < 0) *type = raw::DataTypeCode(record);
  return error;
}

// What a reader is told of a scan, in a writer's words.
RawScanDescription DescriptionOf(const RawScanHeader& header) {
  return {header.points >> 31, 0,
          header.flag_c,       header.retention_time,
          header.segment,      (header.flags & RAW_SCAN_FLAG_A) != 0 ? 1u : 0u};
}

// Reads the scan that is going to be replaced, as far as its points are to be kept.
int32_t ReadPresent(const DmRawDescriptor& descriptor, RawSource* source, Spectrum* spectrum) {
  OpenData data;
  int32_t error = source->OpenDataSet(descriptor.function, descriptor.process,
                                      SelectedDataType(descriptor), &data);
  if (error != RAW_OK) return error;
  RawScanHeader header = {};
  const auto read = [&](int32_t* count, float* masses, float* intensities) {
    return RawReadSpectrum(source->handle(), descriptor.function, descriptor.process,
                           descriptor.scan, 1, count, &header, masses, intensities, nullptr, 0);
  };
  error = read(nullptr, nullptr, nullptr);
  if (error != RAW_OK) return error;
  spectrum->description = DescriptionOf(header);
  const uint32_t points = header.points & RAW_SCAN_POINTS_MASK;
  int32_t kept = static_cast<int32_t>(std::min(points, descriptor.element_count));
  if (kept == 0) return RAW_OK;
  int32_t there = 0;
  // Cut-off data keep what there is of them.
  error = read(&(there = kept), nullptr, nullptr);
  spectrum->masses.resize(static_cast<size_t>(there));
  spectrum->intensities.resize(static_cast<size_t>(there));
  if (error != RAW_OK || there == 0) return error;
  return read(&there, spectrum->masses.data(), spectrum->intensities.data());
}

// The time of a new scan is that of the acquired scan of its number, from which it was made; 0 when
// there is none.
int32_t TakeAcquiredTime(const DmRawDescriptor& descriptor, int32_t handle,
                         RawScanDescription* description) {
  std::unique_ptr<platform::File> index;
  bool absent = false;
  int32_t error =
      raw::OpenForReading(handle, raw::kFunctionIndex, descriptor.function, &index, &absent);
  if (absent || descriptor.scan < 1) return RAW_OK;
  raw::IndexRecord record;
  if (error == RAW_OK) {
    error = raw::IndexReader(index.get()).Read(static_cast<uint32_t>(descriptor.scan), &record);
  }
  if (error == RAW_OK) description->retention_time = record.retention_time;
  return error != RAW_SCAN_ABSENT ? error : RAW_OK;
}

// Puts the range into the spectrum. False when it would leave a gap.
bool Overlay(const Range& range, Spectrum* spectrum) {
  const uint64_t end = uint64_t{range.first} - 1 + range.count;
  if (range.first - 1 > spectrum->intensities.size() || end > RAW_MAX_POINTS) return false;
  const auto size = std::max<size_t>(spectrum->intensities.size(), static_cast<size_t>(end));
  spectrum->masses.resize(size);
  spectrum->intensities.resize(size);
  const size_t at = range.first - 1;
  if (range.masses != nullptr) std::copy_n(range.masses, range.count, &spectrum->masses[at]);
  std::copy_n(range.intensities, range.count, &spectrum->intensities[at]);
  return true;
}

int32_t Store(const Range& range, RawSource* source, DmRawDescriptor* descriptor) {
  int32_t type_code = 0;
  int32_t error = FindDataTypeOf(*descriptor, &*source, &type_code);
  if (error != RAW_OK) return error;
  const raw::DataType* type = raw::FindDataType(type_code);
  if (type == nullptr) return RAW_BAD_ARGUMENT;
  if (type->stores_masses() && range.masses == nullptr) return -1;

  // What is read of the set from here on is what is there while it is this call's to write.
  if (!source->EndProcess(descriptor->process)) return RAW_MEMBER_ALREADY_OPEN;
  std::unique_ptr<raw::ScanWriter> writer;
  error = raw::ScanWriter::Open(source->handle(),
                                raw::ScanFilesOf(descriptor->function, descriptor->process),
                                platform::kLockWait, &writer);
  if (error == RAW_OK) error = writer->Continue(*type);
  if (error != RAW_OK) return error;

  const bool replaces =
      descriptor->scan >= 1 && static_cast<uint32_t>(descriptor->scan) <= writer->scans();
  Spectrum spectrum;
  if (replaces) {
    error = ReadPresent(*descriptor, source, &spectrum);
    source->EndProcess(descriptor->process);
  } else {
    error = TakeAcquiredTime(*descriptor, source->handle(), &spectrum.description);
  }
  if (error != RAW_OK) return error;
  if (!Overlay(range, &spectrum)) return -1;

  // The masses are final. Those that the type does not store a reader makes from the function.
  spectrum.description.flag_b = type->stores_masses() ? 1 : 0;
  const raw::NewScan scan = {type_code,
                             spectrum.description,
                             {spectrum.masses.data(), spectrum.intensities.data(), nullptr},
                             static_cast<uint32_t>(spectrum.intensities.size())};
  const uint32_t number = replaces ? static_cast<uint32_t>(descriptor->scan) : writer->scans() + 1;
  error = replaces ? writer->Replace(number, scan) : writer->Append(scan);
  if (error == RAW_OK) error = writer->Flush();
  if (error != RAW_OK) return error;
  descriptor->scan = static_cast<int32_t>(number);
  descriptor->element_count = scan.count;
  return RAW_OK;
}

// The history names a processed data set as its files are named.
std::string HistoryName(int16_t process) {
  const std::string number = std::to_string(process);
  return "_PROC" + std::string(3 - std::min<size_t>(number.size(), 3), '0') + number;
}

// Adds the set to its function's tree, or notes that it was made anew.
int32_t RecordInHistory(int32_t handle, const DmRawDescriptor& descriptor) {
  RawHistoryHeader header = {};
  std::vector<RawHistoryEntry> entries(RAW_HISTORY_ENTRIES);
  int32_t error = RawReadProcInfo(handle, &header, entries.data());
  if (error != RAW_OK && error != RAW_MEMBER_NOT_OPEN) return error;
  const std::string name = HistoryName(descriptor.process);
  const auto now = static_cast<uint32_t>(std::time(nullptr));
  const int32_t found =
      RawHistSearchTag(&header, entries.data(), descriptor.function, name.c_str());
  if (found != 0) {
    entries[static_cast<uint32_t>(found) >> 16].process.created = now;
  } else {
    RawHistoryEntry entry = {};
    entry.process.type = RAW_STEP_MODIFY;
    std::copy(name.begin(), name.end(), entry.process.name);
    entry.process.created = now;
    error = RawHistAddProcess(&header, entries.data(), descriptor.function, 0, &entry);
    if (error != 0) return error;
  }
  return RawHistUpdateInfo(handle, &header, entries.data());
}

}  // namespace
}  // namespace tervalon::datamgr

using namespace tervalon;           // NOLINT(google-build-using-namespace)
using namespace tervalon::datamgr;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL DmRawWrite(DmRawDescriptor* descriptor, uint32_t first,
                                            int32_t count, void* const* items) {
  return Guarded<int32_t>(-1, [&]() -> int32_t {
    if (descriptor == nullptr || descriptor->kind != DM_RAW_SPECTRUM || descriptor->process < 1 ||
        first < 1 || count < 1 || items == nullptr || items[1] == nullptr) {
      return -1;
    }
    SourceLease source(DirectoryOf(*descriptor));
    if (source.error() != RAW_OK) return source.error();
    const Range range = {first, static_cast<uint32_t>(count), static_cast<const float*>(items[0]),
                         static_cast<const float*>(items[1])};
    const int32_t error = Store(range, &*source, descriptor);
    CloseOtherSources(*source);
    return error;
  });
}

extern "C" int32_t TERVALON_CALL DmRawSaveProcess(const DmRawDescriptor* descriptor, int32_t save) {
  return Guarded<int32_t>(-1, [&]() -> int32_t {
    if (descriptor == nullptr || descriptor->process < 1 || descriptor->function < 1) return -1;
    if (save == 0) return 0;
    SourceLease source(DirectoryOf(*descriptor));
    if (source.error() != RAW_OK) return source.error();
    // Only now, not for each of its spectra.
    const int32_t error = raw::ForceToDisk(
        source->handle(), raw::ScanFilesOf(descriptor->function, descriptor->process));
    return error == RAW_OK ? RecordInHistory(source->handle(), *descriptor) : error;
  });
}
