// tervalon settings: the keys of the settings file in the working directory.

#include <tervalon/settings.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>

#include "tools/commands/command.h"
#include "tools/data/settings_file.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

constexpr size_t kLongestValue = 512;

struct Options {
  std::string section;
  std::string key;
  std::string value;
  FormatOptions format;
};

// What has to be written so that `value` is read: blanks around a value are no part of it, nor is a
// pair of quotation marks.
std::string Written(const std::string& value) {
  constexpr std::string_view kLost = " \t\"'";
  const bool whole = value.empty() || (kLost.find(value.front()) == std::string_view::npos &&
                                       kLost.find(value.back()) == std::string_view::npos);
  return whole ? value : '"' + value + '"';
}

// A key is absent exactly when the fallback decides what is read.
std::optional<std::string> Find(const std::string& section, const std::string& key) {
  std::string value = ReadSetting(section, key, "0");
  if (value == "0" && ReadSetting(section, key, "1") == "1") {
    return std::nullopt;
  }
  return value;
}

void Get(const Options& options, Output& output) {
  const std::optional<std::string> value = Find(options.section, options.key);
  if (!value) {
    throw Failure(kSettingsFile,
                  "no key '" + options.key + "' in section '" + options.section + "'");
  }
  const Format format = options.format.format();
  if (format == Format::kText) {
    output << Printable(*value) << "\n";
    return;
  }
  Print({.sections = {{.key = "setting",
                       .properties = {{"section", "", Utf8FromSystem(options.section)},
                                      {"key", "", Utf8FromSystem(options.key)},
                                      {"value", "", *value}}}}},
        format, output);
}

bool IsPlain(const std::string& name) {
  return !name.empty() && std::ranges::all_of(name, [](char c) { return c >= 32; }) &&
         name.front() != ' ' && name.back() != ' ';
}

void CheckNames(const Options& options) {
  if (!IsPlain(options.section) || options.section.find(']') != std::string::npos) {
    throw WrongUsage("settings: '" + options.section + "' cannot be the name of a section");
  }
  if (!IsPlain(options.key) || options.key.find('=') != std::string::npos ||
      options.key.front() == '[') {
    throw WrongUsage("settings: '" + options.key + "' cannot be the name of a key");
  }
}

void CheckValue(const std::string& value) {
  if (Written(value).size() > kLongestValue) {
    throw WrongUsage("settings: the value is longer than 512 characters, quotation marks included");
  }
  if (value.find_first_of("\r\n") != std::string::npos) {
    throw WrongUsage("settings: the value holds the end of a line");
  }
}

void Set(const Options& options) {
  std::string value = console::SystemText(Written(options.value));
  if (SetIniString(console::SystemText(options.section).c_str(),
                   console::SystemText(options.key).c_str(), value.data(), 0) == 0) {
    throw Failure(kSettingsFile, "cannot be written");
  }
}

void List(const Options& options, Output& output) {
  std::vector<std::string> sections = SettingNames(std::nullopt);
  if (!options.section.empty()) {
    sections = {options.section};
  }
  std::vector<Value> names, keys, values;
  for (const std::string& section : sections) {
    for (const std::string& key : SettingNames(section)) {
      names.emplace_back(section);
      keys.emplace_back(key);
      values.emplace_back(ReadSetting(section, key, ""));
    }
  }
  if (!options.section.empty() && keys.empty()) {
    throw Failure(kSettingsFile, "no keys in section '" + options.section + "'");
  }
  Print({.sections = {{.key = "settings",
                       .title = kSettingsFile,
                       .columns = {{"section", "Section", names},
                                   {"key", "Key", keys},
                                   {"value", "Value", values}}}},
         .csv_section = "settings"},
        options.format.format(), output);
}

}  // namespace

void AddSettingsCommand(Command program, Action& chosen) {
  const Command settings = program.AddSubcommand("settings", "Read and write the settings file");
  settings.RequireSubcommand();
  settings.Footer(
      "The settings file is TERVALON.INI in the working directory: sections of keys, each with a\n"
      "text as its value. The names of sections and keys are compared without regard to case.\n\n"
      "Examples:\n"
      "  tervalon settings set Acquisition Instrument \"TOF 1\"\n"
      "  tervalon settings get Acquisition Instrument\n"
      "  tervalon settings list Acquisition --json");
  auto options = std::make_shared<Options>();

  const Command get = settings.AddSubcommand("get", "Print the value of a key");
  get.AddOption("SECTION", options->section, "Name of the section").TypeName("").Required();
  get.AddOption("KEY", options->key, "Name of the key").TypeName("").Required();
  AddFormatOptions(get, options->format);
  get.Footer(
      "A key that is not there is an error (exit status 1).\n\n"
      "Example:\n  tervalon settings get Acquisition Instrument");
  get.Callback([&chosen, options] {
    CheckNames(*options);
    chosen = [options](Output& output) { Get(*options, output); };
  });

  const Command set =
      settings.AddSubcommand("set", "Write a key; the file is made when there is none");
  set.AddOption("SECTION", options->section, "Name of the section").TypeName("").Required();
  set.AddOption("KEY", options->key, "Name of the key").TypeName("").Required();
  set.AddText("VALUE", options->value, "Value, at most 512 characters on one line")
      .TypeName("")
      .Required();
  set.Footer(
      "A value that begins or ends with a blank or a quotation mark is written in quotation\n"
      "marks, so that it is read back as it was given.\n\n"
      "Example:\n  tervalon settings set Acquisition Instrument \"TOF 1\"");
  set.Callback([&chosen, options] {
    CheckNames(*options);
    CheckValue(options->value);
    chosen = [options](Output&) { Set(*options); };
  });

  const Command list =
      settings.AddSubcommand("list", "Print all keys and values, or those of a section");
  list.AddOption("SECTION", options->section, "Name of the section").TypeName("");
  AddFormatOptions(list, options->format);
  list.Footer("Examples:\n  tervalon settings list\n  tervalon settings list Acquisition --csv");
  list.Callback(
      [&chosen, options] { chosen = [options](Output& output) { List(*options, output); }; });
}

}  // namespace tervalon::tools
