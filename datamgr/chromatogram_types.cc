// What a trace description selects, and how a trace is described.

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

#include "appsvc/export_guard.h"
#include "appsvc/text_number.h"
#include "datamgr/mass_list.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "platform/window_manager.h"
#include "settings/path_text.h"
#include "settings/system_file.h"
#include "tervalon/function_types.h"
#include "tervalon/raw_descriptor.h"

namespace tervalon::datamgr {
namespace {

static_assert(sizeof(DmTraceRecord) == 160 && offsetof(DmTraceRecord, analog_channel) == 136);

using platform::IsDigit;

constexpr std::string_view kAnalogNames[] = {"AN1", "AN2", "AN3", "AN4"};

constexpr int32_t kMaxDescription = 80;
constexpr int32_t kReservedChannelFlags = 12;  // neither by mass nor numbered

char UpperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }

// -1 for any other text.
int32_t AnalogChannel(std::string_view text) {
  const auto* const name = std::find_if(
      std::begin(kAnalogNames), std::end(kAnalogNames),
      [text](std::string_view known) { return platform::EqualWithoutCase(text, known); });
  return name != std::end(kAnalogNames) ? static_cast<int32_t>(name - kAnalogNames) : -1;
}

bool Classify(const char* text, DmTraceRecord* trace) {
  const int32_t count = DmRawStrToMass(text, trace->masses, DM_MAX_TRACE_MASSES, nullptr);
  const int32_t channel = AnalogChannel(text);
  if (count > 0) {
    trace->type = count == 1 ? DM_TRACE_MASS : DM_TRACE_MASSES;
  } else if (platform::EqualWithoutCase(text, "BPI")) {
    trace->type = DM_TRACE_BPI;
  } else if (channel >= 0) {
    trace->type = DM_TRACE_ANALOG;
    trace->analog_channel = static_cast<int16_t>(channel);
  } else if (platform::EqualWithoutCase(text, "TIC")) {
    trace->type = DM_TRACE_TIC;
  } else {
    return false;
  }
  return true;
}

bool Holds(const SystemRawFile& raw_file, const DmTraceRecord& trace, const char* text) {
  DmTraceRecord daughters = trace;
  DmRawStrToMassMRM(text, daughters.masses, DM_MAX_TRACE_MASSES, nullptr, 1);
  return DmRawValidateChrom(&raw_file, &trace, &daughters, 0.0f) != 0;
}

// Tells a person who can see it.
bool Refuse(TvWindow owner, const std::string& text, const char* caption = nullptr) {
  if (platform::Windows().IsWindow(owner)) {
    platform::TheDesktop().ShowMessage(owner, text.c_str(), caption,
                                       platform::kMessageIconExclamation);
  }
  return false;
}

bool GetChrType(TvWindow owner, const SystemRawFile& raw_file, DmTraceRecord* trace,
                const char* text) {
  char identifier[TV_PATH_SIZE];
  if (DmRawFileToID(&raw_file, identifier) != 0 || DmRawOpen(identifier) != 0) {
    std::string message = "Unable to read Data File ";
    message.append(settings::FieldText(raw_file.name));
    message.append("\n in directory ").append(settings::FieldText(raw_file.directory));
    return Refuse(owner, message, "Integration");
  }
  if (!Classify(text, trace)) {
    return Refuse(owner, "Method contains invalid chromatogram trace description");
  }
  return Holds(raw_file, *trace, text) ||
         Refuse(owner, "Raw file doesn't contain chromatogram trace identified by method");
}

// Sets `text` in capitals where it describes channels.
std::string DescribeChannels(const SystemRawFile* raw_file, char* text) {
  if (raw_file != nullptr && DmRawChannelDesc(raw_file, 0, nullptr, 0, 0) < 0) return text;
  for (char* at = text; *at != '\0'; ++at) *at = UpperCase(*at);

  std::string described;
  for (const char* at = text; *at != '\0';) {
    if (!IsDigit(*at)) {
      described += *at++;
      continue;
    }
    const int32_t channel = appsvc::ParseInt(at);
    char description[kMaxDescription + 1] = {};
    if (raw_file == nullptr) {
      described += "Ch" + std::to_string(channel);
    } else if (DmRawChannelDesc(raw_file, static_cast<float>(channel), description,
                                kReservedChannelFlags, kMaxDescription) < 0) {
      break;
    }
    described += description;
    while (IsDigit(*at)) ++at;
    while (*at == '.') ++at;
  }
  return described;
}

std::string MassText(const DmTraceRecord& trace) {
  float list[DM_TRACE_LIST_SIZE + 1] = {};  // ends in any case
  std::copy(std::begin(trace.masses), std::end(trace.masses), list);
  return MassListText(list);
}

std::string Describe(const SystemRawFile* raw_file, const DmTraceRecord& trace,
                     bool use_channel_names, size_t out_size) {
  switch (trace.type) {
    case DM_TRACE_TIC:
      return "TIC";
    case DM_TRACE_MASS:
    case DM_TRACE_MASSES: {
      std::string text = MassText(trace);
      if (use_channel_names) text = DescribeChannels(raw_file, text.data());
      return trace.type == DM_TRACE_MASSES && text.size() + 2 >= out_size ? "Sum" : text;
    }
    case DM_TRACE_ANALOG:
      return "AN" + std::to_string(trace.analog_channel + 1);
    case DM_TRACE_BPI:
      return "BPI";
    case DM_TRACE_TAS:
      return "TAS";
    case DM_TRACE_NEUTRAL_LOSS:
      return "NL" + MassText(trace);
    case DM_TRACE_NEUTRAL_GAIN:
      return "NG" + MassText(trace);
    default:
      return "Unknown";
  }
}

int32_t CopyText(std::string_view text, char* out, int32_t size) {
  settings::CopyCut(text, out, size);
  return static_cast<int32_t>(std::min(text.size(), static_cast<size_t>(size) - 1));
}

}  // namespace
}  // namespace tervalon::datamgr

