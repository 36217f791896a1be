// Opening and reading raw data.

#include "datamgr/raw_adapter.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <vector>

#include "appsvc/export_guard.h"
#include "datamgr/raw_sources.h"
#include "datamgr/raw_traces.h"
#include "raw/lane_sum.h"
#include "tervalon/raw_analog.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::datamgr {
namespace {

static_assert(sizeof(DmRawDescriptor) == 456);
static_assert(offsetof(SystemRawFile, directory) == 2 && offsetof(SystemRawFile, name) == 262);

// Where elements go: positions (masses, or times) and intensities.
struct Arrays {
  float* positions;
  float* intensities;
};

// One selection of raw data.
struct Selection {
  const DmRawDescriptor& descriptor;
  RawSource& source;

  int16_t function() const { return descriptor.function; }
  int16_t process() const { return descriptor.process; }

  int32_t OpenDataSet(OpenData* data) const {
    return source.OpenDataSet(function(), process(), SelectedDataType(descriptor), data);
  }
};

// A spectrum: its points, as far as their data are there.

int32_t ReadPoints(const Selection& selection, uint32_t first, int32_t* count,
                   const Arrays& arrays) {
  return RawReadSpectrum(selection.source.handle(), selection.function(), selection.process(),
                         selection.descriptor.scan, static_cast<int32_t>(first), count, nullptr,
                         arrays.positions, arrays.intensities, nullptr, 0);
}

// The points that the index tells of.
int32_t IndexedPoints(const Selection& selection, uint32_t* count) {
  OpenData data;
  int32_t error = selection.OpenDataSet(&data);
  if (error != RAW_OK) return error;
  raw::IndexRecord record;
  if (selection.descriptor.scan < 1) return RAW_SCAN_ABSENT;
  error = data.reader->ReadIndex(static_cast<uint32_t>(selection.descriptor.scan), &record);
  *count = record.points();
  return error;
}

int32_t CountPoints(const Selection& selection, uint32_t* count) {
  int32_t error = IndexedPoints(selection, count);
  if (error != RAW_OK || *count == 0) return error;
  // With the last point all are there; only cut-off data are read to find how many.
  int32_t delivered = 1;
  error = ReadPoints(selection, *count, &delivered, {});
  if (error != RAW_OK || delivered == 1) return error;
  delivered = static_cast<int32_t>(*count);
  error = ReadPoints(selection, 1, &delivered, {});
  *count = static_cast<uint32_t>(delivered);
  return error;
}

int32_t ReadSpectrum(const Selection& selection, uint32_t first, int32_t count,
                     const Arrays& arrays) {
  int32_t delivered = count;
  const int32_t error = ReadPoints(selection, first, &delivered, arrays);
  if (error != RAW_OK) return error;
  return delivered == count ? RAW_OK : -1;
}

// A chromatogram of scans.

int32_t CountIndexScans(const Selection& selection, uint32_t* count) {
  OpenData data;
  int32_t error = selection.OpenDataSet(&data);
  if (error == RAW_OK) error = data.reader->CountScans(count);
  return error;
}

int32_t CountMassScans(const Selection& selection, uint32_t* count) {
  OpenData data;
  const int32_t error = selection.OpenDataSet(&data);
  if (error != RAW_OK) return error;
  if (MakeTraceWindows(selection.descriptor.trace, data).windows.empty()) return -1;
  return data.reader->CountScans(count);
}

int32_t ReadIndexTrace(const Selection& selection, uint32_t first, int32_t count,
                       const Arrays& arrays) {
  const bool base_peak = selection.descriptor.trace.type == DM_TRACE_BPI;
  return RawReadChrom(selection.source.handle(), selection.function(), selection.process(),
                      static_cast<int32_t>(first), count, arrays.intensities, arrays.positions,
                      base_peak ? RAW_CHROM_BASE_PEAK : RAW_CHROM_TOTAL_ION);
}

int32_t ReadMassTrace(const Selection& selection, uint32_t first, int32_t count,
                      const Arrays& arrays) {
  OpenData data;
  const int32_t error = selection.OpenDataSet(&data);
  if (error != RAW_OK) return error;
  TraceWindows made = MakeTraceWindows(selection.descriptor.trace, data);
  RawTrace trace = {made.kind, static_cast<int16_t>(made.windows.size()), made.windows.data()};
  return RawReadChromTraces(selection.source.handle(), selection.function(), selection.process(),
                            static_cast<int32_t>(first), count, 1, &trace, &arrays.intensities,
                            &arrays.positions);
}

// An analog channel: its records.

int32_t CountAnalogRecords(const Selection& selection, uint32_t* count) {
  const int16_t channel = selection.descriptor.trace.analog_channel;
  const int16_t channels = selection.source.CountAnalogChannels();
  if (channel < 0 || channel >= channels) return -1;
  int32_t records = 0;
  const int32_t error = RawReadAnalogSize(selection.source.handle(), channels, &records);
  *count = static_cast<uint32_t>(std::max(records, 0));
  return error;
}

int32_t ReadAnalogTrace(const Selection& selection, uint32_t first, int32_t count,
                        const Arrays& arrays) {
  return RawReadAnalogChrom(selection.source.handle(), selection.descriptor.trace.analog_channel,
                            selection.source.CountAnalogChannels(), static_cast<int32_t>(first),
                            count, arrays.intensities, arrays.positions);
}

// How a kind of selection is read; all return 0, a Raw error code, or -1.
struct Reading {
  int32_t (*count)(const Selection& selection, uint32_t* count);  // of elements, on opening
  int32_t (*limit)(const Selection& selection, uint32_t* count);  // no element is behind it
  int32_t (*read)(const Selection& selection, uint32_t first, int32_t count, const Arrays& arrays);
};

constexpr Reading kSpectrum = {CountPoints, IndexedPoints, ReadSpectrum};
constexpr Reading kIndexTrace = {CountIndexScans, CountIndexScans, ReadIndexTrace};
constexpr Reading kMassTrace = {CountMassScans, CountMassScans, ReadMassTrace};
constexpr Reading kAnalogTrace = {CountAnalogRecords, CountAnalogRecords, ReadAnalogTrace};

struct TraceReading {
  uint32_t type;
  Reading reading;
};

constexpr TraceReading kTraces[] = {
    {DM_TRACE_TIC, kIndexTrace},         {DM_TRACE_BPI, kIndexTrace},
    {DM_TRACE_MASS, kMassTrace},         {DM_TRACE_MASSES, kMassTrace},
    {DM_TRACE_ANALOG, kAnalogTrace},     {DM_TRACE_NEUTRAL_LOSS, kMassTrace},
    {DM_TRACE_NEUTRAL_GAIN, kMassTrace},
};

// nullptr for what cannot be read.
const Reading* FindReading(const DmRawDescriptor& descriptor) {
  if (descriptor.kind == DM_RAW_SPECTRUM) return &kSpectrum;
  if (descriptor.kind != DM_RAW_CHROMATOGRAM) return nullptr;
  const auto* found =
      std::find_if(std::begin(kTraces), std::end(kTraces),
                   [&](const TraceReading& trace) { return trace.type == descriptor.trace.type; });
  return found != std::end(kTraces) ? &found->reading : nullptr;
}

void ClearStatistics(DmRawDescriptor* descriptor) {
  descriptor->low = descriptor->high = 0;
  descriptor->lowest_intensity = descriptor->highest_intensity = descriptor->total_intensity = 0;
}

void FillStatistics(const Arrays& arrays, size_t count, DmRawDescriptor* descriptor) {
  const auto positions = std::minmax_element(arrays.positions, arrays.positions + count);
  const auto intensities = std::minmax_element(arrays.intensities, arrays.intensities + count);
  raw::LaneSum total;
  total.Add(arrays.intensities, count);
  descriptor->low = *positions.first;
  descriptor->high = *positions.second;
  descriptor->lowest_intensity = *intensities.first;
  descriptor->highest_intensity = *intensities.second;
  descriptor->total_intensity = static_cast<float>(total.Total());
}

int32_t Open(const Reading& reading, const Selection& selection, DmRawDescriptor* descriptor) {
  uint32_t elements = 0;
  const int32_t error = reading.count(selection, &elements);
  if (error != RAW_OK) return error;
  descriptor->element_count = elements;
  ClearStatistics(descriptor);
  return RAW_OK;
}

float* ItemOf(void* const* items, size_t item) {
  return items != nullptr ? static_cast<float*>(items[item]) : nullptr;
}

int32_t Read(const Reading& reading, const Selection& selection, uint32_t first, int32_t count,
             void* const* items, DmRawDescriptor* descriptor) {
  uint32_t elements = 0;
  int32_t error = reading.limit(selection, &elements);
  if (error != RAW_OK) return error;
  if (reading.limit == reading.count) descriptor->element_count = elements;
  const auto wanted = static_cast<uint32_t>(count);
  if (first < 1 || first > elements || wanted > elements - first + 1) return -1;
  const bool spectrum = descriptor->kind == DM_RAW_SPECTRUM;
  Arrays arrays = {ItemOf(items, spectrum ? 0 : 1), ItemOf(items, spectrum ? 1 : 0)};
  std::vector<float> unwanted_positions(arrays.positions == nullptr ? wanted : 0);
  std::vector<float> unwanted_intensities(arrays.intensities == nullptr ? wanted : 0);
  if (arrays.positions == nullptr) arrays.positions = unwanted_positions.data();
  if (arrays.intensities == nullptr) arrays.intensities = unwanted_intensities.data();
  error = reading.read(selection, first, count, arrays);
  if (error == RAW_OK) FillStatistics(arrays, wanted, descriptor);
  return error;
}

bool SelectsSameData(const DmRawDescriptor& a, const DmRawDescriptor& b) {
  if (a.function != b.function || a.process != b.process || a.kind != b.kind ||
      SelectedDataType(a) != SelectedDataType(b)) {
    return false;
  }
  return a.kind == DM_RAW_CHROMATOGRAM ? IsSameTrace(a.trace, b.trace) : a.scan == b.scan;
}

}  // namespace

