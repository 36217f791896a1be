#include "tools/commands/command.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {

void AddFormatOptions(Command command, FormatOptions& options) {
  const Option csv =
      command.AddFlag("--csv", options.csv, "Print comma-separated values for programs");
  const Option json = command.AddFlag("--json", options.json, "Print JSON for programs");
  csv.Excludes(json);
}

void AddDataSetOptions(Command command, DataSetOptions& options) {
  command.AddOption("DIR", options.directory, "Raw data directory").Required().TypeName("");
  AddDataSetSelection(command, options.data_set);
}

void AddDataSetSelection(Command command, DataSet& data_set) {
  AddFunctionOption(command, data_set.function,
                    "Function, 1 to 32, as 'tervalon info' numbers them; when\n"
                    "not given 1, or the one that a processed data set was\n"
                    "made from");
  AddProcessOptions(command, data_set.process, data_set.data_type);
}

void AddFunctionOption(Command command, std::optional<int32_t>& function, const std::string& what) {
  command.AddOption("-f,--function", function, what).Between(1, RAW_MAX_FUNCTIONS).TypeName("N");
}

Command AddScanChoice(Command command, const std::string& what, int32_t& scan, std::string& time) {
  const Command group = command.AddGroup("Scan", what);
  group.AddOption("-s,--scan", scan, "Scan number, from 1").Between(1, INT32_MAX).TypeName("N");
  group.AddOption("-t,--time", time, "Retention time in minutes; the nearest scan is taken")
      .TypeName("MINUTES");
  return group;
}

void AddProcessOptions(Command command, int32_t& process, std::optional<int32_t>& data_type) {
  const Option option = command
                            .AddOption("-p,--process", process,
                                       "Processed data set, 1 to 255, that was made from the\n"
                                       "function, instead of the data as acquired")
                            .Between(1, RAW_MAX_PROCESSES)
                            .TypeName("N");
  command
      .AddOption("--data-type", data_type,
                 "Data type, 0 to 12, of the processed data set, which is\n"
                 "found out where this option is not given")
      .Needs(option)
      .Between(0, 12)
      .TypeName("N");
}

std::string DirectoryArgument(const std::string& text) {
  std::string path = text;
  if (std::filesystem::path::preferred_separator == '/') {
    std::ranges::replace(path, '\\', '/');
  }
  const size_t last = path.find_last_not_of("/\\");
  return last == std::string::npos ? path : path.substr(0, last + 1);
}

double NumberArgument(const std::string& option, const std::string& text) {
  const std::optional<double> number = ParseNumber(text);
  if (!number || std::fabs(*number) > std::numeric_limits<float>::max()) {
    throw WrongUsage(option + ": '" + text + "' is not a number");
  }
  return *number;
}

float TimeArgument(const std::string& option, const std::string& text) {
  const double minutes = NumberArgument(option, text);
  if (minutes < 0) {
    throw WrongUsage(option + ": " + text + " is before the start");
  }
  return static_cast<float>(minutes);
}

std::vector<std::string> Parts(const std::string& text, char separator) {
  std::vector<std::string> parts;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

}  // namespace tervalon::tools
