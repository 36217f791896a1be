// tervalon info: what a raw data directory holds.

#include <tervalon/raw_analog.h>

#include <algorithm>
#include <memory>

#include "tools/commands/command.h"
#include "tools/commands/many_inputs.h"
#include "tools/data/function_description.h"
#include "tools/data/header_table.h"
#include "tools/data/history.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

struct Scans {
  Value count;
  Value first_time;
  Value last_time;
};

// The scans that are there. Where they cannot be read their count is not known, and their times are
// what the table says; the rest of the directory is still worth showing.
Scans ScansOf(const RawDirectory& directory, int function) {
  const RawFunctionRecord& record = directory.Function(function);
  Scans scans = {int64_t{CompleteScans(record)}, {}, {}};
  try {
    const DataReader reader(directory, {.function = function});
    if (const int32_t count = reader.ScanCount(); count > 0) {
      scans.first_time = reader.ScanHeader(1).retention_time;
      scans.last_time = reader.ScanHeader(count).retention_time;
      return scans;
    }
  } catch (const Failure& failure) {
    if (directory.HasDataOf(function)) {
      Warn(failure.what());
      scans.count = Value();
    }
  }
  if (LastTime(record) != 0) {
    scans.first_time = FirstTime(record);
    scans.last_time = LastTime(record);
  }
  return scans;
}

Section FunctionSection(const RawDirectory& directory) {
  std::vector<Value> number, type, type_name, mode, mode_name, data, data_name, low, high, scans,
      first_time, last_time;
  for (int function = 1; function <= std::ssize(directory.functions()); ++function) {
    const RawFunctionRecord& record = directory.Function(function);
    number.emplace_back(int64_t{function});
    type.emplace_back(int64_t{FunctionType(record)});
    type_name.emplace_back(FunctionTypeName(record));
    mode.emplace_back(int64_t{IonMode(record)});
    mode_name.emplace_back(IonModeName(record));
    data.emplace_back(int64_t{DataType(record)});
    data_name.emplace_back(DataTypeName(record));
    float low_mass = 0;
    float high_mass = 0;
    const bool has_range =
        RawReadGetFuncMassRange(&record, -1, &low_mass, &high_mass, nullptr) != 0;
    low.push_back(has_range ? Value(low_mass) : Value());
    high.push_back(has_range ? Value(high_mass) : Value());
    const Scans there = ScansOf(directory, function);
    scans.push_back(there.count);
    first_time.push_back(there.first_time);
    last_time.push_back(there.last_time);
  }
  return {.key = "functions",
          .title = "Functions",
          .columns = {{"function", "No.", number},
                      {"type", "Code", type},
                      {"type_name", "Type", type_name},
                      {"ion_mode", "Code", mode},
                      {"ion_mode_name", "Mode", mode_name},
                      {"data_type", "Code", data},
                      {"data_type_name", "Data type", data_name},
                      {"low_mass", "From m/z", low, 2},
                      {"high_mass", "To m/z", high, 2},
                      {"scans", "Scans", scans},
                      {"first_time", "From min", first_time, 4},
                      {"last_time", "To min", last_time, 4}}};
}

// Channels of channel functions, segments of segmented ones.
Section ChannelSection(const RawDirectory& directory) {
  std::vector<Value> function, channel, mass;
  for (int number = 1; number <= std::ssize(directory.functions()); ++number) {
    int64_t index = 0;
    for (const float channel_mass : ChannelMasses(directory.Function(number))) {
      function.emplace_back(int64_t{number});
      channel.emplace_back(++index);
      mass.emplace_back(channel_mass);
    }
  }
  return {.key = "channels",
          .title = "Channels",
          .columns = {{"function", "Function", function},
                      {"channel", "Channel", channel},
                      {"mass", "m/z", mass, 4}}};
}