std::string DirectoryOf(const DmRawDescriptor& descriptor) {
  const size_t length = strnlen(descriptor.directory, TV_PATH_SIZE);
  return length < TV_PATH_SIZE ? std::string(descriptor.directory, length) : std::string();
}

int32_t SelectedDataType(const DmRawDescriptor& descriptor) {
  return descriptor.process != 0 ? (descriptor.selection >> 8) - 1 : -1;
}

}  // namespace tervalon::datamgr

using namespace tervalon;           // NOLINT(google-build-using-namespace)
using namespace tervalon::datamgr;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL DmRawFileToID(const SystemRawFile* raw_file, char* identifier) {
  return Guarded<int32_t>(-1, [&]() -> int32_t {
    if (raw_file == nullptr || identifier == nullptr) return -1;
    const auto bounded = [](const auto& field) {
      return std::string(field, strnlen(field, sizeof(field)));
    };
    std::string path = bounded(raw_file->directory) + bounded(raw_file->name);
    const std::string extension = bounded(raw_file->extension);
    if (!extension.empty()) path += "." + extension;
    if (path.size() >= TV_PATH_SIZE) return -1;
    std::memcpy(identifier, path.c_str(), path.size() + 1);
    return 0;
  });
}

extern "C" int32_t TERVALON_CALL DmRawOpen(const char* identifier) {
  return Guarded<int32_t>(-1, [&]() -> int32_t {
    return identifier != nullptr ? SourceLease(identifier).error() : -1;
  });
}

