#include "tools/commands/manual.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <vector>

#include "tervalon/version.h"
#include "tools/data/files.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

// A command or subcommand, "" being the program.
struct Entry {
  std::string path;  // "", "chrom", "db list"
  std::string what;
  std::string footer;
  std::vector<const CLI::Option*> options;
  std::vector<const CLI::Option*> arguments;
  std::vector<Entry> subcommands;
};

bool IsGroup(const CLI::App* app) { return app->get_name().empty(); }
bool IsHidden(const CLI::App* app) { return !IsGroup(app) && app->get_group().empty(); }

void AddOptions(const CLI::App& app, Entry* entry) {
  for (const CLI::Option* option : app.get_options()) {
    std::vector<const CLI::Option*>& list =
        option->get_positional() ? entry->arguments : entry->options;
    if (std::ranges::find(list, option) == list.end()) list.push_back(option);
  }
}

Entry EntryOf(const CLI::App& app, const std::string& path) {
  Entry entry = {.path = path,
                 .what = app.get_description(),
                 .footer = app.get_footer(),
                 .options = {},
                 .arguments = {},
                 .subcommands = {}};
  AddOptions(app, &entry);
  for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (IsGroup(sub)) {
      AddOptions(*sub, &entry);
    } else if (!IsHidden(sub)) {
      entry.subcommands.push_back(
          EntryOf(*sub, path.empty() ? sub->get_name() : path + " " + sub->get_name()));
    }
  }
  return entry;
}

