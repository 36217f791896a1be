#include "datamgr/raw_traces.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <iterator>

#include "appsvc/export_guard.h"
#include "raw/function_record.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_directory.h"

namespace tervalon::datamgr {
namespace {

constexpr size_t kListSize = DM_TRACE_LIST_SIZE;

static_assert(sizeof(DmTraceRecord) == 160);

bool UsesMasses(uint32_t type) {
  constexpr uint32_t kMassTypes[] = {DM_TRACE_MASS, DM_TRACE_MASSES, DM_TRACE_NEUTRAL_LOSS,
                                     DM_TRACE_NEUTRAL_GAIN};
  return std::find(std::begin(kMassTypes), std::end(kMassTypes), type) != std::end(kMassTypes);
}

bool IsNeutral(uint32_t type) {
  return type == DM_TRACE_NEUTRAL_LOSS || type == DM_TRACE_NEUTRAL_GAIN;
}

// The list up to its 0, whatever follows; a record may lack the 0.
std::vector<float> MassList(const DmTraceRecord& trace) {
  const float* end = std::find(trace.masses, trace.masses + kListSize, 0.0f);
  return {trace.masses, end};
}

// The windows of all members in the list, in one trace.
std::vector<RawTraceWindow> MassWindows(const DmTraceRecord& trace) {
  std::vector<float> list = MassList(trace);
  list.resize(list.size() + 1);
  std::array<RawTrace, kListSize + 1> traces;
  std::vector<RawTraceWindow> room(traces.size() * kListSize);
  for (size_t t = 0; t < traces.size(); ++t) traces[t] = {0, 0, &room[t * kListSize]};
  const bool given = trace.tolerance > 0;
  const int32_t count =
      DmRawSetupLoHiMass(list.data(), given ? trace.tolerance : kMassTolerance, traces.data(),
                         given && trace.tolerance_in_ppm != 0 ? 0 : 1);
  std::vector<RawTraceWindow> windows;
  for (int32_t t = 0; t < count; ++t) {
    const RawTrace& made = traces[static_cast<size_t>(t)];
    windows.insert(windows.end(), made.windows, made.windows + made.window_count);
  }
  return windows;
}

// A channel's loss, or gain, of mass from parent to daughter.
float NeutralMass(uint32_t type, const RawFunctionRecord& function, int32_t channel) {
  const float loss = raw::ChannelMass(function, channel) - raw::DaughterMass(function, channel);
  return type == DM_TRACE_NEUTRAL_LOSS ? loss : -loss;
}

// The points of the channels whose neutral mass lies in a window.
std::vector<RawTraceWindow> NeutralChannels(const DmTraceRecord& trace,
                                            const RawFunctionRecord& function) {
  std::vector<RawTraceWindow> channels;
  if (raw::FunctionType(function) != RAW_TYPE_MRM) return channels;
  for (const RawTraceWindow& window : MassWindows(trace)) {
    for (int32_t i = 0; i < raw::StoredSegments(function); ++i) {
      const float mass = NeutralMass(trace.type, function, i);
      if (mass < window.low || mass > window.high) continue;
      const auto point = static_cast<float>(i + 1);
      channels.push_back({point, point, window.subtract, 0, 0});
    }
  }
  return channels;
}

// The masses that a list names: of its members, both ends of a range.
std::vector<float> NamedMasses(const DmTraceRecord& trace) {
  std::vector<float> masses;
  for (const float value : MassList(trace)) {
    const float magnitude = std::fabs(value);
    if (magnitude >= DM_COMBINATION_MARKER) continue;
    masses.push_back(magnitude >= DM_RANGE_OFFSET ? magnitude - DM_RANGE_OFFSET : magnitude);
  }
  return masses;
}

// Whether some channel has the mass, and where the daughter mass differs from it, that one too.
bool HasChannel(const RawFunctionRecord& function, float mass, float daughter, float tolerance) {
  for (int32_t i = 0; i < raw::StoredSegments(function); ++i) {
    if (std::fabs(raw::ChannelMass(function, i) - mass) < tolerance &&
        (daughter == mass || std::fabs(raw::DaughterMass(function, i) - daughter) < tolerance)) {
      return true;
    }
  }
  return false;
}

bool HoldsMasses(const RawFunctionRecord& function, const DmTraceRecord& trace,
                 const DmTraceRecord& daughters, float tolerance) {
  const std::vector<float> masses = NamedMasses(trace);
  std::vector<float> daughter_masses = NamedMasses(daughters);
  if (daughter_masses.size() != masses.size()) daughter_masses = masses;
  float low = 0;
  float high = 0;
  const bool scanning = !raw::IsChannelFunction(function);
  if (scanning && RawReadGetFuncMassRange(&function, -1, &low, &high, nullptr) == 0) return false;
  for (size_t i = 0; i < masses.size(); ++i) {
    const bool held = scanning ? masses[i] >= low && masses[i] <= high
                               : HasChannel(function, masses[i], daughter_masses[i], tolerance);
    if (!held) return false;
  }
  return !masses.empty();
}

bool Holds(RawSource* source, int16_t number, const DmTraceRecord& trace,
           const DmTraceRecord& daughters, float tolerance) {
  if (trace.type == DM_TRACE_ANALOG) {
    return trace.analog_channel >= 0 && trace.analog_channel < source->CountAnalogChannels();
  }
  RawFunctionRecord function;
  if (source->ReadRecord(number, &function) != RAW_OK) return false;
  if (trace.type == DM_TRACE_TIC || trace.type == DM_TRACE_BPI) return true;
  if (IsNeutral(trace.type)) return !NeutralChannels(trace, function).empty();
  return UsesMasses(trace.type) && HoldsMasses(function, trace, daughters, tolerance);
}

}  // namespace

TraceWindows MakeTraceWindows(const DmTraceRecord& trace, const OpenData& data) {
  if (!UsesMasses(trace.type)) return {};
  if (IsNeutral(trace.type)) {
    if (!data.reader->has_channels()) return {};  // its points are no channels
    return {RAW_TRACE_POINTS, NeutralChannels(trace, *data.record)};
  }
  return {RAW_TRACE_MASSES, MassWindows(trace)};
}

bool IsSameTrace(const DmTraceRecord& a, const DmTraceRecord& b) {
  if (a.type != b.type) return false;
  if (a.type == DM_TRACE_ANALOG) return a.analog_channel == b.analog_channel;
  if (!UsesMasses(a.type)) return true;
  return MassList(a) == MassList(b) && a.tolerance == b.tolerance &&
         a.tolerance_in_ppm == b.tolerance_in_ppm;
}

}  // namespace tervalon::datamgr

using namespace tervalon::datamgr;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL DmRawValidateChrom(const SystemRawFile* raw_file,
                                                    const DmTraceRecord* trace,
                                                    const DmTraceRecord* daughters,
                                                    float tolerance) {
  return tervalon::Guarded<int32_t>(0, [&]() -> int32_t {
    char directory[TV_PATH_SIZE];
    if (trace == nullptr || daughters == nullptr || DmRawFileToID(raw_file, directory) != 0) {
      return 0;
    }
    const SourceLease source(directory);
    if (source.error() != RAW_OK) return 0;
    if (!(tolerance > 0)) tolerance = kMassTolerance;
    return Holds(&*source, raw_file->function, *trace, *daughters, tolerance) ? 1 : 0;
  });
}
