// tervalon retention: retention indices, and the calibration that they come from.

#include <tervalon/retention_indices.h>
#include <tervalon/settings.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "tools/commands/command.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr const char* kFile = "TERVALON.INI";

struct Options {
  std::string section = "ChrRetentionCalibration";
  std::vector<std::string> points;
  std::vector<std::string> times;
  FormatOptions format;
};

struct Point {
  float time;
  float index;
  float log_p;
};

// "TIME:INDEX" or "TIME:INDEX:LOGP"
Point ParsePoint(const std::string& text) {
  std::vector<float> numbers;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(':', begin), text.size());
    numbers.push_back(static_cast<float>(NumberArgument("POINT", text.substr(begin, end - begin))));
    begin = end + 1;
  }
  if (numbers.size() != 2 && numbers.size() != 3) {
    throw WrongUsage("POINT: '" + text + "' is not TIME:INDEX or TIME:INDEX:LOGP");
  }
  numbers.resize(3);
  return {numbers[0], numbers[1], numbers[2]};
}

std::vector<Point> ParsePoints(const std::vector<std::string>& texts) {
  if (texts.size() < 2 || texts.size() > RT_MAX_POINTS) {
    throw WrongUsage("POINT: a calibration has 2 to 32 points");
  }
  std::vector<Point> points;
  std::ranges::transform(texts, std::back_inserter(points), ParsePoint);
  // As they are kept, and converted.
  const auto hundredths = [](const Point& point) { return std::round(point.time * 100.0); };
  if (!std::ranges::is_sorted(points, std::ranges::less_equal(), hundredths)) {
    throw WrongUsage("POINT: the times do not ascend by hundredths of a minute or more");
  }
  return points;
}

RTCalibration ReadCalibration(const std::string& section) {
  RTCalibration calibration = {};
  if (RTIndicesGetRetentionCalibration(console::SystemText(section).c_str(), &calibration) == 0) {
    throw Failure(kFile, "cannot be read");
  }
  if (calibration.calibrated == 0) {
    throw Failure(kFile, "no retention calibration in section '" + section + "'");
  }
  calibration.point_count = std::clamp(calibration.point_count, 0, RT_MAX_POINTS);
  return calibration;
}

void Set(const Options& options) {
  const std::vector<Point> points = ParsePoints(options.points);
  RTCalibration calibration = {};
  calibration.calibrated = 1;
  calibration.point_count = static_cast<int32_t>(points.size());
  calibration.start_index = 1;
  calibration.end_index = calibration.point_count;
  calibration.increment = 1;
  for (size_t i = 0; i < points.size(); ++i) {
    calibration.times[i] = points[i].time;
    calibration.indices[i] = points[i].index;
    calibration.log_p[i] = points[i].log_p;
  }
  if (RTIndicesSetRetentionCalibration(console::SystemText(options.section).c_str(),
                                       &calibration) == 0) {
    throw Failure(kFile, "cannot be written");
  }
}

// A table of times, indices and log P; what is not known is left out.
void PrintTable(const Options& options, std::vector<Value> times, std::vector<Value> indices,
                std::vector<Value> log_p, Output& output) {
  Print({.sections = {{.key = "retention",
                       .title = options.section,
                       .columns = {{"time", "Time (min)", std::move(times), 3},
                                   {"index", "Index", std::move(indices), 2},
                                   {"log_p", "log P", std::move(log_p), 3}}}},
         .csv_section = "retention"},
        options.format.format(), output);
}

void List(const Options& options, Output& output) {
  const RTCalibration calibration = ReadCalibration(options.section);
  const auto column = [&calibration](const float* values) {
    return std::vector<Value>(values, values + calibration.point_count);
  };
  PrintTable(options, column(calibration.times), column(calibration.indices),
             column(calibration.log_p), output);
}

void Convert(const Options& options, Output& output) {
  const RTCalibration calibration = ReadCalibration(options.section);
  std::vector<Value> times, indices, log_p;
  for (const std::string& text : options.times) {
    const auto time = static_cast<float>(NumberArgument("TIME", text));
    float index = 0;
    float p = 0;
    const bool found = RTIndicesCalculateIndex(time, &calibration, &index) != 0 &&
                       RTIndicesCalculateLogP(time, &calibration, &p) != 0;
    times.emplace_back(time);
    if (found) {
      indices.emplace_back(index);
      log_p.emplace_back(p);
    } else {
      indices.emplace_back();
      log_p.emplace_back();
    }
  }
  PrintTable(options, std::move(times), std::move(indices), std::move(log_p), output);
}

void AddSection(Command command, Options& options) {
  command
      .AddOption("--section", options.section,
                 "Section of the settings file (ChrRetentionCalibration\n"
                 "when not given)")
      .TypeName("NAME");
}

}  // namespace

void AddRetentionCommand(Command program, Action& chosen) {
  const Command retention =
      program.AddSubcommand("retention", "Turn retention times into retention indices");
  retention.RequireSubcommand();
  retention.Footer(
      "A calibration holds the times of reference compounds with known index and log P, between\n"
      "which other times are interpolated, in hundredths of a minute. It is kept in the settings\n"
      "file, TERVALON.INI in the working directory, with two decimals.\n\n"
      "Examples:\n"
      "  tervalon retention set 1.2:100:0.5 2.8:200:1.9 4.1:300:3.2\n"
      "  tervalon retention index 2.05 3.3\n"
      "  tervalon retention list --json");
  auto options = std::make_shared<Options>();

  const Command set = retention.AddSubcommand("set", "Store a calibration of 2 to 32 points");
  set.AddOption("POINT", options->points, "TIME:INDEX or TIME:INDEX:LOGP, times ascending")
      .TypeName("")
      .Required();
  AddSection(set, *options);
  set.Footer("Example:\n  tervalon retention set 1.2:100 2.8:200 4.1:300");
  set.Callback([&chosen, options] {
    ParsePoints(options->points);
    chosen = [options](Output&) { Set(*options); };
  });

  const Command list = retention.AddSubcommand("list", "Print the calibration's points");
  AddSection(list, *options);
  AddFormatOptions(list, options->format);
  list.Footer("Example:\n  tervalon retention list");
  list.Callback(
      [&chosen, options] { chosen = [options](Output& output) { List(*options, output); }; });

  const Command index = retention.AddSubcommand("index", "Print the indices and log P of times");
  index.AddOption("TIME", options->times, "Retention times in minutes").TypeName("").Required();
  AddSection(index, *options);
  AddFormatOptions(index, options->format);
  index.Footer(
      "Times outside of the calibration have no index.\n\n"
      "Example:\n  tervalon retention index 2.05 3.3");
  index.Callback([&chosen, options] {
    for (const std::string& time : options->times) {
      NumberArgument("TIME", time);
    }
    chosen = [options](Output& output) { Convert(*options, output); };
  });
}

}  // namespace tervalon::tools