// All entries, the program first.
std::vector<const Entry*> AllOf(const Entry& entry) {
  std::vector<const Entry*> all = {&entry};
  for (const Entry& sub : entry.subcommands) {
    const std::vector<const Entry*> more = AllOf(sub);
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

std::string LastWord(const std::string& path) { return path.substr(path.rfind(' ') + 1); }

// "-f", "--function"
std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

bool TakesValue(const CLI::Option& option) { return option.get_expected_max() > 0; }

std::string OneLine(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  return text;
}

std::string Joined(const std::vector<std::string>& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

void WriteText(const std::string& file, const std::string& text) {
  std::error_code ignored;
  std::filesystem::create_directories(PathOf(file).parent_path(), ignored);
  const std::string partial = UnusedName(file, ".part");
  std::ofstream stream(PathOf(partial), std::ios::binary);
  stream << text;
  stream.close();
  if (!stream) {
    RemoveFile(partial);
    throw Failure(file, "cannot be written");
  }
  MoveOver(partial, file);
}

// --- Manual pages ---

std::string Roff(const std::string& text) {
  std::string roff;
  bool at_start = true;
  for (const char c : text) {
    if (at_start && (c == '.' || c == '\'')) roff += "\\&";
    roff += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
    at_start = c == '\n';
  }
  return roff;
}

std::string Date() {
  const char* const given = std::getenv("SOURCE_DATE_EPOCH");
  const std::chrono::system_clock::time_point time =
      given != nullptr ? std::chrono::system_clock::time_point(
                             std::chrono::seconds(std::strtoll(given, nullptr, 10)))
                       : std::chrono::system_clock::now();
  const std::chrono::year_month_day day(std::chrono::floor<std::chrono::days>(time));
  const auto two = [](unsigned number) {
    return (number < 10 ? "-0" : "-") + std::to_string(number);
  };
  return std::to_string(int(day.year())) + two(unsigned(day.month())) + two(unsigned(day.day()));
}

std::string OptionItem(const CLI::Option& option) {
  std::string item = ".TP\n";
  if (option.get_positional()) {
    item += "\\fI" + Roff(option.get_name(true)) + "\\fR\n";
  } else {
    std::vector<std::string> names;
    for (const std::string& name : NamesOf(option)) names.push_back("\\fB" + Roff(name) + "\\fR");
    item += Joined(names, ", ");
    if (!option.get_type_name().empty() && TakesValue(option)) {
      item += " \\fI" + Roff(option.get_type_name()) + "\\fR";
    }
    item += "\n";
  }
  return item + Roff(option.get_description()) + "\n";
}

// Paragraphs, and what is indented as it stands; the examples get a heading of their own.
std::string FooterText(const std::string& footer, const std::string& heading) {
  std::string text;
  bool verbatim = false;
  for (size_t begin = 0; begin < footer.size();) {
    const size_t end = std::min(footer.find('\n', begin), footer.size());
    const std::string line = footer.substr(begin, end - begin);
    begin = end + 1;
    const bool indented = line.starts_with(' ');
    if (indented != verbatim) text += indented ? ".nf\n" : ".fi\n";
    verbatim = indented;
    if (line == "Examples:" || line == "Example:" || line == "First steps:") {
      text += heading + " EXAMPLES\n";
    } else if (line.empty()) {
      const std::string next = footer.substr(begin, footer.find('\n', begin) - begin);
      if (!next.ends_with(':')) text += ".PP\n";
    } else {
      text += Roff(line) + "\n";
    }
  }
  return text + (verbatim ? ".fi\n" : "");
}

// Rather than with examples, which have a heading.
bool StartsWithText(const std::string& footer) {
  return !footer.empty() && !footer.starts_with("Example");
}

std::string Synopsis(const Entry& entry) {
  std::string text =
      "\\fB" + Roff("tervalon" + (entry.path.empty() ? "" : " " + entry.path)) + "\\fR";
  if (!entry.options.empty()) text += " [\\fIOPTIONS\\fR]";
  for (const CLI::Option* argument : entry.arguments) {
    const std::string name = "\\fI" + Roff(argument->get_name(true)) + "\\fR";
    text += argument->get_required() ? " " + name : " [" + name + "]";
  }
  if (!entry.subcommands.empty()) text += " \\fICOMMAND\\fR";
  return text + "\n";
}

std::string Items(const Entry& entry) {
  std::string text;
  for (const CLI::Option* argument : entry.arguments) text += OptionItem(*argument);
  for (const CLI::Option* option : entry.options) text += OptionItem(*option);
  return text;
}

std::string ManualPage(const Entry& entry, const std::string& version) {
  std::string name = "tervalon" + (entry.path.empty() ? "" : "-" + entry.path);
  std::string text = ".TH \"" + Roff(name) + "\" 1 " + Date() + " \"" + Roff(version) +
                     "\" \"Tervalon\"\n.SH NAME\n" + Roff(name) + " \\- " +
                     Roff(OneLine(entry.what)) + "\n.SH SYNOPSIS\n" + Synopsis(entry);
  for (const Entry& sub : entry.subcommands) {
    if (!entry.path.empty()) text += ".br\n" + Synopsis(sub);
  }
  text += ".SH DESCRIPTION\n" + Roff(entry.what) + ".\n";
  if (entry.path.empty()) {
    text += ".SH COMMANDS\n";
    for (const Entry& sub : entry.subcommands) {
      text += ".TP\n\\fB" + Roff(sub.path) + "\\fR\n" + Roff(sub.what) + "\n";
    }
  }
  text += ".SH OPTIONS\n" + Items(entry);
  for (const Entry& sub : entry.subcommands) {
    if (entry.path.empty()) break;
    text += ".SH \"" + Roff(LastWord(sub.path)) + "\"\n" + Roff(sub.what) + ".\n" + Items(sub) +
            (StartsWithText(sub.footer) ? ".PP\n" : "") + FooterText(sub.footer, ".SS");
  }
  text += (StartsWithText(entry.footer) ? ".SH NOTES\n" : "") + FooterText(entry.footer, ".SH");
  return text + ".SH \"SEE ALSO\"\n\\fBtervalon\\fR(1)\n";
}

// --- Completion ---

struct Words {
  std::vector<std::string> commands;
  std::vector<std::string> options;
};

Words WordsOf(const Entry& entry) {
  Words words;
  for (const Entry& sub : entry.subcommands) words.commands.push_back(LastWord(sub.path));
  for (const CLI::Option* option : entry.options) {
    for (const std::string& name : NamesOf(*option)) words.options.push_back(name);
  }
  return words;
}

std::string ValueOptions(const Entry& program) {
  std::vector<std::string> names;
  for (const Entry* entry : AllOf(program)) {
    for (const CLI::Option* option : entry->options) {
      if (!TakesValue(*option)) continue;
      for (const std::string& name : NamesOf(*option)) {
        if (std::ranges::find(names, name) == names.end()) names.push_back(name);
      }
    }
  }
  return Joined(names, "|");
}

// The patterns that lead from the path of a command to that of its subcommand.
std::string Steps(const Entry& program, const std::string& indent) {
  std::string text;
  for (const Entry* entry : AllOf(program)) {
    for (const Entry& sub : entry->subcommands) {
      text += indent + "\"" + entry->path + "/" + LastWord(sub.path) + "\") at=\"" + sub.path +
              "\" ;;\n";
    }
  }
  return text;
}

std::string BashCompletion(const Entry& program) {
  std::string text =
      "# Completion of tervalon's commands and options in bash.\n"
      "_tervalon() {\n"
      "  local at='' word commands='' options=''\n"
      "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
      "    case \"$at/$word\" in\n" +
      Steps(program, "      ") +
      "    esac\n"
      "  done\n"
      "  COMPREPLY=()\n"
      "  case \"${COMP_WORDS[COMP_CWORD-1]}\" in " +
      ValueOptions(program) +
      ") return ;; esac\n"
      "  case \"$at\" in\n";
  for (const Entry* entry : AllOf(program)) {
    const Words words = WordsOf(*entry);
    text += "    \"" + entry->path + "\") commands='" + Joined(words.commands, " ") +
            "' options='" + Joined(words.options, " ") + "' ;;\n";
  }
  return text +
         "  esac\n"
         "  local current=\"${COMP_WORDS[COMP_CWORD]}\"\n"
         "  [[ $current == -* ]] || options=''\n"
         "  mapfile -t COMPREPLY < <(compgen -W \"$commands $options\" -- \"$current\")\n"
         "}\n"
         "complete -o default -F _tervalon tervalon\n";
}

// Within single quotes, and with the colon that ends the word itself escaped.
std::string Described(const std::string& word, const std::string& what) {
  std::string text = "'" + word + ":";
  for (const char c : OneLine(what)) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

std::string ZshCompletion(const Entry& program) {
  std::string text =
      "#compdef tervalon\n"
      "# Completion of tervalon's commands and options in zsh.\n"
      "_tervalon() {\n"
      "  local at='' word\n"
      "  local -a commands options\n"
      "  for word in \"${(@)words[2,CURRENT-1]}\"; do\n"
      "    case \"$at/$word\" in\n" +
      Steps(program, "      ") +
      "    esac\n"
      "  done\n"
      "  case \"${words[CURRENT-1]}\" in " +
      ValueOptions(program) +
      ") _files; return ;; esac\n"
      "  case \"$at\" in\n";
  for (const Entry* entry : AllOf(program)) {
    text += "    \"" + entry->path + "\")\n      commands=(";
    for (const Entry& sub : entry->subcommands) {
      text += "\n        " + Described(LastWord(sub.path), sub.what);
    }
    text += ")\n      options=(";
    for (const CLI::Option* option : entry->options) {
      for (const std::string& name : NamesOf(*option)) {
        text += "\n        " + Described(name, option->get_description());
      }
    }
    text += ") ;;\n";
  }
  return text +
         "  esac\n"
         "  if [[ ${words[CURRENT]} == -* ]]; then\n"
         "    _describe -o option options\n"
         "  elif (( ${#commands} )); then\n"
         "    _describe command commands\n"
         "  else\n"
         "    _files\n"
         "  fi\n"
         "}\n"
         "_tervalon \"$@\"\n";
}

std::string FishQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : OneLine(text)) {
    if (c == '\'' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

std::string FishCompletion(const Entry& program) {
  std::string text =
      "# Completion of tervalon's commands and options in fish.\n"
      "function __tervalon_at\n"
      "  set -l at ''\n"
      "  for word in (commandline -opc)[2..-1]\n"
      "    switch \"$at/$word\"\n";
  for (const Entry* entry : AllOf(program)) {
    for (const Entry& sub : entry->subcommands) {
      text += "      case " + FishQuoted(entry->path + "/" + LastWord(sub.path)) +
              "\n        set at " + FishQuoted(sub.path) + "\n";
    }
  }
  text +=
      "    end\n"
      "  end\n"
      "  test \"$at\" = \"$argv\"\n"
      "end\n";
  for (const Entry* entry : AllOf(program)) {
    const std::string start =
        "complete -c tervalon -n " + FishQuoted("__tervalon_at " + entry->path) + " ";
    for (const Entry& sub : entry->subcommands) {
      text += start + "-f -a " + LastWord(sub.path) + " -d " + FishQuoted(sub.what) + "\n";
    }
    for (const CLI::Option* option : entry->options) {
      text += start;
      for (const std::string& name : option->get_snames()) text += "-s " + name + " ";
      for (const std::string& name : option->get_lnames()) text += "-l " + name + " ";
      text +=
          (TakesValue(*option) ? "-r -d " : "-d ") + FishQuoted(option->get_description()) + "\n";
    }
  }
  return text;
}

// How many letters have to be changed, put in, left out or exchanged with the next one.
size_t Distance(const std::string& a, const std::string& b) {
  std::vector<size_t> before(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
  std::iota(last.begin(), last.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      row[j] =
          std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] != b[j - 1] ? 1 : 0)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], before[j - 2] + 1);
      }
    }
    before.swap(last);
    last.swap(row);
  }
  return last[b.size()];
}

}  // namespace

