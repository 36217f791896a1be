// tervalon import: an mzML file as a raw data directory.

#include <memory>

#include "tools/commands/command.h"
#include "tools/data/function_description.h"
#include "tools/import/import_run.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

struct Options {
  ImportOptions run;
  std::optional<int32_t> data_type;
  FormatOptions format;
};

Column TextColumn(const std::string& key, const std::string& title) {
  return {.key = key, .title = title, .cells = std::vector<Value>()};
}

void AddCell(Section& table, size_t column, Value value) {
  std::get<std::vector<Value>>(table.columns[column].cells).push_back(std::move(value));
}

Section Functions(const ImportReport& report) {
  Section table = {.key = "functions", .title = "Functions"};
  for (const auto& [key, title] :
       {std::pair{"function", "No"}, std::pair{"kind", "Spectra"}, std::pair{"type_name", "Type"},
        std::pair{"ion_mode_name", "Ion mode"}, std::pair{"data_type", "Data type"},
        std::pair{"data_type_name", ""}, std::pair{"scans", "Scans"}, std::pair{"points", "Points"},
        std::pair{"mass_error", "Mass error"}, std::pair{"intensity_error", "Intensity error"}}) {
    table.columns.push_back(TextColumn(key, title));
  }
  for (const ImportedFunction& function : report.functions) {
    const Value cells[] = {int64_t{function.number},
                           function.kind,
                           FunctionTypeName(function.record),
                           IonModeName(function.record),
                           int64_t{DataType(function.record)},
                           DataTypeName(function.record),
                           int64_t{function.scans},
                           function.points,
                           static_cast<float>(function.mass_error),
                           static_cast<float>(function.intensity_error)};
    for (size_t i = 0; i < std::size(cells); ++i) AddCell(table, i, cells[i]);
  }
  return table;
}

Section Channels(const ImportReport& report) {
  Section table = {.key = "analog_channels", .title = "Analog channels"};
  for (const auto& [key, title] : {std::pair{"channel", "No"}, std::pair{"name", "Name"},
                                   std::pair{"unit", "Unit"}, std::pair{"error", "Error"}}) {
    table.columns.push_back(TextColumn(key, title));
  }
  int64_t number = 0;
  for (const ImportedChannel& channel : report.channels) {
    AddCell(table, 0, ++number);
    AddCell(table, 1, channel.name);
    AddCell(table, 2, channel.unit);
    AddCell(table, 3, static_cast<float>(channel.error));
  }
  return table;
}

Section Notes(const ImportReport& report) {
  Section table = {.key = "notes", .title = "Not in the directory, or assumed"};
  table.columns = {TextColumn("what", "What"), TextColumn("times", "Times")};
  for (const auto& [what, times] : report.losses) {
    AddCell(table, 0, what);
    AddCell(table, 1, static_cast<int64_t>(times));
  }
  return table;
}

Document Describe(const Options& options, const ImportReport& report) {
  Document document;
  document.sections.push_back(
      {.properties = {
           {"file", "Imported", options.run.file},
           {"directory", "As", options.run.directory},
           {"masses", "Masses", std::string("as in the file: calibrated, with no calibration")}}});
  document.sections.push_back(Functions(report));
  if (!report.channels.empty()) document.sections.push_back(Channels(report));
  if (!report.losses.empty()) document.sections.push_back(Notes(report));
  document.csv_section = "functions";
  return document;
}

}  // namespace

void AddImportCommand(Command program, Action& chosen) {
  const Command command =
      program.AddSubcommand("import", "Make a raw data directory of an mzML file");
  auto options = std::make_shared<Options>();
  command.AddOption("FILE", options->run.file, "mzML file, plain or gzip").Required().TypeName("");
  command.AddOption("-o,--output", options->run.directory, "Raw data directory to create")
      .Required()
      .TypeName("DIR");
  command
      .AddOption("--type", options->data_type,
                 "Data type of every function, instead of the one in which its values fit best")
      .Between(0, 12)
      .TypeName("N");
  command.AddFlag("--any-window", options->run.any_window,
                  "Put scans together whose scan windows differ");
  command.AddFlag("--force", options->run.replace,
                  "Replace a raw data directory that is there already");
  AddFormatOptions(command, options->format);
  command.Footer(
      "Spectra of equal MS level, polarity, scan window and representation become a function;\n"
      "a directory has room for 32. Masses are taken as they are, that is calibrated. For each\n"
      "function the most compact data type is chosen that holds its values, and the largest\n"
      "relative errors of masses and intensities are told. Chromatograms with common times\n"
      "become analog channels. What a raw data directory cannot hold is listed. The directory\n"
      "appears when it is complete; when anything fails, nothing is left behind and what was\n"
      "there stays.\n\n"
      "Examples:\n"
      "  tervalon import RUN.mzML -o RUN.RAW\n"
      "  tervalon import RUN.mzML.gz -o RUN.RAW --type 1 --json");
  command.Callback([&chosen, options] {
    options->run.directory = DirectoryArgument(options->run.directory);
    if (options->data_type) {
      options->run.data_type = *options->data_type;
      if (*options->data_type == RAW_DATA_MCA_SD || *options->data_type == RAW_DATA_MCB_SD) {
        throw WrongUsage("--type: data types 5 and 7 are not stored");
      }
    }
    chosen = [options](Output& output) {
      const ImportReport report = ImportRun(options->run);
      Print(Describe(*options, report), options->format.format(), output);
    };
  });
}

}  // namespace tervalon::tools
