#include "tools/data/trace_reader.h"

#include <tervalon/data_handles.h>
#include <tervalon/raw_descriptor.h>
#include <tervalon/raw_directory.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr std::string_view kBlanks = " \t";

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') {
      c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return lower;
}

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(kBlanks);
  return first == std::string::npos
             ? ""
             : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string> SplitAtCommas(const std::string& text) {
  std::vector<std::string> parts;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(',', begin), text.size());
    parts.push_back(Trimmed(text.substr(begin, end - begin)));
    begin = end + 1;
  }
  std::erase(parts, "");
  return parts;
}

// Whether all members are masses that a list can hold and ranges that ascend: others would select
// nothing, or something else.
bool IsSound(const float* list, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const float value = std::fabs(list[i]);
    const bool at_an_end = count > 1 && (i == 0 || i == count - 1);
    if (value == DM_COMBINATION_MARKER && at_an_end) {
      continue;
    }
    const bool range = value >= DM_RANGE_OFFSET;
    const float low = range ? value - DM_RANGE_OFFSET : value;
    const float high = range ? list[++i] : value;
    if (!(low <= high && 0 < high && high < DM_RANGE_OFFSET)) {
      return false;
    }
  }
  return true;
}

DmTraceRecord MassTrace(uint32_t type, const std::string& masses) {
  DmTraceRecord record = {};
  const int32_t count = DmRawStrToMass(masses.c_str(), record.masses, DM_MAX_TRACE_MASSES, nullptr);
  if (count < 1 || !IsSound(record.masses, count)) {
    throw WrongUsage("--trace: '" + masses + "' is no trace such as 184.1, 100_200, 184+200-150, " +
                     "TIC, BPI or AN1");
  }
  record.type = type != DM_TRACE_MASS || count == 1 ? type : DM_TRACE_MASSES;
  return record;
}

std::string Description(const DmTraceRecord& trace) {
  char text[2048];
  DmRawGetTraceTypeDescription(nullptr, &trace, text, 0, sizeof(text));
  return text;
}

TraceRequest ParseTrace(const std::string& text, const MassTolerance& tolerance) {
  TraceRequest request = {};
  const std::string lower = Lower(text);
  if (lower == "tic" || lower == "bpi") {
    request.trace.type = lower == "tic" ? DM_TRACE_TIC : DM_TRACE_BPI;
  } else if (DmRawIsAnalogTraceDesc(text.c_str()) != 0) {
    request.trace.type = DM_TRACE_ANALOG;
    request.trace.analog_channel = static_cast<int16_t>(DmRawAnalogChannelNumber(text.c_str()));
  } else if (lower.starts_with("nl")) {
    request.trace = MassTrace(DM_TRACE_NEUTRAL_LOSS, text.substr(2));
  } else if (lower.starts_with("ng")) {
    request.trace = MassTrace(DM_TRACE_NEUTRAL_GAIN, text.substr(2));
  } else {
    request.trace = MassTrace(DM_TRACE_MASS, text);
  }
  request.trace.tolerance = tolerance.value;
  request.trace.tolerance_in_ppm = tolerance.in_ppm ? 1 : 0;
  request.title = Description(request.trace);
  const bool masses = request.trace.type == DM_TRACE_MASS || request.trace.type == DM_TRACE_MASSES;
  request.key = masses ? "mass_" + request.title : Lower(request.title);
  return request;
}

void CopyText(const std::string& text, char* field, size_t size) {
  std::memcpy(field, text.c_str(), std::min(text.size(), size - 1));
}

// A granted data handle.
class DataHandle {
 public:
  explicit DataHandle(DmRawDescriptor* descriptor)
      : handle_(DmGetHandle(DM_TYPE_RAW, sizeof(*descriptor), descriptor, 2, sizeof(float), 0)) {}
  ~DataHandle() { DmReleaseHandle(handle_, 0); }
  DataHandle(const DataHandle&) = delete;
  DataHandle& operator=(const DataHandle&) = delete;

  bool granted() const { return handle_ != 0; }
  int32_t Load(int32_t count) const { return DmGetData(handle_, 1, count, 0); }

  std::vector<float> Values(int32_t item, int32_t count) const {
    const auto* values = static_cast<const float*>(DmLockData(handle_, item, 1, count));
    if (values == nullptr) {
      return {};
    }
    std::vector<float> copy(values, values + count);
    DmUnlockData(handle_, item);
    return copy;
  }

 private:
  const int32_t handle_;
};

}  // namespace

std::vector<TraceRequest> ParseTraces(const std::string& text, const MassTolerance& tolerance) {
  std::vector<TraceRequest> requests;
  for (const std::string& part : SplitAtCommas(text)) {
    TraceRequest request = ParseTrace(part, tolerance);
    if (std::ranges::find(requests, request.key, &TraceRequest::key) == requests.end()) {
      requests.push_back(std::move(request));
    }
  }
  if (requests.empty()) {
    throw WrongUsage("--trace: no trace is given");
  }
  return requests;
}

Trace ReadTrace(const std::string& directory, const DataSet& data_set, const TraceRequest& request,
                const std::string& subject) {
  SystemRawFile file = {};  // with all of the path as its directory
  CopyText(directory, file.directory, sizeof(file.directory));
  file.function = static_cast<int16_t>(data_set.function);
  DmRawDescriptor descriptor = {};
  CopyText(directory, descriptor.directory, sizeof(descriptor.directory));
  descriptor.function = file.function;
  descriptor.process = static_cast<int16_t>(data_set.process);
  descriptor.kind = DM_RAW_CHROMATOGRAM;
  if (data_set.data_type) {
    descriptor.selection = DM_SELECT_DATA_TYPE(*data_set.data_type);
  }
  descriptor.trace = request.trace;

  const DataHandle handle(&descriptor);
  if (!handle.granted()) {
    const bool held = DmRawValidateChrom(&file, &request.trace, &request.trace, 0) != 0;
    throw Failure(subject, held ? "trace " + request.title + " cannot be read"
                                : "has no trace " + request.title);
  }
  Trace trace = {request.key, request.title, request.is_analog()};
  const auto count = static_cast<int32_t>(descriptor.element_count);
  if (count == 0) {
    return trace;
  }
  const int32_t status = handle.Load(count);
  if (status < 0) {
    throw Failure(subject, "trace " + request.title + " cannot be read");
  }
  CheckRaw(status, subject);
  trace.values = handle.Values(0, count);
  trace.times = handle.Values(1, count);
  return trace;
}

}  // namespace tervalon::tools