void WriteManual(const CLI::App& program, const std::string& directory) {
  const Entry all = EntryOf(program, "");
  const std::string version = "tervalon " TERVALON_VERSION;
  WriteText(directory + "/man1/tervalon.1", ManualPage(all, version));
  for (const Entry& entry : all.subcommands) {
    WriteText(directory + "/man1/tervalon-" + entry.path + ".1", ManualPage(entry, version));
  }
  WriteText(directory + "/bash/tervalon", BashCompletion(all));
  WriteText(directory + "/zsh/_tervalon", ZshCompletion(all));
  WriteText(directory + "/fish/tervalon.fish", FishCompletion(all));
}

std::string HelpOf(const CLI::App& program, const std::vector<std::string>& names) {
  const CLI::App* command = &program;
  std::string path;
  for (const std::string& name : names) {
    path.append(path.empty() ? "" : " ").append(command->get_name());
    const auto subs = command->get_subcommands([](const CLI::App*) { return true; });
    const auto found = std::ranges::find(subs, name, &CLI::App::get_name);
    if (found == subs.end()) {
      std::string message = "no command '" + name + "'";
      message.append(Suggestion(*command, name)).append(" ('").append(path);
      throw WrongUsage(message.append(" --help' lists them)"));
    }
    command = *found;
  }
  path += (path.empty() ? "" : " ") + command->get_name();
  // Not its own help(), which is that of the command that runs: of 'help'.
  return command->get_formatter()->make_help(command, path, CLI::AppFormatMode::Normal);
}

std::string Suggestion(const CLI::App& command, const std::string& typed) {
  const std::string word = typed.substr(0, typed.find('='));
  const Words known = WordsOf(EntryOf(command, ""));
  const std::vector<std::string>& names = word.starts_with('-') ? known.options : known.commands;
  std::string nearest;
  size_t least = std::max<size_t>(word.size() / 3, 1) + 1;
  for (const std::string& name : names) {
    const bool begins = word.size() > 2 && name.starts_with(word);
    const size_t distance = begins ? 1 : Distance(word, name);
    if (distance < least && name.size() > 2) {
      least = distance;
      nearest = name;
    }
  }
  return nearest.empty() ? "" : "; did you mean '" + nearest + "'?";
}

}  // namespace tervalon::tools