extern "C" int32_t TERVALON_CALL DmRawGetFunctionInfo(const SystemRawFile* raw_file,
                                                      RawFunctionRecord* record) {
  return Guarded<int32_t>(-1, [&]() -> int32_t {
    char directory[TV_PATH_SIZE];
    if (record == nullptr || DmRawFileToID(raw_file, directory) != 0) return -1;
    const SourceLease source(directory);
    if (source.error() != RAW_OK) return source.error();
    if (raw_file->function < 1) return RAW_SLOT_OUT_OF_RANGE;
    return RawReadFuncInfo(source->handle(), raw_file->function, record, nullptr);
  });
}

extern "C" int32_t TERVALON_CALL DmRawRead(DmRawDescriptor* descriptor, int32_t no_source,
                                           uint32_t first, int32_t count, void* const* items) {
  return Guarded<int32_t>(-1, [&]() -> int32_t {
    if (no_source != 0) return 0;
    if (descriptor == nullptr || count < 0) return -1;
    const Reading* reading = FindReading(*descriptor);
    if (reading == nullptr) return -1;
    SourceLease source(DirectoryOf(*descriptor));
    if (source.error() != RAW_OK) return source.error();
    const Selection selection = {*descriptor, *source};
    const int32_t error = count == 0 ? Open(*reading, selection, descriptor)
                                     : Read(*reading, selection, first, count, items, descriptor);
    if (error == RAW_OK) source.Keep();
    return error;
  });
}

extern "C" int32_t TERVALON_CALL DmRawRelease(DmRawDescriptor* descriptor, int32_t /*no_source*/,
                                              uint32_t /*first*/, int32_t /*count*/,
                                              void* const* /*items*/) {
  return Guarded<int32_t>(-1, [&]() -> int32_t {
    if (descriptor == nullptr) return -1;
    CloseRawSource(DirectoryOf(*descriptor));
    return 0;
  });
}

extern "C" int32_t TERVALON_CALL DmRawCompare(const DmRawDescriptor* stored,
                                              const DmRawDescriptor* given, int32_t same_source) {
  return Guarded<int32_t>(0, [&]() -> int32_t {
    if (stored == nullptr || given == nullptr || DirectoryOf(*stored) != DirectoryOf(*given)) {
      return 0;
    }
    return same_source != 0 || SelectsSameData(*stored, *given) ? 1 : 0;
  });
}
