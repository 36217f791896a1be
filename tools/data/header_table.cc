#include "tools/data/header_table.h"

#include <span>

#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

struct HeaderText {
  const char* key;
  const char* title;
  const char* text;
  size_t size;
};

template <size_t kSize>
HeaderText Text(const char* key, const char* title, const char (&text)[kSize]) {
  return {key, title, text, kSize};
}

void AddTexts(std::span<const HeaderText> texts, Section& section) {
  for (const HeaderText& text : texts) {
    section.properties.push_back({text.key, text.title, Utf8FromLatin1(text.text, text.size)});
  }
}

std::string VersionText(const RawHeader& header) {
  const std::string minor = std::to_string(header.version_minor);
  return std::to_string(header.version_major) + (minor.size() < 2 ? ".0" : ".") + minor;
}

}  // namespace

Section HeaderSection(const RawHeader& header) {
  const HeaderText texts[] = {
      Text("acquired_name", "Acquired name", header.acquired_name),
      Text("acquired_date", "Acquired date", header.acquired_date),
      Text("acquired_time", "Acquired time", header.acquired_time),
      Text("sample_description", "Sample", header.sample_description),
      Text("sample_id", "Sample ID", header.sample_id),
      Text("bottle_number", "Bottle", header.bottle_number),
      Text("plate_description", "Plate", header.plate_description),
      Text("job_code", "Job", header.job_code),
      Text("task_code", "Task", header.task_code),
      Text("user_name", "User", header.user_name),
      Text("submitter", "Submitter", header.submitter),
      Text("laboratory_name", "Laboratory", header.laboratory_name),
      Text("instrument", "Instrument", header.instrument),
      Text("conditions", "Conditions", header.conditions),
      Text("associated_datafile", "Associated data", header.associated_datafile),
      Text("processed", "Processed", header.processed),
  };
  Section section = {.key = "header", .title = "Header"};
  section.properties.push_back({"version", "Version", VersionText(header)});
  AddTexts(texts, section);
  section.properties.push_back(
      {"solvent_delay", "Solvent delay", header.solvent_delay, "min", /*decimals=*/4});
  section.properties.push_back({"resolved", "Resolved", header.resolved != 0});
  section.properties.push_back({"encrypted", "Encrypted", header.encrypted != 0});
  return section;
}

Section CalibrationTexts(const RawCalibration& calibration) {
  const HeaderText texts[] = {
      Text("calibration_date", "Date", calibration.date),
      Text("calibration_time", "Time", calibration.time),
      Text("ms1_static_params", "MS1 static parameters", calibration.ms1_static_params),
      Text("ms1_dynamic_params", "MS1 dynamic parameters", calibration.ms1_dynamic_params),
      Text("ms1_fast_params", "MS1 fast parameters", calibration.ms1_fast_params),
      Text("ms2_static_params", "MS2 static parameters", calibration.ms2_static_params),
      Text("ms2_dynamic_params", "MS2 dynamic parameters", calibration.ms2_dynamic_params),
      Text("ms2_fast_params", "MS2 fast parameters", calibration.ms2_fast_params),
  };
  Section section = {.key = "calibration_texts", .title = "Calibrated"};
  AddTexts(texts, section);
  return section;
}

}  // namespace tervalon::tools
