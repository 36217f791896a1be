#include "tools/commands/command_line.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <optional>
#include <utility>

namespace tervalon::tools {

Option Option::Required() const { return Option(option_->required()); }
Option Option::TypeName(const char* name) const { return Option(option_->type_name(name)); }
Option Option::ShowDefault() const { return Option(option_->capture_default_str()); }

Option Option::Repeatable() const {
  return Option(option_->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll));
}

Option Option::Between(int64_t low, int64_t high) const {
  return Option(option_->check(CLI::Range(low, high).description("")));
}

Option Option::OneOf(const std::vector<std::string>& values) const {
  return Option(option_->check(CLI::IsMember(values).description("")));
}

Option Option::Needs(Option other) const { return Option(option_->needs(other.option_)); }
Option Option::Excludes(Option other) const { return Option(option_->excludes(other.option_)); }
Option Option::Excludes(const char* name) const { return Option(option_->excludes(name)); }

bool Option::IsGiven() const { return option_->count() > 0; }

Command Command::AddSubcommand(const std::string& name, const std::string& what) const {
  return {app_->add_subcommand(name, what), *words_};
}

Command Command::AddGroup(const std::string& name, const std::string& what) const {
  return {app_->add_option_group(name, what), *words_};
}

template <typename Value>
Option Command::AddOption(const std::string& name, Value& value, const std::string& what) const {
  return Option(app_->add_option(name, value, what)->check([](const std::string& text) {
    return std::string(text.empty() ? "the value is empty" : "");
  }));
}

Option Command::AddText(const std::string& name, std::string& value,
                        const std::string& what) const {
  return Option(app_->add_option(name, value, what));
}

template Option Command::AddOption(const std::string&, int32_t&, const std::string&) const;
template Option Command::AddOption(const std::string&, int64_t&, const std::string&) const;
template Option Command::AddOption(const std::string&, std::optional<int32_t>&,
                                   const std::string&) const;
template Option Command::AddOption(const std::string&, std::string&, const std::string&) const;
template Option Command::AddOption(const std::string&, std::vector<std::string>&,
                                   const std::string&) const;

Option Command::AddFlag(const std::string& name, bool& value, const std::string& what) const {
  return Option(app_->add_flag(name, value, what));
}

Option Command::AddHiddenOption(const std::string& name, int32_t& value) const {
  return Option(app_->add_option(name, value)->group(""));
}

Option Command::GetOption(const std::string& name) const { return Option(app_->get_option(name)); }

void Command::RequireSubcommand() const { app_->require_subcommand(1); }
void Command::RequireOptions(size_t fewest, size_t most) const {
  app_->require_option(fewest, most);
}
void Command::Footer(const std::string& text) const { app_->footer(text); }
void Command::Callback(std::function<void()> callback) const {
  app_->callback(std::move(callback));
}

}  // namespace tervalon::tools
