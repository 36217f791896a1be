#include "tools/data/trace_reader.h"

#include <tervalon/raw_analog.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

#include "tools/data/function_description.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr double kUsualTolerance = 0.5;

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

// Takes sums and differences of masses and ranges apart: "184.1", "Ch5", "100_200", "500>200".
class MassText {
 public:
  MassText(std::string_view text, const MassTolerance& tolerance)
      : rest_(text), tolerance_(tolerance) {}

  // False for a text that is none.
  bool Parse() {
    for (char sign = '+';;) {
      if (!TakeMember(sign)) return false;
      if (rest_.empty()) return true;
      sign = rest_.front();
      if (!Take('+') && !Take('-')) return false;
      text_ += sign;
    }
  }

  const std::vector<TraceMember>& members() const { return members_; }
  // As it was typed, but for blanks and needless digits.
  const std::string& text() const { return text_; }

 private:
  bool Take(char c) {
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    SkipBlanks();
    return true;
  }

  void SkipBlanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size()));
  }

  bool TakeMass(double* mass) {
    const std::string_view digits =
        rest_.substr(0, std::min(rest_.find_first_not_of("0123456789."), rest_.size()));
    const std::optional<double> value = ParseNumber(digits);
    if (!value || !(*value < DM_RANGE_OFFSET)) return false;
    *mass = *value;
    text_ += ExactText(*value);
    rest_.remove_prefix(digits.size());
    SkipBlanks();
    return true;
  }

  bool TakeMember(char sign) {
    if (Lower(rest_.substr(0, 2)) == "ch") {
      rest_.remove_prefix(2);
      SkipBlanks();
    }
    TraceMember member = {};
    double low = 0;
    if (!TakeMass(&low)) return false;
    double high = low;
    if (Take('_')) {
      text_ += '_';
      if (!TakeMass(&high)) return false;
      member.is_range = true;
      member.window = {static_cast<float>(low), static_cast<float>(high)};
    } else {
      member.window = WindowAround(low, tolerance_);
      if (Take('>')) {
        text_ += '>';
        double daughter = 0;
        if (!TakeMass(&daughter)) return false;
        member.daughter = WindowAround(daughter, tolerance_);
      }
    }
    member.window.subtract = sign == '-';
    members_.push_back(member);
    return 0 < high && low <= high;
  }

  std::string_view rest_;
  const MassTolerance& tolerance_;
  std::vector<TraceMember> members_;
  std::string text_;
};

bool Overlap(const Window& a, const Window& b) { return a.low <= b.high && b.low <= a.high; }

// A mass that is taken away from another whose window it shares leaves nothing that means anything:
// a range was meant.
void RejectHyphenForRange(const TraceRequest& request) {
  for (const TraceMember& added : request.members) {
    for (const TraceMember& other : request.members) {
      if (!added.is_range && !other.is_range && !added.daughter && !other.daughter &&
          !added.window.subtract && other.window.subtract && Overlap(added.window, other.window)) {
        throw WrongUsage("--trace: '" + request.title +
                         "' subtracts a mass that is the other's within the tolerance; a range is "
                         "written with '_', as in 100_200");
      }
    }
  }
}

void ParseMasses(uint32_t type, const std::string& text, const MassTolerance& tolerance,
                 TraceRequest* request) {
  MassText masses(text, tolerance);
  DmTraceRecord& record = request->trace;
  const bool good = masses.Parse() && DmRawStrToMass(masses.text().c_str(), record.masses,
                                                     DM_MAX_TRACE_MASSES, nullptr) > 0;
  if (!good) {
    throw WrongUsage("--trace: '" + text + "' is no trace such as 184.1, 100_200, 184+200-150, " +
                     "TIC, BPI or AN1");
  }
  request->members = masses.members();
  request->title += masses.text();
  record.type = type;
  record.tolerance = static_cast<float>(tolerance.value);
  record.tolerance_in_ppm = tolerance.in_ppm ? 1 : 0;
  const bool one = request->members.size() == 1;
  if (one && request->members[0].is_range) {  // a mass and a tolerance, which keep the digits
    const Window& window = request->members[0].window;
    record.masses[0] = (window.low + window.high) / 2;
    record.masses[1] = 0;
    record.tolerance = (window.high - window.low) / 2;
    record.tolerance_in_ppm = 0;
  } else if (type == DM_TRACE_MASS && !one) {
    record.type = DM_TRACE_MASSES;
  }
  RejectHyphenForRange(*request);
}

TraceRequest ParseTrace(const std::string& text, const MassTolerance& tolerance) {
  TraceRequest request = {};
  const std::string lower = Lower(text);
  if (lower == "tic" || lower == "bpi") {
    request.trace.type = lower == "tic" ? DM_TRACE_TIC : DM_TRACE_BPI;
    request.title = lower == "tic" ? "TIC" : "BPI";
  } else if (DmRawIsAnalogTraceDesc(text.c_str()) != 0) {
    request.trace.type = DM_TRACE_ANALOG;
    request.trace.analog_channel = static_cast<int16_t>(DmRawAnalogChannelNumber(text.c_str()));
    request.title = "AN" + std::to_string(request.trace.analog_channel + 1);
  } else if (lower.starts_with("nl") || lower.starts_with("ng")) {
    const bool loss = lower[1] == 'l';
    request.title = loss ? "NL" : "NG";
    ParseMasses(loss ? DM_TRACE_NEUTRAL_LOSS : DM_TRACE_NEUTRAL_GAIN, text.substr(2), tolerance,
                &request);
  } else {
    ParseMasses(DM_TRACE_MASS, text, tolerance, &request);
  }
  request.key = request.is_mass() ? "mass_" + request.title : Lower(request.title);
  return request;
}