Section SegmentSection(const RawDirectory& directory) {
  std::vector<Value> function, segment, low, high, duration;
  for (int number = 1; number <= std::ssize(directory.functions()); ++number) {
    const RawFunctionRecord& record = directory.Function(number);
    if (IsChannelFunction(record) || SegmentCount(record) < 2) {
      continue;
    }
    for (int i = 0; i < SegmentCount(record); ++i) {
      float low_mass = 0;
      float high_mass = 0;
      float seconds = 0;
      RawReadGetFuncMassRange(&record, i, &low_mass, &high_mass, &seconds);
      function.emplace_back(int64_t{number});
      segment.emplace_back(int64_t{i + 1});
      low.emplace_back(low_mass);
      high.emplace_back(high_mass);
      duration.emplace_back(seconds);
    }
  }
  return {.key = "segments",
          .title = "Segments",
          .columns = {{"function", "Function", function},
                      {"segment", "Segment", segment},
                      {"low_mass", "From m/z", low, 2},
                      {"high_mass", "To m/z", high, 2},
                      {"duration", "Seconds", duration, 3}}};
}

bool ChangesNothing(const RawCaliCoeffs& set) {
  return set.order == 1 && set.coefficients[0] == 0 && set.coefficients[1] == 1 &&
         set.standard_deviation == 0;
}

class CalibrationTable {
 public:
  // People do not miss the sets that leave masses as they are.
  explicit CalibrationTable(bool for_people) : for_people_(for_people) {}

  void Add(const std::string& name, int segment, const RawCaliCoeffs& set) {
    if (for_people_ && ChangesNothing(set)) {
      return;
    }
    const size_t count = static_cast<size_t>(std::clamp(set.order + 1, 0, 6));
    name_.emplace_back(name);
    segment_.push_back(segment == 0 ? Value() : Value(int64_t{segment}));
    root_mass_.emplace_back(set.type == 1);
    coefficients_.emplace_back(std::vector<double>(set.coefficients, set.coefficients + count));
    deviation_.emplace_back(set.standard_deviation);
  }

  void AddFunction(int number, const RawFunctionCalibration& calibration) {
    const std::string name = "Function " + std::to_string(number);
    const int segments = std::clamp(calibration.segment_count, 0, RAW_MAX_CALIBRATION_SEGMENTS);
    for (int i = 0; i < segments; ++i) {
      Add(name, i + 1, calibration.segments[i]);
    }
    if (calibration.has_modification != 0) {
      Add(name + " modification", 0, calibration.modification);
    }
  }

  Section ToSection() const {
    return {.key = "calibrations",
            .title = "Calibration (polynomials in m/z, or in its root)",
            .columns = {{"name", "Of", name_},
                        {"segment", "Segment", segment_},
                        {"root_mass", "Root", root_mass_},
                        {"coefficients", "Coefficients, constant first", coefficients_},
                        {"standard_deviation", "Deviation", deviation_}}};
  }

 private:
  const bool for_people_;
  std::vector<Value> name_, segment_, root_mass_, coefficients_, deviation_;
};

Section CalibrationSection(const RawDirectory& directory, bool for_people) {
  const RawCalibration& calibration = directory.calibration();
  CalibrationTable table(for_people);
  table.Add("MS1 static", 0, calibration.ms1_static);
  table.Add("MS1 dynamic", 0, calibration.ms1_dynamic);
  table.Add("MS2 static", 0, calibration.ms2_static);
  table.Add("MS2 dynamic", 0, calibration.ms2_dynamic);
  for (int function = 1; function <= calibration.function_count; ++function) {
    RawFunctionCalibration function_calibration;
    if (RawGetFuncCalib(&calibration, function, &function_calibration) != 0) {
      table.AddFunction(function, function_calibration);
    }
  }
  return table.ToSection();
}

Section AnalogSection(const RawDirectory& directory, bool for_people) {
  const std::optional<int> channels = directory.AnalogChannels();
  Section section = {.key = "analog", .title = "Analog channels"};
  section.properties.push_back(
      {"channels", "Channels", channels ? Value(int64_t{*channels}) : Value()});
  if (for_people && channels == 0) {
    return section;
  }
  int number = 0;
  for (const float offset : directory.header().analog_offsets) {
    const std::string text = std::to_string(++number);
    section.properties.push_back({"offset_" + text, "Offset " + text, offset, "", 3});
  }
  return section;
}

Value AnalogTime(const RawDirectory& directory, int16_t channels, int32_t record) {
  float time = 0;
  const bool read = record > 0 && RawReadAnalogChrom(directory.handle(), 0, channels, record, 1,
                                                     nullptr, &time) == RAW_OK;
  return read ? Value(time) : Value();
}

