// The command line's parser as the commands see it. It hides CLI11, whose headers take longer to
// compile than a command; only command_line.cc and main.cc include them.

#ifndef TOOLS_COMMANDS_COMMAND_LINE_H_
#define TOOLS_COMMANDS_COMMAND_LINE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tervalon::tools {

// Option and Command are copied freely; what they stand for belongs to the parser.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option Required() const;
  // What the help calls the value; "" for none.
  Option TypeName(const char* name) const;
  Option ShowDefault() const;
  // Takes one value each time that it is given.
  Option Repeatable() const;

  // What values are accepted.
  Option Between(int64_t low, int64_t high) const;
  Option OneOf(const std::vector<std::string>& values) const;

  Option Needs(Option other) const;
  Option Excludes(Option other) const;
  Option Excludes(const char* name) const;

  // Whether the command line has it, once it is parsed.
  bool IsGiven() const;

 private:
  CLI::Option* option_;
};

class Command {
 public:
  // `words` are those of the command line behind the program's name, and outlive the commands.
  Command(CLI::App* app, const std::vector<std::string>& words) : app_(app), words_(&words) {}

  Command AddSubcommand(const std::string& name, const std::string& what) const;
  // Options under a heading of their own, which can also be limited in number.
  Command AddGroup(const std::string& name, const std::string& what) const;
  // Value is int32_t, int64_t, an optional int32_t, std::string or a vector of strings. An empty
  // text is wrong usage, as it is where a script's variable is not set.
  template <typename Value>
  Option AddOption(const std::string& name, Value& value, const std::string& what) const;
  // The same for a text that may be empty.
  Option AddText(const std::string& name, std::string& value, const std::string& what) const;
  Option AddFlag(const std::string& name, bool& value, const std::string& what) const;
  // For the program's own use: the help does not have it.
  Option AddHiddenOption(const std::string& name, int32_t& value) const;
  Option GetOption(const std::string& name) const;

  const std::vector<std::string>& Words() const { return *words_; }

  void RequireSubcommand() const;
  void RequireOptions(size_t fewest, size_t most) const;
  void Footer(const std::string& text) const;
  // Called when the command is the chosen one and everything is parsed.
  void Callback(std::function<void()> callback) const;

 private:
  CLI::App* app_;
  const std::vector<std::string>* words_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_COMMANDS_COMMAND_LINE_H_