bool Inside(float mass, const Window& window) { return mass >= window.low && mass <= window.high; }

// The points of the channels that a member means: by what the mass loses or gains between parent
// and daughter, or by both masses.
std::vector<Window> ChannelPoints(const RawFunctionRecord& record, uint32_t type,
                                  const TraceMember& member) {
  std::vector<Window> points;
  if (FunctionType(record) != RAW_TYPE_MRM) return points;
  const std::vector<float> parents = ChannelMasses(record);
  const std::vector<float> daughters = DaughterMasses(record);
  for (size_t i = 0; i < parents.size(); ++i) {
    const float loss = parents[i] - daughters[i];
    const bool meant = type == DM_TRACE_NEUTRAL_LOSS ? Inside(loss, member.window)
                       : type == DM_TRACE_NEUTRAL_GAIN
                           ? Inside(-loss, member.window)
                           : Inside(parents[i], member.window) &&
                                 (!member.daughter || Inside(daughters[i], *member.daughter));
    const auto point = static_cast<float>(i + 1);
    if (meant) points.push_back({point, point, member.window.subtract});
  }
  return points;
}

Chromatogram ReadAnalog(const DataReader& reader, const TraceRequest& request) {
  const RawDirectory& directory = reader.directory();
  const auto channels = static_cast<int16_t>(directory.AnalogChannels().value_or(0));
  if (request.trace.analog_channel >= channels) {
    throw Failure(reader.Subject(), "has no trace " + request.title);
  }
  int32_t count = 0;
  CheckRaw(RawReadAnalogSize(directory.handle(), channels, &count), directory.path());
  Chromatogram read = {.times = std::vector<float>(static_cast<size_t>(count)), .traces = {}};
  read.traces.emplace_back(read.times.size());
  CheckRaw(RawReadAnalogChrom(directory.handle(), request.trace.analog_channel, channels, 1, count,
                              read.traces[0].data(), read.times.data()),
           directory.path());
  return read;
}

Chromatogram Read(const DataReader& reader, const TraceRequest& request) {
  switch (request.trace.type) {
    case DM_TRACE_TIC:
      return reader.ReadIndexChromatogram(RAW_CHROM_TOTAL_ION);
    case DM_TRACE_BPI:
      return reader.ReadIndexChromatogram(RAW_CHROM_BASE_PEAK);
    case DM_TRACE_ANALOG:
      return ReadAnalog(reader, request);
    default:
      return reader.ReadSums({SumOf(reader, request)});
  }
}

}  // namespace

WindowSum SumOf(const DataReader& reader, const TraceRequest& request) {
  const bool by_channels =
      !request.is_mass() || std::ranges::any_of(request.members, [](const TraceMember& member) {
        return member.daughter.has_value();
      });
  WindowSum sum = {.of_points = by_channels, .windows = {}};
  for (const TraceMember& member : request.members) {
    if (!by_channels) {
      CheckHasMasses(reader, member.window, request.title);
      sum.windows.push_back(member.window);
      continue;
    }
    const std::vector<Window> points = ChannelPoints(reader.record(), request.trace.type, member);
    if (points.empty()) throw Failure(reader.Subject(), "has no trace " + request.title);
    sum.windows.insert(sum.windows.end(), points.begin(), points.end());
  }
  return sum;
}

MassTolerance ParseTolerance(const std::string& option, const std::string& text) {
  if (text.empty()) return {};
  const bool in_ppm = text.ends_with("ppm");
  const std::optional<double> value = ParseNumber(in_ppm ? text.substr(0, text.size() - 3) : text);
  if (!value || !(*value > 0) || !std::isfinite(*value)) {
    throw WrongUsage(option + ": '" + text + "' is no tolerance such as 0.05 or 20ppm");
  }
  return {*value, in_ppm};
}

Window WindowAround(double mass, const MassTolerance& tolerance) {
  const double reach = tolerance.value == 0 ? kUsualTolerance
                       : tolerance.in_ppm   ? mass * tolerance.value / 1e6
                                            : tolerance.value;
  return {static_cast<float>(mass - reach), static_cast<float>(mass + reach)};
}

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

Trace ReadTrace(const DataReader& reader, const TraceRequest& request) {
  Chromatogram read = Read(reader, request);
  return {request.key, request.title, request.is_analog(), std::move(read.times),
          std::move(read.traces[0])};
}

void CheckHasMasses(const DataReader& reader, const Window& window, const std::string& title) {
  const RawFunctionRecord& record = reader.record();
  std::string masses;
  if (IsChannelFunction(record)) {
    for (const float mass : ChannelMasses(record)) {
      if (Inside(mass, window)) return;
      masses += (masses.empty() ? "" : ", ") + RoundedText(mass, -1);
    }
  } else {
    float low = 0;
    float high = 0;
    RawReadGetFuncMassRange(&record, -1, &low, &high, nullptr);
    // Processing can lead out of the range, to the masses of molecules.
    if (reader.data_set().process != 0 || !(low < high) || Overlap(window, {low, high})) return;
    masses = RoundedText(low, -1) + " to " + RoundedText(high, -1);
  }
  throw Failure(reader.Subject(), "has no trace " + title + ": its masses are " + masses);
}

}  // namespace tervalon::tools