// All channels are sampled together.
Section AnalogChannelSection(const RawDirectory& directory) {
  const auto channels = static_cast<int16_t>(directory.AnalogChannels().value_or(0));
  const std::vector<AnalogText> texts = AnalogTexts(directory);
  int32_t count = 0;
  const bool counted = RawReadAnalogSize(directory.handle(), channels, &count) == RAW_OK;
  const Value first = AnalogTime(directory, channels, counted && count > 0 ? 1 : 0);
  const Value last = AnalogTime(directory, channels, counted ? count : 0);
  std::vector<Value> trace, name, unit, records, first_time, last_time;
  for (int i = 0; i < channels; ++i) {
    const AnalogText text = i < std::ssize(texts) ? texts[static_cast<size_t>(i)] : AnalogText();
    trace.emplace_back("AN" + std::to_string(i + 1));
    name.emplace_back(text.name);
    unit.emplace_back(text.unit);
    records.push_back(counted ? Value(int64_t{count}) : Value());
    first_time.push_back(first);
    last_time.push_back(last);
  }
  return {.key = "analog_channels",
          .title = "Analog traces",
          .columns = {{"trace", "Trace", trace},
                      {"name", "Name", name},
                      {"unit", "Unit", unit},
                      {"records", "Records", records},
                      {"first_time", "From min", first_time, 4},
                      {"last_time", "To min", last_time, 4}}};
}

Section ProcessSection(const RawDirectory& directory) {
  std::vector<Value> numbers;
  for (const int process : directory.ProcessedSets()) {
    numbers.emplace_back(int64_t{process});
  }
  return {.key = "processed_sets",
          .title = "Processed data sets",
          .columns = {{"process", "Process", numbers}}};
}

std::vector<HistoryStep> StepsOf(const RawDirectory& directory) {
  try {
    return ReadHistory(directory).steps;
  } catch (const Failure&) {
    return {};  // the rest of the directory is still worth showing
  }
}

// People read names, not codes, and nothing of what is empty.
void MakeReadable(Document& document) {
  for (Section& section : document.sections) {
    std::erase_if(section.columns, [](const Column& column) { return column.title == "Code"; });
    std::erase_if(section.properties, [](const Property& property) {
      const auto* text = std::get_if<std::string>(&property.value);
      return text != nullptr && text->empty();
    });
  }
  std::erase_if(document.sections, [](const Section& section) {
    return section.properties.empty() && RowCount(section) == 0 && !section.key.empty() &&
           section.key != "functions" && section.key != "processed_sets";
  });
}

struct Options {
  Inputs inputs;
  FormatOptions format;
};

void Run(const Options& options, const std::string& path, Output& output) {
  const Format format = options.format.format();
  const RawDirectory directory(path);
  const bool for_people = format == Format::kText;
  Document document;
  Section top = {.title = path};
  if (!for_people) {
    top.properties.push_back({"directory", "Directory", path});
  }
  document.sections = {top,
                       HeaderSection(directory.header()),
                       FunctionSection(directory),
                       ChannelSection(directory),
                       SegmentSection(directory),
                       CalibrationSection(directory, for_people),
                       CalibrationTexts(directory.calibration()),
                       AnalogSection(directory, for_people),
                       AnalogChannelSection(directory),
                       ProcessSection(directory),
                       HistorySection(StepsOf(directory), for_people)};
  if (for_people) {
    MakeReadable(document);
  } else if (format == Format::kCsv) {
    Label(options.inputs, path, 0, document);  // JSON has it anyway
  }
  Print(document, format, output);
}

}  // namespace

void AddInfoCommand(Command program, Action& chosen) {
  const Command command = program.AddSubcommand("info", "Show what a raw data directory holds");
  auto options = std::make_shared<Options>();
  AddInputs(command, options->inputs);
  AddFormatOptions(command, options->format);
  command.Footer(
      "Shows the header, the functions (each one repeated experiment of the acquisition) with\n"
      "type, ionisation mode, data type, mass range, complete scans and time range, the mass\n"
      "calibration, the analog channels, the processed data sets and where they come from.\n"
      "Masses are m/z, times are minutes. --csv prints one value a line:\n"
      "section,row,name,value.\n\n"
      "Examples:\n"
      "  tervalon info SAMPLE.RAW\n"
      "  tervalon info SAMPLE.RAW --json | jq '.functions[].type_name'");
  command.Callback([&chosen, options] { chosen = ForEachInput(options, Run); });
}

}  // namespace tervalon::tools
