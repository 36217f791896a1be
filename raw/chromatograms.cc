// Chromatograms from the index.

#include "appsvc/application.h"
#include "appsvc/export_guard.h"
#include "raw/function_reader.h"
#include "raw/trace_extractor.h"
#include "tervalon/raw_chromatograms.h"

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

namespace {

constexpr int32_t kScansBetweenYields = 6;

// Calls step(i, record) for the scans first .. first + count - 1, reporting progress after each.
template <typename Step>
int32_t ForEachScan(FunctionReader* reader, int32_t first, int32_t count, Step step) {
  for (int32_t i = 0; i < count; ++i) {
    IndexRecord record;
    int32_t error =
        reader->ReadIndex(static_cast<uint32_t>(first) + static_cast<uint32_t>(i), &record);
    if (error == RAW_OK) error = step(i, record);
    if (error != RAW_OK) return error;
    ReportProgress(i + 1, count);
  }
  return RAW_OK;
}

bool IsValidTrace(const RawTrace& trace) {
  return trace.window_count >= 0 && (trace.window_count == 0 || trace.windows != nullptr);
}

float* ArrayOf(float* const* arrays, int32_t index) {
  return arrays != nullptr ? arrays[index] : nullptr;
}

}  // namespace

extern "C" int32_t TERVALON_CALL RawReadChrom(int32_t handle, int16_t function, int16_t process,
                                              int32_t first, int32_t count, float* values,
                                              float* times, int16_t kind) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    if (first < 1 || count < 0) return RAW_BAD_ARGUMENT;
    FunctionReader* reader = nullptr;
    int32_t error = GetScanBufferAs(handle, function, process, &reader);
    if (error != RAW_OK) return error;
    ReportProgress(0, 1);
    error = ForEachScan(reader, first, count, [&](int32_t i, const IndexRecord& record) {
      if (values != nullptr) {
        values[i] = kind == RAW_CHROM_BASE_PEAK
                        ? DecodeBasePeak(reader->type_code(), record.base_peak.data()).intensity
                        : record.total_ion_current;
      }
      if (times != nullptr) times[i] = record.retention_time;
      return RAW_OK;
    });
    if (error == RAW_OK) ReportProgress(count, count);
    return error;
  });
}

extern "C" int32_t TERVALON_CALL RawReadChromTraces(int32_t handle, int16_t function,
                                                    int16_t process, int32_t first, int32_t count,
                                                    int16_t trace_count, const RawTrace* traces,
                                                    float* const* values, float* const* times) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    if (first < 1 || count < 0 || trace_count < 0 || (trace_count > 0 && traces == nullptr)) {
      return RAW_BAD_ARGUMENT;
    }
    FunctionReader* reader = nullptr;
    const int32_t error = GetScanBufferAs(handle, function, process, &reader);
    if (error != RAW_OK) return error;

    TraceExtractor extractor(reader);
    for (int32_t t = 0; t < trace_count; ++t) {
      if (!IsValidTrace(traces[t])) return RAW_BAD_ARGUMENT;
      for (int32_t w = 0; w < traces[t].window_count; ++w) traces[t].windows[w].started = 1;
      if (ArrayOf(values, t) != nullptr) extractor.AddTrace(traces[t], ArrayOf(values, t));
    }
    return ForEachScan(reader, first, count, [&](int32_t i, const IndexRecord& record) {
      if (i % kScansBetweenYields == kScansBetweenYields - 1) appsvc::YieldToApplication();
      for (int32_t t = 0; t < trace_count; ++t) {
        float* trace_times = ArrayOf(times, t);
        if (trace_times != nullptr) trace_times[i] = record.retention_time;
      }
      return extractor.Extract(record, static_cast<size_t>(i));
    });
  });
}