using tervalon::Guarded;
namespace datamgr = tervalon::datamgr;

extern "C" int32_t TERVALON_CALL ChannelToDesc(const SystemRawFile* raw_file, char* text, char* out,
                                               int32_t out_size) {
  if (text == nullptr || out == nullptr || out_size < 1) return 0;
  return Guarded(0, [=] {
    return datamgr::CopyText(datamgr::DescribeChannels(raw_file, text), out, out_size);
  });
}

extern "C" int32_t TERVALON_CALL DmRawGetChrType(TvWindow owner, const SystemRawFile* raw_file,
                                                 DmTraceRecord* trace, const char* text) {
  if (raw_file == nullptr || trace == nullptr || text == nullptr) return 0;
  return Guarded(0, [=] { return datamgr::GetChrType(owner, *raw_file, trace, text); });
}

extern "C" int32_t TERVALON_CALL DmRawGetTraceTypeDescription(const SystemRawFile* raw_file,
                                                              const DmTraceRecord* trace, char* out,
                                                              int32_t use_channel_names,
                                                              int32_t out_size) {
  if (trace == nullptr || out == nullptr || out_size < 1) return 0;
  out[0] = '\0';
  return Guarded(0, [=] {
    const std::string text =
        datamgr::Describe(raw_file, *trace, use_channel_names != 0, static_cast<size_t>(out_size));
    return datamgr::CopyText(text, out, out_size);
  });
}

extern "C" int32_t TERVALON_CALL DmRawIsAnalogTraceDesc(const char* text) {
  return text != nullptr && datamgr::AnalogChannel(text) >= 0 ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL DmRawAnalogChannelNumber(const char* text) {
  return text != nullptr ? std::max(datamgr::AnalogChannel(text), 0) : 0;
}
